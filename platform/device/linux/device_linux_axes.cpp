/* device_linux_axes: what the axes of an event device mean, by what the kernel says of it. */
#include "platform/device/linux/device_linux.h"
#include "platform/input/key_map.h"

#include <algorithm>
#include <linux/input.h>
#include <sys/ioctl.h>

static bool has_bit(const unsigned char *bits, unsigned bit)
{
    return bits[bit / 8] >> (bit % 8) & 1;
}

static linux_touch_ranges axis_ranges(int fd, unsigned x_axis, unsigned y_axis, bool by_button)
{
    input_absinfo x = {}, y = {};
    if (ioctl(fd, EVIOCGABS(x_axis), &x) != 0 || ioctl(fd, EVIOCGABS(y_axis), &y) != 0)
        return {};
    return {{x.minimum, x.maximum}, {y.minimum, y.maximum}, by_button, x.value, y.value};
}

/* Any pointer with axes of its own and something that says when it is down. A pad's sticks have
 * the same axes, but nothing on it can be touched. */
static linux_touch_ranges panel_ranges(int fd, const unsigned char *keys, const unsigned char *axes)
{
    if (has_bit(axes, ABS_MT_POSITION_X) && has_bit(axes, ABS_MT_POSITION_Y))
        return axis_ranges(fd, ABS_MT_POSITION_X, ABS_MT_POSITION_Y, false);
    const bool touched = has_bit(keys, BTN_TOUCH);
    if ((touched || has_bit(keys, BTN_LEFT)) && has_bit(axes, ABS_X) && has_bit(axes, ABS_Y))
        return axis_ranges(fd, ABS_X, ABS_Y, !touched);
    return {};
}

/* The places of triggers, surest first. A pad whose second stick does not have ABS_RX and ABS_RY
 * has it on ABS_Z and ABS_RZ: a stick that rests in the middle must not turn the volume. Where a pad
 * has all four, settle_triggers() tells which are which. */
bool linux_trigger_axes(const unsigned char *keys, const unsigned char *axes, uint16_t (&found)[2])
{
    static constexpr uint16_t places[][2] = {
        {ABS_HAT2Y, ABS_HAT2X},
        {ABS_BRAKE, ABS_GAS},
        {ABS_Z, ABS_RZ},
    };
    if (!has_bit(keys, BTN_SOUTH)) /* no pad: a wheel's pedals are none of ours */
        return false;
    for (const auto &place : places) {
        const bool may_be_stick = place[0] == ABS_Z;
        if (!has_bit(axes, place[0]) || !has_bit(axes, place[1]) ||
            (may_be_stick && !(has_bit(axes, ABS_RX) && has_bit(axes, ABS_RY))))
            continue;
        found[0] = place[0];
        found[1] = place[1];
        return true;
    }
    return false;
}

bool linux_is_middle(const linux_range *range, int32_t value)
{
    const int64_t span = static_cast<int64_t>(range->most) - range->least;
    const int64_t twice = 2 * static_cast<int64_t>(value) - range->least - range->most;
    return (twice < 0 ? -twice : twice) * 8 <= span; /* a sixteenth to either side */
}

/* Half way down it presses, and a good part further up it lets go: a finger trembles. */
bool linux_trigger_is_down(const linux_trigger *trigger, int32_t value, bool was_down)
{
    const int64_t span = static_cast<int64_t>(trigger->range.most) - trigger->range.least;
    const int64_t pulled = static_cast<int64_t>(value) - trigger->range.least;
    return pulled * 8 > span * (was_down ? 3 : 4);
}

/* Half way from the middle it presses, and lets go a good part before. */
int32_t linux_stick_side(const linux_range *range, int32_t value, int32_t was)
{
    const int64_t span = static_cast<int64_t>(range->most) - range->least;
    if (span <= 0)
        return 0;
    const int64_t twice = 2 * static_cast<int64_t>(value) - range->least - range->most;
    const int32_t side = twice < 0 ? -1 : 1;
    return (twice < 0 ? -twice : twice) * 8 >= span * (was == side ? 3 : 4) ? side : 0;
}

static linux_range range_of(int fd, uint16_t axis)
{
    input_absinfo info = {};
    if (ioctl(fd, EVIOCGABS(axis), &info) != 0 || info.minimum >= info.maximum)
        return {};
    return {info.minimum, info.maximum};
}

