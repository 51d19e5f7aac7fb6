/* update_unpack: puts the files of a checked package in place of the program's own.
 *
 * In two steps, so that a power cut or a full disk in the long one changes nothing, and the short
 * one only renames what is on the disk already. Worker thread. */
#pragma once

/* Writes the content of every file to the scratch folder and waits until the disk has it.
 *   go_on  asked between entries; false gives up
 * 0, or -1 with nothing of it left. */
[[nodiscard]] int update_extract(const char *package_path, bool (*go_on)());
/* Makes the folders and moves each extracted file over its target, entry by entry. A target that
 * cannot be opened for writing (the running program) moves to "_tmp/NAME.INDEX". What the disk has
 * no name for is left out, and said on standard error. -1 at the first failure; files placed until
 * then stay. */
[[nodiscard]] int update_place(const char *package_path);
