/* device_linux_axes: what the axes of an event device mean, by what the kernel says of it. */
#include "platform/device/linux/device_linux.h"

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

linux_touch_ranges linux_panel_ranges(int fd)
{
    unsigned char keys[KEY_MAX / 8 + 1] = {}, axes[ABS_MAX / 8 + 1] = {};
    if (ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keys), keys) < 0 ||
        ioctl(fd, EVIOCGBIT(EV_ABS, sizeof axes), axes) < 0)
        return {};
    if (has_bit(axes, ABS_MT_POSITION_X) && has_bit(axes, ABS_MT_POSITION_Y))
        return axis_ranges(fd, ABS_MT_POSITION_X, ABS_MT_POSITION_Y, false);
    const bool touched = has_bit(keys, BTN_TOUCH);
    if ((touched || has_bit(keys, BTN_LEFT)) && has_bit(axes, ABS_X) && has_bit(axes, ABS_Y))
        return axis_ranges(fd, ABS_X, ABS_Y, !touched);
    return {};
}
