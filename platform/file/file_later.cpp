/* file_later: files that are saved on a thread of their own. The thread lives while there is
 * something to save: an idle program has none. */
#include "platform/file/file_later.h"

#include "platform/base/clock.h"
#include "platform/base/lock.h"
#include "platform/base/thread.h"

/* What is changed so soon after the first change is written with it. */
constexpr int32_t later_gather_ms = 20;

static constinit sys_lock later_lock;
static constinit pthread_cond_t later_hurry = PTHREAD_COND_INITIALIZER;
static constinit pthread_cond_t later_idle = PTHREAD_COND_INITIALIZER;
static constinit file_later *later_first GUARDED_BY(later_lock) = nullptr;
static constinit bool later_is_open GUARDED_BY(later_lock) = false;
static constinit bool later_runs GUARDED_BY(later_lock) = false;
static constinit int later_waiting GUARDED_BY(later_lock) = 0; /* threads that want it done now */

/* Gives the next change a moment to come, unless somebody waits. */
static void later_gather_locked() REQUIRES(later_lock)
{
    const timespec until = clock_real_after(later_gather_ms);
    while (later_waiting == 0)
        if (pthread_cond_clockwait(&later_hurry, &later_lock.mutex, CLOCK_MONOTONIC, &until) != 0)
            return;
}

/* Saves the first file with the lock dropped: it may be wanted again meanwhile. */
static void later_save_first_locked() REQUIRES(later_lock)
{
    file_later *what = later_first;
    later_first = what->next;
    what->next = nullptr;
    what->wanted = false;
    sys_lock_drop(&later_lock);
    (void)what->save(); /* what cannot be saved is kept in memory only */
    sys_lock_take(&later_lock);
}

static void later_run(void *)
{
    const sys_guard guard(later_lock);
    while (later_first) {
        later_gather_locked();
        later_save_first_locked();
    }
    later_runs = false;
    pthread_cond_broadcast(&later_idle);
}

static void later_add_locked(file_later *what) REQUIRES(later_lock)
{
    if (what->wanted)
        return;
    what->wanted = true;
    what->next = later_first;
    later_first = what;
}

void file_later_begin()
{
    const sys_guard guard(later_lock);
    later_is_open = true;
}

void file_later_end()
{
    file_later_settle();
    const sys_guard guard(later_lock);
    later_is_open = false;
}

void file_later_want(file_later *what)
{
    {
        const sys_guard guard(later_lock);
        if (later_is_open) {
            later_add_locked(what);
            later_runs = later_runs || thread_start("save", later_run, nullptr) == 0;
            if (later_runs)
                return;
            later_first = what->next; /* there is no thread, so it is the only one */
            what->wanted = false;
        }
    }
    (void)what->save();
}

void file_later_settle()
{
    const sys_guard guard(later_lock);
    later_waiting++;
    pthread_cond_broadcast(&later_hurry);
    while (later_runs)
        pthread_cond_wait(&later_idle, &later_lock.mutex);
    later_waiting--;
}
