/* library_ahead: reads the tags of the files to come on a few threads of its own, and hands them
 * out in the order in which they were added. */
#pragma once

#include "library/library_tags.h"
#include "platform/base/lock.h"

#include <cstdint>

/* Enough to keep the readers busy while one file waits for a slow card. */
constexpr uint32_t library_ahead_window = 64;
/* Files that are read, and handed out, in one go: on a single core each change from one thread to
 * the other costs as much as a statement. */
constexpr uint32_t library_ahead_batch = 16;

struct library_ahead_file {
    char *path, *dir; /* owned */
    library_tags tags;
    enum { waiting, taken, done } state;
};

/* Takes one file out of the window. Returns 0, or -1: nothing more is wanted. */
typedef int (*library_ahead_take)(void *user, const char *path, const char *dir,
                                  const library_tags *tags);

/* Belongs to one thread, which begins, adds and ends; readers see it through the lock. */
struct library_ahead {
    library_ahead_take take;
    void *user;
    sys_lock lock;
    pthread_cond_t added, finished;
    /* Positions count files and wrap around the window: first <= unread <= end. */
    library_ahead_file files[library_ahead_window] GUARDED_BY(lock);
    uint32_t first GUARDED_BY(lock);  /* handed out next */
    uint32_t unread GUARDED_BY(lock); /* read next */
    uint32_t end GUARDED_BY(lock);    /* one past the last */
    uint32_t readers GUARDED_BY(lock);
    uint32_t idle GUARDED_BY(lock); /* readers that wait for a file */
    bool waiting GUARDED_BY(lock);  /* the inserting thread, for a batch */
    bool ending GUARDED_BY(lock);   /* the readers are to leave */
};

/* Starts the readers. Without any, files are read where they are handed out. */
void library_ahead_begin(library_ahead *ahead, library_ahead_take take, void *user);
/* Adds a file; when the window is full the oldest is handed out first. -1 when nothing more is
 * wanted. */
int library_ahead_add(library_ahead *ahead, const char *path, const char *dir);
/* Hands out the rest, unless nothing more is wanted, and waits for the readers to leave. */
void library_ahead_end(library_ahead *ahead);
