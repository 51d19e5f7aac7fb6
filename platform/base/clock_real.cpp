/* clock_real: the machine's own clock, whatever the device says. */
#include "platform/base/clock.h"

#include <cerrno>
#include <unistd.h>

bool clock_on_main_thread()
{
    static constinit thread_local int8_t is_main = -1; /* not asked yet */
    if (is_main < 0)
        is_main = gettid() == getpid();
    return is_main != 0;
}

static timespec real_now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

int64_t clock_real_msec()
{
    const timespec now = real_now();
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

timespec clock_real_after(int32_t ms)
{
    timespec at = real_now();
    if (ms <= 0)
        return at;
    at.tv_nsec += static_cast<long>(ms % 1000) * 1000000;
    at.tv_sec += ms / 1000 + at.tv_nsec / 1000000000;
    at.tv_nsec %= 1000000000;
    return at;
}

void clock_real_msleep(int32_t ms)
{
    if (ms <= 0)
        return;
    timespec left = {ms / 1000, static_cast<long>(ms % 1000) * 1000000};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR && !clock_on_main_thread()) {
    }
}
