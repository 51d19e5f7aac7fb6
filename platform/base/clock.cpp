#include "platform/base/clock.h"

#include "platform/base/device.h"

#include <algorithm>

constexpr int64_t never = INT64_MAX;
/* The wall clock is read in whole seconds, some milliseconds after they have begun. */
constexpr int64_t wall_late_ms = 20;

/* Main thread. */
static constinit int64_t look_at_ms = never; /* now_msec() */
static constinit int32_t stretched_ms = 0;   /* of the next sleep */

static constinit thread_local bool *sleeps_noted = nullptr;

static int64_t now_msec()
{
    return device_current ? device_current->msec() : clock_real_msec();
}

static void look_at(int64_t ms)
{
    look_at_ms = std::min(look_at_ms, ms);
}

int32_t clock_sec()
{
    return static_cast<int32_t>(static_cast<uint32_t>(now_msec() / 1000));
}

int32_t clock_msec()
{
    const int32_t now = static_cast<int32_t>(static_cast<uint32_t>(now_msec()));
    return now == 0 ? 1 : now;
}

time_t clock_wall()
{
    return device_current ? device_current->wall() : time(nullptr);
}

void clock_note_sleeps(bool *noted)
{
    sleeps_noted = noted;
}

void clock_msleep(int32_t ms)
{
    if (sleeps_noted) {
        *sleeps_noted = true;
        return;
    }
    if (!device_current) {
        clock_real_msleep(ms);
        return;
    }
    if (device_current->wait && clock_on_main_thread()) {
        device_current->wait(std::max(ms, stretched_ms));
        stretched_ms = 0;
        return;
    }
    device_current->msleep(ms);
}

void clock_wake()
{
    if (device_current && device_current->wake)
        device_current->wake();
}

void clock_look_in(int32_t ms)
{
    look_at(now_msec() + ms);
}

void clock_look_next_second()
{
    look_at((now_msec() / 1000 + 1) * 1000);
}

void clock_look_next_minute()
{
    timespec fine = {};
    clock_gettime(CLOCK_REALTIME, &fine);
    const int64_t fraction_ms = fine.tv_nsec / 1000000;
    const int64_t seconds = 60 - int64_t{clock_wall()} % 60;
    const bool just_over = seconds == 1 && fraction_ms < wall_late_ms; /* as likely the 60th */
    look_at(now_msec() + (just_over ? 0 : seconds * 1000 - fraction_ms) + wall_late_ms);
}

int32_t clock_take_look()
{
    const int64_t at = look_at_ms;
    look_at_ms = never;
    if (at == never)
        return INT32_MAX;
    return static_cast<int32_t>(std::clamp<int64_t>(at - now_msec(), 0, INT32_MAX));
}

void clock_stretch(int32_t ms)
{
    stretched_ms = ms;
}
