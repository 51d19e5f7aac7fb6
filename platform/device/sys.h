/* sys: the device as a whole. Main thread. */
#pragma once

#include <cstdint>

/* Chooses and opens the device (ZERV_DEVICE, else the first that fits the machine). */
[[nodiscard]] int sys_init();
int sys_exit();
/* 0, or -1 when the device saw something that must show in the exit status, such as a bad command
 * of its script. To be asked after sys_exit(), which succeeds all the same. */
int sys_status();
/* Per cent, 0..100; 100 on a machine without a battery. Cheap enough for every frame. */
int32_t sys_get_battery_level();
