/* update_unpack: puts the files of a checked package in place of the program's own. */
#pragma once

/* Unpacks into the working folder, entry by entry. Each file is written to the scratch folder
 * first and then renamed over its target, so that a power cut leaves it old or new. A target that
 * cannot be opened for writing (the running program) moves to "_tmp/NAME.INDEX". -1 at the first
 * failure; files placed until then stay. Worker thread. */
[[nodiscard]] int update_unpack(const char *package_path);
