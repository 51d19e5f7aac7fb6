/* device_web: a page in a browser is the screen, the keys and the speaker. */
#include "platform/device/web/device_web.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"

#include <ctime>

static int web_open()
{
    if (web_input_open() != 0)
        return -1;
    if (web_server_open() == 0)
        return 0;
    (void)web_input_close();
    return -1;
}

static int web_close()
{
    const int result = web_server_close();
    return web_input_close() | result;
}

/* Keys and finger come with the page. */
static int web_succeed()
{
    return 0;
}

static time_t web_wall()
{
    return time(nullptr);
}

static constinit const device device_web = {
    .name = "web",
    .open = web_open,
    .close = web_close,
    .screen_open = web_screen_open,
    .screen_close = web_screen_close,
    .screen_show = web_screen_show,
    .screen_power = web_screen_power,
    .screen_title = web_screen_set_title,
    .key_open = web_succeed,
    .key_close = web_succeed,
    .touch_open = web_succeed,
    .touch_close = web_succeed,
    .poll = web_input_poll,
    .speaker = web_speaker,
    .battery = web_input_battery,
    .msec = clock_real_msec,
    .wall = web_wall,
    .msleep = clock_real_msleep,
    .wait = web_input_wait,
    .wake = web_input_wake,
};

/* The one name that the program looks for. */
extern "C" const device_module zerv_device_module;
extern "C" constinit const device_module zerv_device_module = {
    .version = ZERV_VERSION,
    .size = sizeof(device),
    .record = &device_web,
};
