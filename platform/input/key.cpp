#include "platform/input/key.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/input/key_map.h"
#include "platform/input/key_press.h"
#include "platform/input/key_queue.h"

constexpr int32_t repeat_after_ms = 400;
constexpr int32_t repeat_every_ms = 100;

/* Main thread only. */
static constinit bool opened = false;
static constinit uint32_t held = 0;
static constinit int32_t repeat_at[32] = {}; /* clock_msec() of a held key's next repeat */

static void forget()
{
    key_queue_forget();
    held = 0;
}

static void press(uint32_t mask, int32_t now, key_report *report)
{
    for (int bit = 0; bit < 32; bit++) {
        if (mask & (1u << bit))
            repeat_at[bit] = static_cast<int32_t>(static_cast<uint32_t>(now) + repeat_after_ms);
    }
    held |= mask;
    report->pressed |= mask;
    report->repeat |= mask;
}

/* A key pressed a second time waits for the next pass, so that no press is lost in a slow one. */
static void take_changes(int32_t now, key_report *report)
{
    for (key_change change = {}; key_queue_look(&change); key_queue_drop()) {
        if (change.down && (change.mask & report->pressed))
            return;
        if (change.down) {
            press(change.mask & ~held, now, report);
        } else {
            report->released |= change.mask & held;
            held &= ~change.mask;
        }
    }
}

/* After a slow pass a key repeats once, not for each time that went by. */
static void repeat_held(int32_t now, key_report *report)
{
    for (int bit = 0; bit < 32; bit++) {
        const uint32_t mask = 1u << bit;
        const int32_t late = static_cast<int32_t>(static_cast<uint32_t>(now) -
                                                  static_cast<uint32_t>(repeat_at[bit]));
        if (!(held & mask) || (report->pressed & mask) || late < 0)
            continue;
        report->repeat |= mask;
        const int32_t from = late < repeat_every_ms ? repeat_at[bit] : now;
        repeat_at[bit] = static_cast<int32_t>(static_cast<uint32_t>(from) + repeat_every_ms);
    }
}

static void ask_for_next_look(int32_t now)
{
    key_change waiting = {};
    if (key_queue_look(&waiting))
        clock_look_in(0);
    for (int bit = 0; bit < 32; bit++) {
        if (held & (1u << bit))
            clock_look_in(static_cast<int32_t>(static_cast<uint32_t>(repeat_at[bit]) -
                                               static_cast<uint32_t>(now)));
    }
}

int key_open()
{
    if (fault_hit("key_open") || !device_current)
        return -1;
    forget();
    /* First: a device that opens tells how its switches stand. */
    key_map_open(device_current->handheld ? key_machine::handheld : key_machine::desktop);
    if (device_current->key_open() != 0)
        return -1;
    opened = true;
    return 0;
}

int key_close()
{
    int result = 0;
    if (opened)
        result = device_current->key_close();
    opened = false;
    key_press_reset();
    forget();
    return fault_hit("key_close") ? -1 : result;
}

int key_check(key_report *report)
{
    *report = {};
    if (!opened)
        return 0;
    device_current->poll();
    const int32_t now = clock_msec();
    take_changes(now, report);
    repeat_held(now, report);
    report->held = held;
    ask_for_next_look(now);
    return (report->pressed | report->repeat) != 0;
}
