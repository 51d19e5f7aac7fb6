/* A device that is a file of its own, in three versions. */
#include "platform/base/device.h"

static const device record = {.name = MODULE_NAME,
                              .open = nullptr,
                              .close = nullptr,
                              .screen_open = nullptr,
                              .screen_close = nullptr,
                              .screen_show = nullptr,
                              .screen_power = nullptr,
                              .key_open = nullptr,
                              .key_close = nullptr,
                              .touch_open = nullptr,
                              .touch_close = nullptr,
                              .poll = nullptr,
                              .speaker = nullptr,
                              .battery = nullptr,
                              .msec = nullptr,
                              .wall = nullptr,
                              .msleep = nullptr};

extern "C" const device_module zerv_device_module;
extern "C" constexpr device_module zerv_device_module = {MODULE_VERSION, MODULE_SIZE, &record};
