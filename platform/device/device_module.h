/* device_module: a device that is a file of its own beside the program, because the libraries that it
 * brings along would cost every start that takes another device. Main thread. */
#pragma once

struct device;

/* Loads the device of a module, which stays loaded.
 *   file  "zerv-device-sdl.so"
 * Null when there is none, or one that was built for another program; a line on standard error says
 * why. */
[[nodiscard]] const device *device_module_load(const char *file);
