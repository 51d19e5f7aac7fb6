/* device_virtual_tick: a millisecond of a script, for the clock, the speaker and the workers. */
#include "platform/device/virtual/device_virtual.h"

#include "platform/base/thread.h"

#include <algorithm>

constexpr int32_t short_worker_ms = 1000; /* far above what a cover takes */

/* Main thread. */
static constinit int32_t long_workers = 0; /* those that are not waited for any more */

void virtual_tick_begin()
{
    long_workers = 0;
}

/* Workers run in real time and the clock does not. A short one is given the time to end, so that
 * what it brings shows in the same millisecond of every run; a long one is left to itself. */
static void await_short_workers()
{
    long_workers = std::min(long_workers, thread_running());
    if (thread_settle_to(long_workers, short_worker_ms) != 0)
        long_workers = thread_running();
}

void virtual_tick()
{
    await_short_workers();
    virtual_sound_tick(virtual_clock_step());
}
