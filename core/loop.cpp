#include "core/loop.h"

#include "config/cfg.h"
#include "core/services/overlay.h"
#include "core/services/program.h"
#include "lists/list_cfg.h"
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "platform/font/font.h"
#include "view/view.h"

constexpr int32_t battery_too_low = 6; /* per cent; below it the program ends itself in time */
constexpr int32_t low_battery_off_seconds = 300;
constexpr int32_t low_battery_shown_ms = 300000;
constexpr uint16_t low_battery_colour = 0xF800;
constexpr int32_t volume_step = 5;
constexpr uint32_t key_volume = key_vol_up | key_vol_down;
constexpr int32_t pass_sleep_ms = 1;
constexpr int32_t waking_ms = 500; /* the key that woke the machine is told as late as that */

/* Main thread. */
constinit int32_t main_last_input_time = -1;
constinit int32_t main_last_battery_second = -1;
constinit loop_hook loop_desktop = nullptr;
static constinit bool just_woken = false;
static constinit int32_t woken_ms = 0; /* clock_msec(), while just_woken */

/* Signed, so that it is right across the clock's wrap. */
static int32_t since(int32_t now, int32_t then)
{
    return static_cast<int32_t>(static_cast<uint32_t>(now) - static_cast<uint32_t>(then));
}

void loop_note_input()
{
    main_last_input_time = clock_sec();
}

void loop_light_display()
{
    loop_note_input();
    if (fb_power)
        return;
    (void)fb_set_power(1);
    view_request_redraw();
}

void loop_woke(bool slept)
{
    main_last_battery_second = -1;
    view_request_redraw();
    if (!slept)
        return;
    just_woken = true;
    woken_ms = clock_msec();
    (void)fb_set_power(fb_power); /* drivers light a panel when they resume */
}

void loop_check_display(int32_t now)
{
    if (!fb_power || cfg_display_off_timeout <= 0 ||
        since(now, main_last_input_time) < cfg_display_off_timeout)
        return;
    /* Black first: some panels show their last frame for a moment when they are lit again. */
    (void)fb_clear(fb_cur, 0);
    (void)fb_flip();
    (void)fb_set_power(0); /* a panel that cannot be switched stays black */
}

void loop_check_auto_off(int32_t now)
{
    if (main_auto_off_mode > 0 && since(now, main_auto_off_started) >= main_auto_off_mode)
        program_power_off();
}

static void warn_of_low_battery()
{
    (void)overlay_msg_add("The battery level is too low.", low_battery_shown_ms,
                          low_battery_colour);
    char span[100], text[100];
    (void)list_cfg_span2str(low_battery_off_seconds, span, sizeof span);
    (void)str_format(text, "The system will be powered off in %s.", span); /* about 50 bytes */
    (void)overlay_msg_add(text, low_battery_shown_ms, low_battery_colour);
}

void loop_check_battery(int32_t now)
{
    if (now == main_last_battery_second)
        return;
    main_last_battery_second = now;
    if (program_get_battery_level() >= battery_too_low)
        return;
    /* A period that ends sooner anyway is the user's own. */
    if (main_auto_off_mode != 0 && main_auto_off_mode <= low_battery_off_seconds)
        return;
    main_auto_off_mode = low_battery_off_seconds;
    main_auto_off_started = clock_sec();
    warn_of_low_battery();
}

/* Once a second, as the battery. */
static void rest(int32_t now)
{
    if (now != main_last_battery_second)
        font_rest();
}

/* The event that lights the display does nothing else. */
static void wake_display()
{
    (void)fb_set_power(1);
    view_request_redraw();
    input_key_checked = 0;
    input_touch_checked = 0;
}

/* Once a sleep. */
static bool is_waking()
{
    const bool waking = just_woken && since(clock_msec(), woken_ms) < waking_ms;
    just_woken = false;
    return waking;
}

/* Whoever ends the program at the moment at which an update wants to start it again wants the
 * end. */
static void handle_global_keys()
{
    if (input_key.pressed & key_quit) {
        program_running = 0; /* the view still sees the key */
        program_restarting = 0;
    } else if (input_key.repeat & key_volume) {
        const bool up = (input_key.repeat & key_vol_up) != 0;
        (void)program_change_volume(up ? volume_step : -volume_step); /* its message tells */
    } else if ((input_key.held & key_back) && (input_key.pressed & key_left)) {
        input_key_checked = 0;
        program_power_off();
        program_restarting = 0;
    }
}

void loop_handle_input(int32_t now)
{
    if (!input_key_checked && !input_touch_checked)
        return;
    if (!fb_power || is_waking())
        wake_display();
    main_last_input_time = now;
    if (input_key_checked)
        handle_global_keys();
}

void loop_pass()
{
    input_check();
    const int32_t now = clock_sec();
    loop_check_display(now);
    loop_check_auto_off(now);
    rest(now);
    loop_check_battery(now);
    /* A view that did not draw for the sake of its input does so in the next pass. */
    if (input_key_checked || input_touch_checked)
        clock_look_in(0);
    loop_handle_input(now);
    if (loop_desktop)
        loop_desktop();
    if (fb_power)
        view_run();
    /* The battery, the timers above and what a list counts down go by whole seconds. */
    clock_look_next_second();
}

/* A display that went dark during a slide leaves it standing still: views do not run. */
bool loop_may_sleep()
{
    return view_anime_started == 0 || !fb_power;
}

void loop_run()
{
    while (program_running) {
        loop_pass();
        const int32_t look_ms = clock_take_look();
        if (!loop_may_sleep())
            continue;
        clock_stretch(look_ms);
        clock_msleep(pass_sleep_ms);
    }
}
