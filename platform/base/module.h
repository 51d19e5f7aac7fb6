/* module: files beside the program that hold code of it, loaded when they are wanted, because the
 * libraries that they bring along would cost every start. Any thread. */
#pragma once

/* Loads a file and what it links, or counts one more user of it. Searched for in the program's own
 * folder, then in ../lib/zerv-player as seen from there.
 *   file  "zerv-device-sdl.so"
 * Null when there is none or it cannot be loaded; a line on standard error says why. */
[[nodiscard]] void *module_open(const char *file);
/* The last user lets it be unloaded. */
void module_close(void *module);
/* What the module offers under a name; null when it does not. */
const void *module_find(void *module, const char *name);
