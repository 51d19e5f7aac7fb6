/* fb: the screen. The drawing itself stands in the other fb_*.cpp. */
#include "platform/draw/fb.h"

#include "platform/base/device.h"
#include "platform/base/fault.h"

constinit fb_surface *fb_cur = nullptr;
constinit uint8_t fb_power = 0;

static constinit uint32_t shown_content = 0; /* number of the picture that the device shows */

int fb_open(int32_t width, int32_t height)
{
    if (fault_hit("fb_open") || !device_current)
        return -1;
    if (fb_cur)
        (void)fb_close(); /* the new screen matters, not how the old one went */
    fb_surface *screen = fb_create(width, height);
    if (!screen)
        return -1;
    if (device_current->screen_open(width, height)) {
        (void)fb_free(screen);
        return -1;
    }
    screen->flags |= fb_flag_screen;
    shown_content = 0;
    fb_cur = screen;
    (void)device_current->screen_power(1); /* a panel that cannot be switched is lit anyway */
    fb_power = 1;
    return 0;
}

int fb_close()
{
    int result = 0;
    if (fb_cur) {
        fb_cur->flags &= ~fb_flag_screen;
        (void)fb_free(fb_cur); /* cannot refuse: it is no screen any more */
        fb_cur = nullptr;
        fb_power = 0;
        if (device_current)
            result = device_current->screen_close();
    }
    return fault_hit("fb_close") ? -1 : result;
}

int fb_set_power(int on)
{
    if (fault_hit("fb_set_power") || !fb_cur || !device_current)
        return -1;
    /* The word follows the wish even where the panel refuses: the timers that ask for it look at
     * the word, and would ask again in every pass. */
    fb_power = on ? 1 : 0;
    return device_current->screen_power(fb_power);
}

/* What the device shows already is not told again. */
static void tell_changes()
{
    const bool known = shown_content != 0 && fb_cur->content != 0;
    if (known && fb_cur->content == shown_content)
        fb_cur->changes = {.partial = true, .count = 0, .rects = {}};
    else if (!known || fb_cur->before != shown_content)
        fb_cur->changes = {};
}

int fb_flip()
{
    if (fault_hit("fb_flip") || !fb_cur || !device_current)
        return -1;
    tell_changes();
    const int result = device_current->screen_show(fb_cur);
    shown_content = result == 0 ? fb_cur->content : 0;
    return result;
}

void fb_set_title(const char *text)
{
    if (fb_cur && device_current && device_current->screen_title)
        device_current->screen_title(text);
}
