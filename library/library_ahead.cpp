/* library_ahead: reads the tags of the files to come. */
#include "library/library_ahead.h"

#include "platform/base/thread.h"

#include <cstdlib>
#include <cstring>
#include <sched.h>

/* Two keep one inserting thread busy; more would only hold more files in memory at once. */
constexpr int ahead_most_readers = 2;

static int ahead_processors()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    return sched_getaffinity(0, sizeof(allowed), &allowed) == 0 ? CPU_COUNT(&allowed) : 1;
}

static library_ahead_file *ahead_at_locked(library_ahead *ahead, uint32_t position)
    REQUIRES(ahead->lock)
{
    return &ahead->files[position % library_ahead_window];
}

/* Reads the next unread file with the lock dropped. */
static void ahead_read_one_locked(library_ahead *ahead) REQUIRES(ahead->lock)
{
    library_ahead_file *file = ahead_at_locked(ahead, ahead->unread++);
    file->state = library_ahead_file::taken;
    sys_lock_drop(&ahead->lock);
    /* A file for which there is no memory counts as unreadable. */
    (void)library_tags_read(file->path, &file->tags);
    sys_lock_take(&ahead->lock);
    file->state = library_ahead_file::done;
}

/* Whether the inserting thread has enough to go on with: a batch, or all that is on its way. */
static bool ahead_is_settled_locked(library_ahead *ahead) REQUIRES(ahead->lock)
{
    uint32_t at = ahead->first;
    while (at != ahead->unread && at - ahead->first < library_ahead_batch &&
           ahead_at_locked(ahead, at)->state == library_ahead_file::done)
        at++;
    return at - ahead->first == library_ahead_batch || at == ahead->end;
}

static void ahead_reader(void *job)
{
    library_ahead *ahead = static_cast<library_ahead *>(job);
    const sys_guard guard(ahead->lock);
    while (!ahead->ending) {
        if (ahead->unread == ahead->end) {
            ahead->idle++;
            pthread_cond_wait(&ahead->added, &ahead->lock.mutex);
            ahead->idle--;
            continue;
        }
        ahead_read_one_locked(ahead);
        if (ahead->waiting && ahead_is_settled_locked(ahead))
            pthread_cond_signal(&ahead->finished);
    }
    ahead->readers--;
    pthread_cond_signal(&ahead->finished);
}

static void ahead_free_first_locked(library_ahead *ahead) REQUIRES(ahead->lock)
{
    library_ahead_file *file = ahead_at_locked(ahead, ahead->first++);
    library_tags_free(&file->tags);
    free(file->path);
    free(file->dir);
    *file = {};
}

/* Waits for the oldest file, or reads it here when no reader has come to it. */
static void ahead_settle_first_locked(library_ahead *ahead) REQUIRES(ahead->lock)
{
    if (ahead->unread == ahead->first)
        ahead_read_one_locked(ahead);
    if (ahead_at_locked(ahead, ahead->first)->state == library_ahead_file::done)
        return;
    ahead->waiting = true;
    while (!ahead_is_settled_locked(ahead))
        pthread_cond_wait(&ahead->finished, &ahead->lock.mutex);
    ahead->waiting = false;
}

/* Hands the oldest file out with the lock dropped: readers go on while it is inserted. */
static int ahead_hand_out_locked(library_ahead *ahead) REQUIRES(ahead->lock)
{
    ahead_settle_first_locked(ahead);
    const library_ahead_file file = *ahead_at_locked(ahead, ahead->first);
    sys_lock_drop(&ahead->lock);
    const int result = ahead->take(ahead->user, file.path, file.dir, &file.tags);
    sys_lock_take(&ahead->lock);
    ahead_free_first_locked(ahead);
    return result;
}

void library_ahead_begin(library_ahead *ahead, library_ahead_take take, void *user)
{
    ahead->take = take;
    ahead->user = user;
    ahead->added = PTHREAD_COND_INITIALIZER;
    ahead->finished = PTHREAD_COND_INITIALIZER;
    const int processors = ahead_processors();
    const sys_guard guard(ahead->lock);
    for (int i = 0; i < ahead_most_readers && i < processors; i++)
        if (thread_start("library-read", ahead_reader, ahead) == 0)
            ahead->readers++;
}

int library_ahead_add(library_ahead *ahead, const char *path, const char *dir)
{
    const sys_guard guard(ahead->lock);
    if (ahead->end - ahead->first == library_ahead_window && ahead_hand_out_locked(ahead) != 0)
        return -1;
    library_ahead_file *file = ahead_at_locked(ahead, ahead->end);
    *file = {
        .path = strdup(path), .dir = strdup(dir), .tags = {}, .state = library_ahead_file::waiting};
    if (!file->path || !file->dir) {
        free(file->path);
        free(file->dir);
        *file = {};
        return 0;
    }
    ahead->end++;
    if (ahead->idle > 0 && ahead->end - ahead->unread >= library_ahead_batch)
        pthread_cond_broadcast(&ahead->added);
    return 0;
}

void library_ahead_end(library_ahead *ahead)
{
    const sys_guard guard(ahead->lock);
    bool wanted = true;
    while (wanted && ahead->first != ahead->end)
        wanted = ahead_hand_out_locked(ahead) == 0;
    ahead->ending = true;
    pthread_cond_broadcast(&ahead->added);
    while (ahead->readers > 0)
        pthread_cond_wait(&ahead->finished, &ahead->lock.mutex);
    while (ahead->first != ahead->end)
        ahead_free_first_locked(ahead);
}
