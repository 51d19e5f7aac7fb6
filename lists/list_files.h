/* list_files: the file browser. Main thread. */
#pragma once

#include <climits>
#include <cstddef>

extern char list_files_dpath[PATH_MAX]; /* the folder that is shown, absolute */

/* Shows the music folder, or "/". -1 when neither can be listed. */
int list_files_set_default_dpath();
/* Shows the folder of `path` with the cursor on that file. -1 when it cannot. */
int list_files_select_file(const char *path);
/* Queues every audio file below `dir`, depth first.
 *   first_out  null, or an empty text that receives the first file's path */
int list_files_add_dir(const char *dir, char *first_out, size_t size);
