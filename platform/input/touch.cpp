#include "platform/input/touch.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/input/key.h"
#include "platform/input/key_queue.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <cassert>

constexpr uint32_t queue_size = 128;

struct touch_point {
    int32_t type, x, y;
};

/* Main thread only. */
static constinit bool opened = false;
static constinit touch_point queue[queue_size] = {}; /* oldest first */
static constinit uint32_t queue_count = 0;
static constinit bool finger_down = false;
static constinit int32_t finger_x = 0, finger_y = 0;

static void drop(uint32_t index, uint32_t count)
{
    assert(index + count <= queue_count);
    std::copy(queue + index + count, queue + queue_count, queue + index);
    queue_count -= count;
}

/* Makes room where nobody has read for long: a move first, else the oldest whole tap, so that
 * nobody sees half of one. */
static void make_room()
{
    for (uint32_t i = 0; i < queue_count; i++) {
        if (queue[i].type == touch_type_move) {
            drop(i, 1);
            return;
        }
    }
    for (uint32_t i = 0; i + 1 < queue_count; i++) {
        if (queue[i].type == touch_type_press) {
            drop(i, 2);
            return;
        }
    }
}

static void add(int32_t type, int32_t x, int32_t y)
{
    finger_x = x;
    finger_y = y;
    if (type == touch_type_move && queue_count > 0 &&
        queue[queue_count - 1].type == touch_type_move) {
        queue[queue_count - 1] = {type, x, y};
        return;
    }
    if (queue_count == queue_size)
        make_room();
    queue[queue_count++] = {type, x, y};
}

int touch_open()
{
    if (fault_hit("touch_open") || !device_current || device_current->touch_open() != 0)
        return -1;
    queue_count = 0;
    finger_down = false;
    opened = true;
    return 0;
}

int touch_close()
{
    int result = 0;
    if (opened)
        result = device_current->touch_close();
    opened = false;
    queue_count = 0;
    return fault_hit("touch_close") ? -1 : result;
}

int touch_check(int32_t *x, int32_t *y, int32_t *type)
{
    if (!opened || queue_count == 0)
        return 0;
    *x = queue[0].x;
    *y = queue[0].y;
    *type = queue[0].type;
    drop(0, 1);
    if (queue_count > 0)
        clock_look_in(0);
    return 1;
}

void touch_let_go()
{
    if (finger_down)
        touch_event(touch_type_release, finger_x, finger_y);
}

void touch_event(int32_t type, int32_t x, int32_t y)
{
    sound_wake();
    if (key_is_locked() && type == touch_type_press)
        key_refuse();
    if (key_is_locked() && !finger_down)
        return;
    x = std::clamp(x, 0, device_width - 1);
    y = std::clamp(y, 0, device_height - 1);
    if (type == touch_type_press && finger_down)
        type = touch_type_move;
    if (type == touch_type_press) {
        finger_down = true;
        add(type, x, y);
    } else if (type == touch_type_release && finger_down) {
        finger_down = false;
        add(type, x, y);
    } else if (type == touch_type_move && finger_down && (x != finger_x || y != finger_y)) {
        add(type, x, y);
    }
}
