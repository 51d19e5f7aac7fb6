/* test_device: a device whose clock, keys, finger and battery a test sets by hand, and which counts
 * what is asked of it. The platform above it is the real one. Include it once in a test program. */
#pragma once

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/draw/fb.h"
#include "platform/input/key.h"
#include "platform/input/touch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <vector>

struct test_finger {
    int32_t type, x, y;
};

struct test_machine {
    int64_t ms = 1000000;
    time_t wall = 1767268800;
    int32_t battery = 100;
    int shows = 0; /* frames shown */
    int battery_reads = 0;
    std::vector<int32_t> sleeps;                  /* every clock_msleep() */
    std::vector<int> powers;                      /* every screen_power() */
    std::vector<std::string> calls;               /* frames and power, in order */
    std::deque<std::vector<uint32_t>> key_downs;  /* keys that go down, pass by pass */
    std::deque<std::vector<uint32_t>> key_ups;    /* keys that go up, pass by pass */
    std::deque<std::vector<test_finger>> fingers; /* touch events, pass by pass */
    uint16_t last_pixel = 0;                      /* top left corner of the frame shown last */
    std::function<void()> on_show;                /* may be empty */
};
inline test_machine machine;
inline std::atomic<int> machine_wakes{0}; /* clock_wake(), by any thread */

inline int test_ok()
{
    return 0;
}

inline int test_screen_open(int32_t, int32_t)
{
    return 0;
}

inline int test_screen_show(const fb_surface *frame)
{
    machine.shows++;
    machine.last_pixel = frame->pixels[0];
    machine.calls.push_back("show");
    if (machine.on_show)
        machine.on_show();
    return 0;
}

inline int test_screen_power(int on)
{
    machine.powers.push_back(on);
    machine.calls.push_back(on ? "power 1" : "power 0");
    return 0;
}

/* One entry of each queue a pass. */
template <typename T, typename F> void test_take(std::deque<std::vector<T>> *queue, F report)
{
    if (queue->empty())
        return;
    const std::vector<T> events = queue->front();
    queue->pop_front();
    for (const T &each : events)
        report(each);
}

inline void test_poll()
{
    test_take(&machine.key_ups, [](uint32_t key) { key_event(key, false); });
    test_take(&machine.key_downs, [](uint32_t key) { key_event(key, true); });
    test_take(&machine.fingers, [](test_finger at) { touch_event(at.type, at.x, at.y); });
}

inline int32_t test_battery()
{
    machine.battery_reads++;
    return machine.battery;
}

inline const device test_device = {
    .name = "test",
    .fits = [] { return false; },
    .open = test_ok,
    .close = test_ok,
    .screen_open = test_screen_open,
    .screen_close = test_ok,
    .screen_show = test_screen_show,
    .screen_power = test_screen_power,
    .key_open = test_ok,
    .key_close = test_ok,
    .touch_open = test_ok,
    .touch_close = test_ok,
    .poll = test_poll,
    .speaker = []() -> const sound_speaker * { return nullptr; },
    .battery = test_battery,
    .msec = [] { return machine.ms; },
    .wall = [] { return machine.wall; },
    .msleep = [](int32_t ms) { machine.sleeps.push_back(ms); },
    .wake = [] { machine_wakes++; },
};

/* Opens the screen, the keys and the panel of a fresh test device. keep_texts: surfaces tell what
 * was written on them. */
inline void test_device_open(bool keep_texts = true)
{
    machine = test_machine{};
    device_current = &test_device;
    fault_set("");
    fb_keep_texts = keep_texts;
    ASSERT_EQ(fb_open(320, 240), 0);
    ASSERT_EQ(key_open(), 0);
    ASSERT_EQ(touch_open(), 0);
    machine.calls.clear();
    machine.powers.clear();
}

inline void test_device_close()
{
    fault_set("");
    EXPECT_EQ(touch_close(), 0);
    EXPECT_EQ(key_close(), 0);
    EXPECT_EQ(fb_close(), 0);
    fb_keep_texts = false;
    device_current = nullptr;
}

/* One pass in which these keys go down and the next in which they go up. */
inline void test_press(uint32_t keys)
{
    machine.key_downs.push_back({keys});
    machine.key_ups.push_back({});
    machine.key_ups.push_back({keys});
}

inline void test_touch(int32_t type, int32_t x, int32_t y)
{
    machine.fingers.push_back({{type, x, y}});
}

/* The texts on a surface, in the order drawn, as "x y w h size colour align |text|". */
inline std::vector<std::string> test_texts(const fb_surface *surface)
{
    std::vector<std::string> texts;
    for (uint32_t i = 0; i < fb_text_count(surface); i++) {
        const fb_text *each = fb_text_at(surface, i);
        char line[2048];
        snprintf(line, sizeof line, "%d %d %d %d %d 0x%04X %u |%s|", each->x, each->y, each->w,
                 each->h, each->size, each->colour, each->align, each->text);
        texts.push_back(line);
    }
    return texts;
}

inline uint16_t test_pixel(const fb_surface *surface, int32_t x, int32_t y)
{
    return surface->pixels[y * surface->stride + x];
}
