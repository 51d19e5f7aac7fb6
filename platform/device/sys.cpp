#include "platform/device/sys.h"

#include "platform/base/device.h"
#include "platform/base/fault.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

/* The first that fits is taken, or the one that is named. */
static const device *const devices[] = {
#ifdef ZERV_SDL
    &device_sdl, /* before the bare console: a desktop's frame buffer is not ours to draw on */
#endif
    &device_linux,
    &device_virtual,
};

/* Main thread. */
static constinit bool opened = false;

static const device *find_named(const char *name)
{
    for (const device *each : devices) {
        if (strcmp(each->name, name) == 0)
            return each;
    }
    fprintf(stderr, "there is no device \"%s\"\n", name);
    return nullptr;
}

static const device *find_fitting()
{
    for (const device *each : devices) {
        if (each->fits && each->fits())
            return each;
    }
    fprintf(stderr, "there is no screen: neither a desktop (DISPLAY, WAYLAND_DISPLAY) nor a frame "
                    "buffer (/dev/fb0) can be used\n");
    return nullptr;
}

static const device *choose()
{
    const char *name = getenv("ZERV_DEVICE");
    return name && *name ? find_named(name) : find_fitting();
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
