#include "platform/base/clock.h"

#include "platform/base/device.h"

#include <atomic>

/* A pass of an idle main loop may come this late: 50 wake-ups a second instead of 930, and still
 * no slower than a frame. */
constexpr int32_t stretched_ms = 20;
constexpr int32_t attentive_ms = 2000;

static constinit std::atomic<int32_t> input_last{0};
static constinit thread_local bool *sleeps_noted = nullptr;

static int64_t now_msec()
{
    return device_current ? device_current->msec() : clock_real_msec();
}

int32_t clock_stretch(int32_t ms, int32_t since_input_ms)
{
    if (ms >= stretched_ms || since_input_ms < attentive_ms)
        return ms;
    return stretched_ms;
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

void clock_note_input()
{
    input_last.store(clock_msec(), std::memory_order_relaxed);
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
        const uint32_t since = static_cast<uint32_t>(clock_msec()) -
                               static_cast<uint32_t>(input_last.load(std::memory_order_relaxed));
        device_current->wait(
            clock_stretch(ms, since > INT32_MAX ? INT32_MAX : static_cast<int32_t>(since)));
        return;
    }
    device_current->msleep(ms);
}

void clock_wake()
{
    if (device_current && device_current->wake)
        device_current->wake();
}
