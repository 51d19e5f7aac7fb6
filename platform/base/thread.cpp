#include "platform/base/thread.h"

#include "platform/base/clock.h"
#include "platform/base/fault.h"
#include "platform/base/lock.h"
#include "platform/base/str.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <pthread.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define THREAD_WIDE_FRAMES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define THREAD_WIDE_FRAMES 1
#endif
#endif

#ifdef THREAD_WIDE_FRAMES
constexpr size_t stack_bytes = 2 * 1024 * 1024; /* the sanitizers widen every frame */
#else
constexpr size_t stack_bytes = 256 * 1024;
#endif

struct thread_job {
    char name[16];
    void (*body)(void *job);
    void *job;
};

static constinit sys_lock running_lock;
static constinit pthread_cond_t running_fewer = PTHREAD_COND_INITIALIZER;
static constinit int32_t running GUARDED_BY(running_lock) = 0;

static void count(int32_t change)
{
    sys_guard guard(running_lock);
    running += change;
    if (change < 0)
        pthread_cond_broadcast(&running_fewer);
}

static void *run(void *start)
{
    const thread_job job = *static_cast<thread_job *>(start);
    free(start);
    (void)pthread_setname_np(pthread_self(), job.name); /* a debugger's comfort only */
    job.body(job.job);
    count(-1);
    return nullptr;
}

/* Signals belong to the main thread: a worker starts with all of them blocked. */
static int create(thread_job *start)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return -1;
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    pthread_t thread;
    const bool started = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
                         pthread_attr_setstacksize(&attributes, stack_bytes) == 0 &&
                         pthread_create(&thread, &attributes, run, start) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return started ? 0 : -1;
}

int thread_start(const char *name, void (*body)(void *job), void *job)
{
    if (fault_hit("thread_start"))
        return -1;
    thread_job *start = static_cast<thread_job *>(calloc(1, sizeof *start));
    if (!start)
        return -1;
    (void)str_copy(start->name, name); /* a long name is cut */
    start->body = body;
    start->job = job;
    count(1);
    if (create(start) == 0)
        return 0;
    count(-1);
    free(start);
    return -1;
}

int32_t thread_running()
{
    sys_guard guard(running_lock);
    return running;
}

int thread_settle_to(int32_t left, int32_t ms)
{
    const timespec until = clock_real_after(ms);
    sys_guard guard(running_lock);
    while (running > left) {
        if (pthread_cond_clockwait(&running_fewer, &running_lock.mutex, CLOCK_MONOTONIC, &until))
            break;
    }
    return running <= left ? 0 : -1;
}

int thread_settle(int32_t ms)
{
    return thread_settle_to(0, ms);
}
