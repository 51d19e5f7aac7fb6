/* device_virtual: a device of memory and scripts; its clock moves when the script says so. */
#include "platform/device/virtual/device_virtual.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/draw/fb.h"

#include <cstdio>
#include <unistd.h>

static int virtual_open()
{
    if (virtual_clock_open() != 0)
        return -1;
    virtual_tick_begin();
    fb_keep_texts = true;
    if (virtual_script_open() != 0)
        return -1;
    if (virtual_sound_open() == 0)
        return 0;
    virtual_script_close();
    return -1;
}

static int virtual_close()
{
    virtual_script_close();
    fflush(stdout);
    return virtual_sound_close();
}

/* Keys and the finger are always there. */
static int virtual_succeed()
{
    return 0;
}

/* Workers live in real time. The main thread's time is the script's: it goes on at once. */
static void virtual_msleep(int32_t ms)
{
    if (virtual_is_realtime() || gettid() != getpid())
        clock_real_msleep(ms);
}

constinit const device device_virtual = {
    .name = "virtual",
    .open = virtual_open,
    .close = virtual_close,
    .screen_open = virtual_screen_open,
    .screen_close = virtual_screen_close,
    .screen_show = virtual_screen_show,
    .screen_power = virtual_set_display,
    .screen_title = virtual_screen_title,
    .key_open = virtual_succeed,
    .key_close = virtual_succeed,
    .touch_open = virtual_succeed,
    .touch_close = virtual_succeed,
    .poll = virtual_script_poll,
    .speaker = virtual_speaker,
    .battery = virtual_battery,
    .msec = virtual_msec,
    .wall = virtual_wall,
    .msleep = virtual_msleep,
    .wake = virtual_script_wake,
    .status = virtual_script_status,
};
