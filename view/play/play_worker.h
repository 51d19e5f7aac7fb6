/* play_worker: a kind of background work of the play screen, of which only the newest job matters.
 *
 * A user who skips through many tracks leaves many jobs behind. At most `limit` run at a time; one
 * more waits, and a newer one takes its place. */
#pragma once

#include "platform/base/lock.h"

#include <cstdint>

extern sys_lock play_worker_lock; /* one for all workers; a leaf */

struct play_worker {
    const char *name;        /* at most 15 characters, for debuggers */
    void (*body)(void *job); /* owns the job; on a worker thread, no lock held */
    void (*drop)(void *job); /* frees a job that was never run; any thread */
    uint32_t limit;
    uint32_t running GUARDED_BY(play_worker_lock) = 0;
    void *waiting GUARDED_BY(play_worker_lock) = nullptr;
};

/* Takes ownership of the job. 0, or -1 when no thread could be started (the job is dropped). */
int play_worker_give(play_worker *worker, void *job);
/* Whether a newer job waits for a running one to end. Any thread. */
bool play_worker_is_wanted(play_worker *worker);
