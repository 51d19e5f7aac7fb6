#include "platform/device/sys.h"

#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/device/device_module.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

/* A device that is built in, or the file that holds it. */
struct device_choice {
    const char *name;
    bool (*fits)(); /* as in the device's record; null: it has to be named */
    const device *built_in;
    const char *module;
};

static bool is_set(const char *variable)
{
    const char *value = getenv(variable);
    return value && *value;
}

/* Told without loading anything. */
[[maybe_unused]] static bool desktop_fits()
{
    return is_set("DISPLAY") || is_set("WAYLAND_DISPLAY") || is_set("SDL_VIDEODRIVER");
}

static bool console_fits()
{
    return device_linux.fits();
}

/* The first that fits is taken, or the one that is named. */
static constexpr device_choice choices[] = {
#ifdef ZERV_SDL
    /* Before the bare console: a desktop's frame buffer is not ours to draw on. */
    {"sdl", desktop_fits, nullptr, "zerv-device-sdl.so"},
#endif
    {"linux", console_fits, &device_linux, nullptr},
#ifdef ZERV_WEB
    {"web", nullptr, nullptr, "zerv-device-web.so"},
#endif
    {"virtual", nullptr, &device_virtual, nullptr},
};

/* Main thread. */
static constinit bool opened = false;

static const device *get(const device_choice &choice)
{
    return choice.built_in ? choice.built_in : device_module_load(choice.module);
}

static const device *find_named(const char *name)
{
    for (const device_choice &each : choices) {
        if (strcmp(each.name, name) == 0)
            return get(each);
    }
    fprintf(stderr, "there is no device \"%s\"\n", name);
    return nullptr;
}

static const device *find_fitting()
{
    for (const device_choice &each : choices) {
        if (each.fits && each.fits())
            return get(each);
    }
    fprintf(stderr, "there is no screen: neither a desktop (DISPLAY, WAYLAND_DISPLAY) nor a frame "
                    "buffer (/dev/fb0) can be used\n");
    return nullptr;
}

static const device *choose()
{
    return is_set("ZERV_DEVICE") ? find_named(getenv("ZERV_DEVICE")) : find_fitting();
}

int sys_init()
{
    if (fault_hit("sys_init"))
        return -1;
    const device *chosen = choose();
    if (!chosen || chosen->open() != 0)
        return -1;
    device_current = chosen;
    opened = true;
    return 0;
}

int sys_exit()
{
    int result = 0;
    if (opened)
        result = device_current->close();
    opened = false;
    return fault_hit("sys_exit") ? -1 : result;
}

int sys_status()
{
    return device_current && device_current->status ? device_current->status() : 0;
}

int32_t sys_get_battery_level()
{
    return device_current ? std::clamp(device_current->battery(), 0, 100) : 100;
}
