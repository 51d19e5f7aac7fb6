/* device_sdl: a window on a desktop. */
#include "platform/device/sdl/device_sdl.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/power/battery.h"

#include <SDL.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

static bool is_set(const char *variable)
{
    const char *value = getenv(variable);
    return value && *value;
}

/* SDL falls back to these where it reaches no display. Sound would play and nobody would see what
 * from, nor be able to end it. */
static constexpr const char *unseen_drivers[] = {"dummy", "offscreen", "evdev"};

static bool is_seen(const char *driver)
{
    for (const char *unseen : unseen_drivers) {
        if (driver && strcmp(driver, unseen) == 0)
            return false;
    }
    return driver != nullptr;
}

/* Only the displays that the session speaks of: SDL's own search tries what this machine does not
 * have, and lets the libraries below complain about it. */
static void choose_driver()
{
    const bool x11 = is_set("DISPLAY"), wayland = is_set("WAYLAND_DISPLAY");
    if (!is_set("SDL_VIDEODRIVER") && (x11 || wayland))
        SDL_SetHint(SDL_HINT_VIDEODRIVER, !wayland ? "x11" : x11 ? "x11,wayland" : "wayland");
}

/* 0 with a display that shows what is drawn. */
static int open_video()
{
    choose_driver();
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        fprintf(stderr, "there is no window: %s\n", SDL_GetError());
        return -1;
    }
    const char *driver = SDL_GetCurrentVideoDriver();
    if (is_seen(driver))
        return 0;
    fprintf(stderr, "there is no window: SDL's driver \"%s\" shows nothing\n",
            driver ? driver : "");
    SDL_Quit();
    return -1;
}

static int sdl_open()
{
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    /* Without it even a surface is presented through GL and costs 100 MB. */
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
    SDL_SetHint(SDL_HINT_RENDER_DRIVER, "software");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
    if (open_video() != 0)
        return -1;
    /* There SDL knows no other way to show a surface. */
    if (strcmp(SDL_GetCurrentVideoDriver(), "wayland") == 0)
        SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "1");
    SDL_EnableScreenSaver();
    SDL_StopTextInput();
    (void)SDL_InitSubSystem(SDL_INIT_GAMECONTROLLER); /* the keyboard is enough without one */
    sdl_input_open();
    if (sdl_wait_open() == 0)
        return 0;
    fprintf(stderr, "nothing to wake the window with: %s\n", strerror(errno));
    SDL_Quit();
    return -1;
}

static int sdl_close()
{
    sdl_input_close();
    sdl_wait_close();
    SDL_Quit();
    return 0;
}

/* The keyboard and the mouse come with the window. */
static int sdl_succeed()
{
    return 0;
}

static time_t sdl_wall()
{
    return time(nullptr);
}

static constinit const device device_sdl = {
    .name = "sdl",
    .open = sdl_open,
    .close = sdl_close,
    .screen_open = sdl_screen_open,
    .screen_close = sdl_screen_close,
    .screen_show = sdl_screen_show,
    .screen_power = sdl_screen_power,
    .screen_title = sdl_screen_title,
    .key_open = sdl_succeed,
    .key_close = sdl_succeed,
    .touch_open = sdl_succeed,
    .touch_close = sdl_succeed,
    .poll = sdl_input_poll,
    .speaker = sdl_speaker,
    .battery = battery_level,
    .msec = clock_real_msec,
    .wall = sdl_wall,
    .msleep = clock_real_msleep,
    .wait = sdl_wait,
    .wake = sdl_wake,
};

/* The one name that the program looks for. */
extern "C" const device_module zerv_device_module;
extern "C" constinit const device_module zerv_device_module = {
    .version = ZERV_VERSION,
    .size = sizeof(device),
    .record = &device_sdl,
};
