#include "view/play/play_worker.h"

#include "platform/base/thread.h"

constinit sys_lock play_worker_lock;

/* The waiting job; without one this thread counts as ended. */
static void *take_job(play_worker *worker)
{
    const sys_guard guard(play_worker_lock);
    void *job = worker->waiting;
    worker->waiting = nullptr;
    if (!job)
        worker->running--;
    return job;
}

static void run_jobs(void *argument)
{
    auto *worker = static_cast<play_worker *>(argument);
    while (void *job = take_job(worker))
        worker->body(job);
}

/* Puts the job into the waiting place and starts a thread unless enough of them run. The job that
 * is left over comes out through `left`. */
static int enqueue(play_worker *worker, void *job, void **left)
{
    const sys_guard guard(play_worker_lock);
    *left = worker->waiting;
    worker->waiting = job;
    if (worker->running >= worker->limit)
        return 0;
    worker->running++;
    if (thread_start(worker->name, run_jobs, worker) == 0)
        return 0;
    worker->running--;
    if (worker->running > 0)
        return 0; /* one of the others takes it */
    worker->waiting = *left;
    *left = job;
    return -1;
}

int play_worker_give(play_worker *worker, void *job)
{
    void *left = nullptr;
    const int result = enqueue(worker, job, &left);
    if (left)
        worker->drop(left);
    return result;
}

bool play_worker_is_wanted(play_worker *worker)
{
    const sys_guard guard(play_worker_lock);
    return worker->waiting != nullptr && worker->running >= worker->limit;
}
