/* device_virtual: a device of memory and scripts; its clock moves when the script says so. */
#include "platform/device/virtual/device_virtual.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/thread.h"
#include "platform/draw/fb.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

constexpr int64_t usual_first_ms = 1000000;
constexpr int64_t latest_first_ms = int64_t{1} << 43; /* behind the wraps of its words */
constexpr int32_t short_worker_ms = 1000;             /* far above what a cover takes */
constexpr char first_wall[] = "2026-01-01T12:00:00";

static constinit std::atomic<int64_t> scripted_ms{usual_first_ms};
static constinit std::atomic<int64_t> wall_offset_ms{0}; /* wall clock less monotonic clock */
static constinit std::atomic<int64_t> real_offset_ms{0}; /* monotonic less the machine's clock */
static constinit std::atomic<bool> realtime{false};

/* Main thread. */
static constinit int32_t battery_percent = 100;
static constinit int32_t display = 0;
static constinit int32_t long_workers = 0; /* those that are not waited for any more */

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
    const int64_t ms = scripted_ms;
    scripted_ms = ms + 1;
    virtual_sound_tick(ms);
}

void virtual_set_wall(int64_t seconds)
{
    wall_offset_ms = seconds * 1000 - virtual_msec();
}

void virtual_set_battery(int32_t percent)
{
    battery_percent = percent;
}

int32_t virtual_display()
{
    return display;
}

static int start_clock()
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
    return 0;
}

static int virtual_open()
{
    if (start_clock() != 0)
        return -1;
    battery_percent = 100;
    display = 0;
    long_workers = 0;
    fb_keep_texts = true;
    if (virtual_script_open() != 0)
        return -1;
    if (virtual_sound_open() == 0)
        return 0;
    virtual_script_close();
    return -1;
}

static int virtual_close()
{
    virtual_script_close();
    fflush(stdout);
    return virtual_sound_close();
}

static int virtual_screen_power(int on)
{
    display = on ? 1 : 0;
    return 0;
}

/* Keys and the finger are always there. */
static int virtual_succeed()
{
    return 0;
}

static int32_t virtual_battery()
{
    return battery_percent;
}

static time_t virtual_wall()
{
    const int64_t ms = virtual_msec() + wall_offset_ms;
    return static_cast<time_t>(ms >= 0 ? ms / 1000 : (ms - 999) / 1000);
}

/* Workers live in real time. The main thread's time is the script's: it goes on at once. */
static void virtual_msleep(int32_t ms)
{
    if (virtual_is_realtime() || gettid() != getpid())
        clock_real_msleep(ms);
}

constinit const device device_virtual = {
    .name = "virtual",
    .open = virtual_open,
    .close = virtual_close,
    .screen_open = virtual_screen_open,
    .screen_close = virtual_screen_close,
    .screen_show = virtual_screen_show,
    .screen_power = virtual_screen_power,
    .screen_title = virtual_screen_title,
    .key_open = virtual_succeed,
    .key_close = virtual_succeed,
    .touch_open = virtual_succeed,
    .touch_close = virtual_succeed,
    .poll = virtual_script_poll,
    .speaker = virtual_speaker,
    .battery = virtual_battery,
    .msec = virtual_msec,
    .wall = virtual_wall,
    .msleep = virtual_msleep,
    .wake = virtual_script_wake,
    .status = virtual_script_status,
};
