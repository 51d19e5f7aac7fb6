/* key_queue: what the devices said, until a pass asks. */
#include "platform/input/key_queue.h"

#include "platform/input/key.h"
#include "platform/input/touch.h"
#include "platform/sound/sound.h"

constexpr uint32_t queue_size = 64;

/* Main thread only. */
static constinit key_change queue[queue_size] = {};
static constinit uint32_t queue_first = 0, queue_count = 0;
static constinit bool headphones = false, pulled = false;

void key_queue_forget()
{
    queue_first = queue_count = 0;
    headphones = pulled = false;
    key_guard_set(false);
}

bool key_queue_look(key_change *first)
{
    if (queue_count == 0)
        return false;
    *first = queue[queue_first];
    return true;
}

void key_queue_drop()
{
    queue_first = (queue_first + 1) % queue_size;
    queue_count--;
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
    if (on && !key_is_locked()) {
        add(~0u, false);
        touch_let_go();
    }
    key_guard_set(on);
}

/* What is down stays nobody's business while the keys are locked; what comes up is. */
void key_event(uint32_t mask, bool down)
{
    sound_wake();
    if ((mask & key_hold) && down)
        key_lock(!key_is_locked());
    if (mask & key_headphones) {
        pulled = pulled || (headphones && !down);
        headphones = down;
    }
    mask &= ~(key_hold | key_headphones);
    if (mask == 0)
        return;
    if (key_is_locked() && down)
        key_refuse();
    else
        add(mask, down);
}
