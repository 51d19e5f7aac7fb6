#include "platform/input/key.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/input/key_map.h"
#include "platform/input/key_press.h"
#include "platform/input/touch.h"
#include "platform/sound/sound.h"

constexpr int32_t repeat_after_ms = 400;
constexpr int32_t repeat_every_ms = 100;
constexpr uint32_t queue_size = 64;

struct key_change {
    uint32_t mask; /* keys that change */
    bool down;
};

/* Main thread only. */
static constinit bool opened = false;
static constinit key_change queue[queue_size] = {};
static constinit uint32_t queue_first = 0, queue_count = 0;
static constinit uint32_t held = 0;
static constinit int32_t repeat_at[32] = {}; /* clock_msec() of a held key's next repeat */
static constinit bool locked = false, refused = false;
static constinit bool headphones = false, pulled = false;

static void forget()
{
    queue_first = queue_count = 0;
    held = 0;
    locked = refused = headphones = pulled = false;
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
    while (queue_count > 0) {
        const key_change change = queue[queue_first];
        if (change.down && (change.mask & report->pressed))
            return;
        queue_first = (queue_first + 1) % queue_size;
        queue_count--;
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
    if (queue_count > 0)
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

bool key_is_locked()
{
    return locked;
}

bool key_take_refused()
{
    const bool was = refused;
    refused = false;
    return was;
}

bool key_take_pulled()
{
    const bool was = pulled;
    pulled = false;
    return was;
}

static void add(uint32_t mask, bool down)
{
    /* Nobody has polled for 64 changes: better no key than one that stays down for ever. */
    if (queue_count == queue_size) {
        queue_count = 0;
        queue[(queue_first + queue_count++) % queue_size] = {~0u, false};
    }
    queue[(queue_first + queue_count++) % queue_size] = {mask, down};
}

void key_lock(bool on)
{
    sound_wake();
    if (on && !locked) {
        add(~0u, false);
        touch_let_go();
    }
    locked = on;
    refused = false;
}

void key_refuse()
{
    refused = true;
}

/* What is down stays nobody's business while the keys are locked; what comes up is. */
void key_event(uint32_t mask, bool down)
{
    sound_wake();
    if ((mask & key_hold) && down)
        key_lock(!locked);
    if (mask & key_headphones) {
        pulled = pulled || (headphones && !down);
        headphones = down;
    }
    mask &= ~(key_hold | key_headphones);
    if (locked && down)
        refused = refused || mask != 0;
    else if (mask)
        add(mask, down);
}
