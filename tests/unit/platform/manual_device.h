/* manual_device: a device whose time, keys and speaker a test moves by hand. */
#pragma once

#include "platform/base/clock.h"
#include "platform/base/device.h"

#include <atomic>
#include <cstdint>

inline std::atomic<int64_t> manual_ms{1000000};
inline void (*manual_poll)() = nullptr;
inline const sound_speaker *manual_speaker = nullptr;
inline int32_t manual_battery = 100;
inline int manual_result = 0; /* of every opening and closing operation */
inline int manual_calls = 0;  /* of those */
inline int32_t manual_slept_ms = 0, manual_waited_ms = 0;

inline int manual_operation()
{
    manual_calls++;
    return manual_result;
}

inline const device manual_device = {
    .name = "manual",
    .fits = [] { return false; },
    .open = manual_operation,
    .close = manual_operation,
    .screen_open = [](int32_t, int32_t) { return manual_operation(); },
    .screen_close = manual_operation,
    .screen_show = [](const fb_surface *) { return manual_operation(); },
    .screen_power = [](int) { return manual_operation(); },
    .key_open = manual_operation,
    .key_close = manual_operation,
    .touch_open = manual_operation,
    .touch_close = manual_operation,
    .poll =
        [] {
            if (manual_poll)
                manual_poll();
        },
    .speaker = [] { return manual_speaker; },
    .battery = [] { return manual_battery; },
    .msec = [] { return manual_ms.load(); },
    .wall = [] { return static_cast<time_t>(manual_ms / 1000); },
    .msleep = [](int32_t ms) { manual_slept_ms = ms; },
    .wait = [](int32_t ms) { manual_waited_ms = ms; },
};
