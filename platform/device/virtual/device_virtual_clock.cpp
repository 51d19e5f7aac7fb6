/* device_virtual_clock: the time of a script, and what it sets: battery, display. */
#include "platform/device/virtual/device_virtual.h"

#include "platform/base/clock.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr int64_t usual_first_ms = 1000000;
constexpr int64_t latest_first_ms = int64_t{1} << 43; /* behind the wraps of its words */
constexpr char first_wall[] = "2026-01-01T12:00:00";

static constinit std::atomic<int64_t> scripted_ms{usual_first_ms};
static constinit std::atomic<int64_t> wall_offset_ms{0}; /* wall clock less monotonic clock */
static constinit std::atomic<int64_t> real_offset_ms{0}; /* monotonic less the machine's clock */
static constinit std::atomic<bool> realtime{false};

/* Main thread. */
static constinit int32_t battery_percent = 100;
static constinit int32_t display = 0;

bool virtual_is_realtime()
{
    return realtime.load(std::memory_order_relaxed);
}

int64_t virtual_msec()
{
    if (virtual_is_realtime())
        return clock_real_msec() + real_offset_ms;
    return scripted_ms;
}

void virtual_set_wall(int64_t seconds)
{
    wall_offset_ms = seconds * 1000 - virtual_msec();
}

int virtual_clock_open()
{
    const char *real = getenv("ZERV_VIRTUAL_REALTIME"), *first = getenv("ZERV_VIRTUAL_CLOCK");
    int64_t first_ms = usual_first_ms, wall = 0;
    if (first && *first && virtual_word_clock(first, latest_first_ms, &first_ms) != 0) {
        fprintf(stderr, "a clock cannot begin at %s\n", first);
        return -1;
    }
    realtime = real && strcmp(real, "1") == 0;
    scripted_ms = first_ms;
    real_offset_ms = first_ms - clock_real_msec();
    if (virtual_word_wall(first_wall, &wall) != 0)
        return -1;
    virtual_set_wall(wall);
    battery_percent = 100;
    display = 0;
    return 0;
}

time_t virtual_wall()
{
    const int64_t ms = virtual_msec() + wall_offset_ms;
    return static_cast<time_t>(ms >= 0 ? ms / 1000 : (ms - 999) / 1000);
}

int64_t virtual_clock_step()
{
    const int64_t ms = scripted_ms;
    scripted_ms = ms + 1;
    return ms;
}

void virtual_set_battery(int32_t percent)
{
    battery_percent = percent;
}

int32_t virtual_battery()
{
    return battery_percent;
}

int virtual_set_display(int on)
{
    display = on ? 1 : 0;
    return 0;
}

int32_t virtual_display()
{
    return display;
}
