/* device_web_screen: the last frame, kept for the pages. */
#include "platform/base/lock.h"
#include "platform/base/str.h"
#include "platform/device/web/device_web.h"
#include "platform/draw/fb.h"

#include <cstring>

static constinit sys_lock screen_lock;
static constinit uint16_t shown[web_pixels] GUARDED_BY(screen_lock) = {};
static constinit uint32_t shown_serial GUARDED_BY(screen_lock) = 1;
static constinit bool lit GUARDED_BY(screen_lock) = false;
static constinit web_title title GUARDED_BY(screen_lock) = "";
static constinit uint32_t title_serial GUARDED_BY(screen_lock) = 1;

int web_screen_open(int32_t width, int32_t height)
{
    return width == device_width && height == device_height ? 0 : -1;
}

int web_screen_close()
{
    return 0;
}

static void take_frame(const fb_surface *frame)
{
    const sys_guard guard(screen_lock);
    for (int32_t y = 0; y < device_height; y++)
        memcpy(shown + y * device_width, frame->pixels + static_cast<ptrdiff_t>(y) * frame->stride,
               device_width * sizeof *shown);
    shown_serial++;
}

int web_screen_show(const fb_surface *frame)
{
    if (frame->width != device_width || frame->height != device_height)
        return -1;
    take_frame(frame);
    web_audience_wake();
    return 0;
}

int web_screen_power(int on)
{
    {
        const sys_guard guard(screen_lock);
        lit = on != 0;
    }
    web_audience_wake();
    return 0;
}

void web_screen_set_title(const char *text)
{
    {
        const sys_guard guard(screen_lock);
        (void)str_copy(title, text); /* cut for a page's heading is fine */
        title_serial++;
    }
    web_audience_wake();
}

bool web_screen_look(uint32_t *serial, uint16_t (&to)[web_pixels])
{
    const sys_guard guard(screen_lock);
    if (*serial == shown_serial)
        return false;
    *serial = shown_serial;
    memcpy(to, shown, sizeof shown);
    return true;
}

bool web_screen_look_title(uint32_t *serial, web_title &to)
{
    const sys_guard guard(screen_lock);
    if (*serial == title_serial)
        return false;
    *serial = title_serial;
    (void)str_copy(to, title); /* same size */
    return true;
}

bool web_screen_lit()
{
    const sys_guard guard(screen_lock);
    return lit;
}
