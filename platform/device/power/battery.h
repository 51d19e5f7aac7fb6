/* battery: the charge of the machine's battery, as the kernel reports it. Main thread. */
#pragma once

#include <cstdint>

/* Per cent, 0..100; 100 on a machine without a battery. Looks at the machine every ten seconds,
 * so that it may be asked in every frame. */
int32_t battery_level();
/* After a sleep: the next one asks looks at the machine. */
void battery_forget();
/* The same, from a folder laid out like /sys/class/power_supply, looked at now. */
int32_t battery_read(const char *folder);
