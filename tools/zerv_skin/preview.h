/* preview: pictures of a skin, one a scene, and a sheet of them all. */
#pragma once

struct cli_options;

/* Writes the pictures of a package into a folder, which is made when it is missing. Tells on
 * standard error what cannot be drawn or written. 0, or -1 when anything is missing. */
[[nodiscard]] int preview_write(const cli_options *options, const char *folder);
