/* library_walk: every file below a folder that a filter keeps.
 *
 * It comes to an end wherever it begins: file systems that the kernel makes up are left out, and a
 * folder that is reached through a link is entered once, and never while it is being walked. */
#pragma once

#include "platform/file/file.h"

#include <cstdint>

enum class library_walk_order {
    files_first,   /* a folder's own files, then each subfolder's */
    folders_first, /* the other way round */
};

enum class library_walk_end {
    done,
    absent,  /* there is no such folder, or it is closed to us */
    stopped, /* by `visit` or `go_on` */
    failed,  /* the folder cannot be listed for another reason: an input error, want of memory */
};

/* Subfolders of all open folders together. At a hundred bytes a name these are 13 MiB. */
constexpr uint32_t library_walk_most_names = 131072;

struct library_walk_plan {
    library_walk_order order;
    file_filter filter; /* must keep folders */
    /* Called for each file, in the order of the listing.
     *   path, dir  valid during the call
     * Returns 0 to go on, -1 to end the walk. */
    int (*visit)(void *user, const char *path, const char *dir);
    bool (*go_on)(void *user); /* asked for each folder and every few entries; false ends it */
    void *user;
    /* A folder that brings more has its files visited and its subfolders left out. */
    uint32_t most_names = library_walk_most_names;
};

/* A subfolder that cannot be listed is left out, unless `dir` itself cannot be listed any more
 * either. Any thread. */
library_walk_end library_walk(const char *dir, const library_walk_plan *plan);
