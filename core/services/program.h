/* program: services of the program to every room above. */
#pragma once

#include <atomic>
#include <cstdint>

#define PROGRAM_NAME "Zerv Player"
#define PROGRAM_VERSION "0.4"
#define PROGRAM_BUILD_ID "zerv-player-dingoo"

extern std::atomic<uint8_t> program_running;    /* the main loop runs while it is set; any thread */
extern std::atomic<uint8_t> program_restarting; /* start again after shutdown; the update sets it */
extern std::atomic<uint8_t> program_stay_tuned; /* files are being replaced; the update sets it */

extern int32_t main_auto_off_mode;    /* auto power-off period, seconds; 0: off. Main thread */
extern int32_t main_auto_off_started; /* clock_sec() at which the period began. Main thread */
extern int32_t
    program_volume_msg_id; /* overlay message that shows the volume, or -1. Main thread */

[[nodiscard]] int program_init();
int program_exit();
/* One line on standard error. */
void program_perror(const char *text);
/* Ends the main loop at its next pass. Any thread. */
void program_power_off();
/* Adds to the volume and shows it. -1 when the platform refuses. Main thread. */
int program_change_volume(int32_t delta);
/* Per cent. */
int32_t program_get_battery_level();
