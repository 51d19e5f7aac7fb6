/* linux_folder: where the bare device looks for what can be pressed. Main thread. */
#pragma once

/* The folder of the event devices, "/dev/input" unless somebody names another before key_open(). */
extern const char *linux_input_folder;
