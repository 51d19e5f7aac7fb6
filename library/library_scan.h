/* library_scan: rebuilds the whole library from the music folder in one transaction. */
#pragma once

#include <sys/stat.h>

/* 0 when the library was rebuilt; -1 when beginning, emptying or committing failed, and when the
 * music folder is there but cannot be read: the old library stays then. Worker thread. */
int library_scan();
/* Adds everything below `dir`. Always 0. */
int library_scan_dir(const char *dir);
/* Adds one file. -1 when it did not go in. */
int library_add_file(const char *path, const char *dir);