/* What rests at an end, as a lever does, would press that end for ever. */
static int8_t rest_of(int fd, uint16_t axis, const linux_range &range)
{
    input_absinfo info = {};
    if (ioctl(fd, EVIOCGABS(axis), &info) != 0)
        return 0;
    return static_cast<int8_t>(linux_stick_side(&range, info.value, 0));
}

/* Both axes of a stick that is let go. */
static bool rest_in_middle(int fd, uint16_t one, uint16_t other)
{
    for (const uint16_t axis : {one, other}) {
        input_absinfo info = {};
        const linux_range range = range_of(fd, axis);
        if (range.least == range.most || ioctl(fd, EVIOCGABS(axis), &info) != 0 ||
            !linux_is_middle(&range, info.value))
            return false;
    }
    return true;
}

/* ABS_Z and ABS_RZ of a pad that has ABS_RX and ABS_RY as well: two are a stick and two are triggers,
 * and drivers disagree. Sticks rest in the middle. One that nobody has touched says 0, which is the
 * middle only if its range says so. */
static void settle_triggers(int fd, const unsigned char *keys, linux_axes *to)
{
    if (to->triggers[0].axis != ABS_Z)
        return;
    const bool other_is_stick = rest_in_middle(fd, ABS_RX, ABS_RY);
    if (!rest_in_middle(fd, ABS_Z, ABS_RZ)) {
        for (linux_trigger &each : to->triggers)
            each.unsure = !other_is_stick;
        return;
    }
    const bool other_is_trigger =
        !other_is_stick && !has_bit(keys, BTN_TL2) && !has_bit(keys, BTN_TR2);
    to->triggers[0] = to->triggers[1] = {};
    if (other_is_trigger) {
        to->triggers[0] = {ABS_RX, range_of(fd, ABS_RX)};
        to->triggers[1] = {ABS_RY, range_of(fd, ABS_RY)};
    }
}

static bool is_trigger(const linux_axes *axes, uint16_t axis)
{
    return std::any_of(axes->triggers, axes->triggers + 2, [=](const linux_trigger &each) {
        return each.axis == axis && each.range.least != each.range.most && !each.unsure;
    });
}

/* Hats, the first stick of a pad, and whatever else the key map names. */
static void find_sticks(int fd, const unsigned char *keys, const unsigned char *axes,
                        linux_axes *to)
{
    const bool is_pad =
        has_bit(keys, BTN_SOUTH) || has_bit(keys, BTN_DPAD_UP) || has_bit(keys, BTN_JOYSTICK);
    const bool is_panel = to->panel.x.least != to->panel.x.most;
    for (uint16_t axis = 0; axis < linux_sticks; axis++) {
        const uint16_t low = static_cast<uint16_t>(key_code_axis + 2 * axis);
        const bool is_hat = axis >= ABS_HAT0X && axis <= ABS_HAT3Y;
        const bool is_stick = is_pad && (axis == ABS_X || axis == ABS_Y);
        const bool is_named =
            key_map_is_named(low) || key_map_is_named(static_cast<uint16_t>(low + 1));
        if (!has_bit(axes, axis) || !(is_hat || is_stick || is_named) ||
            (is_panel && axis <= ABS_Y) || is_trigger(to, axis))
            continue;
        to->sticks[axis] = range_of(fd, axis);
        if (!is_hat && !is_stick)
            to->resting[axis] = rest_of(fd, axis, to->sticks[axis]);
    }
}

linux_axes linux_axes_of(int fd)
{
    unsigned char keys[KEY_MAX / 8 + 1] = {}, axes[ABS_MAX / 8 + 1] = {};
    if (ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keys), keys) < 0 ||
        ioctl(fd, EVIOCGBIT(EV_ABS, sizeof axes), axes) < 0)
        return {};
    linux_axes all = {panel_ranges(fd, keys, axes), {}, {}, {}};
    uint16_t found[2];
    if (linux_trigger_axes(keys, axes, found)) {
        for (int i = 0; i < 2; i++)
            all.triggers[i] = {found[i], range_of(fd, found[i])};
        settle_triggers(fd, keys, &all);
    }
    find_sticks(fd, keys, axes, &all);
    return all;
}
