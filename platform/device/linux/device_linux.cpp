/* device_linux: a handheld without a desktop: frame buffer, event devices and sound card of the
 * kernel, nothing in between. */
#include "platform/device/linux/device_linux.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/power/battery.h"

#include <ctime>

static int linux_succeed()
{
    return 0;
}

static time_t linux_wall()
{
    return time(nullptr);
}

/* Keys and the panel are one set of event devices, opened and closed with the keys. */
constinit const device device_linux = {
    .name = "linux",
    .fits = linux_screen_fits,
    .open = linux_succeed,
    .close = linux_succeed,
    .screen_open = linux_screen_open,
    .screen_close = linux_screen_close,
    .screen_show = linux_screen_show,
    .screen_power = linux_screen_power,
    .key_open = linux_input_open,
    .key_close = linux_input_close,
    .touch_open = linux_succeed,
    .touch_close = linux_succeed,
    .poll = linux_input_poll,
    .speaker = linux_speaker,
    .battery = battery_level,
    .msec = clock_real_msec,
    .wall = linux_wall,
    .msleep = clock_real_msleep,
    .handheld = true,
    .wait = linux_input_wait,
    .wake = linux_input_wake,
    .rescue = linux_console_rescue,
};
