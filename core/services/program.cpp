#include "core/services/program.h"

#include "config/cfg.h"
#include "core/services/overlay.h"
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "platform/device/sys.h"
#include "platform/sound/sound.h"

#include <cstdio>

constexpr int32_t volume_shown_ms = 2000;
constexpr uint16_t volume_colour = 0x001F;

constinit std::atomic<uint8_t> program_running{1};
constinit std::atomic<uint8_t> program_restarting{0};
constinit std::atomic<uint8_t> program_stay_tuned{0};

/* Main thread. */
constinit int32_t main_auto_off_mode = 0;
constinit int32_t main_auto_off_started = 0;
constinit int32_t program_volume_msg_id = -1;

int program_init()
{
    return 0;
}

int program_exit()
{
    return 0;
}

void program_perror(const char *text)
{
    fprintf(stderr, "%s\n", text);
}

void program_power_off()
{
    program_running = 0;
    clock_wake();
}

/* One message at a time: a new press replaces the one still shown. */
static void show_volume()
{
    char text[20];
    (void)str_format(text, "Volume: %d", cfg_vol); /* longest with 11 digits: 19 characters */
    if (program_volume_msg_id != -1)
        (void)overlay_msg_remove(program_volume_msg_id); /* it may have gone by itself */
    program_volume_msg_id = overlay_msg_add(text, volume_shown_ms, volume_colour);
}

int program_change_volume(int32_t delta)
{
    /* Left and right are one setting. The platform keeps the range. */
    if (sound_get_volume(&cfg_vol, &cfg_vol) != 0)
        return -1;
    cfg_vol += delta;
    if (sound_set_volume(&cfg_vol, &cfg_vol) != 0)
        return -1;
    cfg_modified = 1;
    show_volume();
    return 0;
}

int32_t program_get_battery_level()
{
    return sys_get_battery_level();
}
