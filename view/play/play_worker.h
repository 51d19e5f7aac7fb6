/* play_worker: a kind of background work of the play screen, of which only the newest job matters.
 *
 * A user who skips through many tracks leaves many jobs behind. At most `limit` run at a time; one
 * more waits, and a newer one takes its place. */
#pragma once

#include <cstdint>

struct play_worker {
    const char *name;        /* at most 15 characters, for debuggers */
    void (*body)(void *job); /* owns the job; on a worker thread, no lock held */
    void (*drop)(void *job); /* frees a job that was never run; any thread */
    uint32_t limit;
    uint32_t running = 0; /* these two: the lock inside play_worker.cpp */
    void *waiting = nullptr;
};

/* Takes ownership of the job. 0, or -1 when no thread could be started (the job is dropped). */
int play_worker_give(play_worker *worker, void *job);
/* Whether a newer job waits for a running one to end. Any thread. */
bool play_worker_is_wanted(play_worker *worker);
