#include "core/loop.h"
#include "support/allocations.h"
#include "unit/core/loop_fixture.h"

#include <condition_variable>
#include <mutex>
#include <thread>

TEST_F(loop, program_begins_running_with_nothing_timed)
{
    EXPECT_EQ(first_input_time, -1);
    EXPECT_EQ(first_battery_second, -1);
    EXPECT_EQ(first_auto_off_mode, 0);
    EXPECT_EQ(first_volume_message, -1);
    EXPECT_TRUE(runs_at_first);
}

/* ---- auto power-off ---- */

TEST_F(loop, auto_off_ends_the_program_when_the_period_is_over)
{
    main_auto_off_mode = 300;
    main_auto_off_started = 1000;
    loop_check_auto_off(1299);
    EXPECT_EQ(program_running, 1);
    loop_check_auto_off(1300);
    EXPECT_EQ(program_running, 0);
}

TEST_F(loop, auto_off_that_is_off_never_ends_the_program)
{
    main_auto_off_started = 0;
    loop_check_auto_off(2000000);
    EXPECT_EQ(program_running, 1);
}

/* ---- battery ---- */

TEST_F(loop, low_battery_arms_the_power_off_and_says_so_once)
{
    machine.battery = 5;
    loop_check_battery(clock_sec());
    EXPECT_EQ(main_auto_off_mode, 300);
    EXPECT_EQ(main_auto_off_started, clock_sec());
    const texts wanted = {
        "6 222 320 12 12 0xF800 0 |The battery level is too low.|",
        "6 204 320 12 12 0xF800 0 |The system will be powered off in 5 分钟.|",
    };
    EXPECT_EQ(messages(), wanted);
    machine.ms += 1000;
    loop_check_battery(clock_sec());
    EXPECT_EQ(messages(), wanted);
    EXPECT_EQ(main_auto_off_started, clock_sec() - 1);
}

TEST_F(loop, low_battery_messages_stay_for_five_minutes)
{
    machine.battery = 0;
    loop_check_battery(clock_sec());
    machine.ms += 300000;
    overlay_msg->input(&first);
    EXPECT_EQ(messages().size(), 2u);
    machine.ms += 1;
    overlay_msg->input(&first);
    EXPECT_EQ(messages().size(), 0u);
}

TEST_F(loop, battery_of_six_per_cent_is_enough)
{
    machine.battery = 6;
    loop_check_battery(clock_sec());
    EXPECT_EQ(main_auto_off_mode, 0);
    EXPECT_EQ(messages().size(), 0u);
}

TEST_F(loop, low_battery_leaves_a_shorter_period_alone)
{
    machine.battery = 3;
    for (const int32_t period : {60, 300}) {
        main_auto_off_mode = period;
        main_auto_off_started = 77;
        loop_check_battery(clock_sec());
        EXPECT_EQ(main_auto_off_mode, period);
        EXPECT_EQ(main_auto_off_started, 77);
        machine.ms += 1000;
    }
    EXPECT_EQ(messages().size(), 0u);
}

TEST_F(loop, low_battery_shortens_a_longer_period)
{
    machine.battery = 3;
    main_auto_off_mode = 301;
    loop_check_battery(clock_sec());
    EXPECT_EQ(main_auto_off_mode, 300);
    EXPECT_EQ(messages().size(), 2u);
}

TEST_F(loop, battery_is_read_once_a_second)
{
    loop_check_battery(clock_sec());
    const int reads = machine.battery_reads;
    for (int i = 0; i < 100; i++)
        loop_check_battery(clock_sec());
    EXPECT_EQ(machine.battery_reads, reads);
    machine.ms += 1000;
    loop_check_battery(clock_sec());
    EXPECT_EQ(machine.battery_reads, reads + 1);
}

/* ---- global keys ---- */

TEST_F(loop, quit_key_ends_the_program_after_the_view_saw_it)
{
    test_press(key_quit);
    loop_pass();
    EXPECT_EQ(program_running, 0);
    EXPECT_EQ(seen.pressed, (std::vector<uint32_t>{key_quit}));
}

/* An update may ask for a restart in the very pass in which somebody quits. */
TEST_F(loop, quitting_takes_a_restart_back)
{
    program_restarting = 1;
    test_press(key_quit);
    loop_pass();
    EXPECT_EQ(program_restarting, 0);
    program_restarting = 1;
    machine.key_downs.push_back({key_back});
    loop_pass();
    machine.key_downs.push_back({key_left});
    loop_pass();
    EXPECT_EQ(program_restarting, 0);
}

TEST_F(loop, volume_keys_step_by_five_and_reach_the_view)
{
    test_press(key_vol_up);
    loop_pass();
    EXPECT_EQ(cfg_vol, 35);
    loop_pass();
    test_press(key_vol_down);
    loop_pass();
    EXPECT_EQ(cfg_vol, 30);
    EXPECT_EQ(seen.pressed, (std::vector<uint32_t>{key_vol_up, key_vol_down}));
}

TEST_F(loop, both_volume_keys_together_raise_it)
{
    test_press(key_vol_up | key_vol_down);
    loop_pass();
    EXPECT_EQ(cfg_vol, 35);
}

TEST_F(loop, held_volume_key_repeats)
{
    machine.key_downs.push_back({key_vol_up});
    loop_pass();
    machine.ms += 400;
    loop_pass();
    machine.ms += 100;
    loop_pass();
    EXPECT_EQ(cfg_vol, 45);
}

TEST_F(loop, quit_goes_before_volume)
{
    test_press(key_quit | key_vol_down);
    loop_pass();
    EXPECT_EQ(program_running, 0);
    EXPECT_EQ(cfg_vol, 30);
}

TEST_F(loop, power_combination_ends_the_program_unseen_by_the_view)
{
    machine.key_downs.push_back({key_back});
    loop_pass();
    machine.key_downs.push_back({key_left});
    loop_pass();
    EXPECT_EQ(program_running, 0);
    EXPECT_EQ(seen.pressed, (std::vector<uint32_t>{key_back}));
}

TEST_F(loop, volume_goes_before_the_power_combination)
{
    machine.key_downs.push_back({key_back});
    loop_pass();
    machine.key_downs.push_back({key_left | key_vol_up});
    loop_pass();
    EXPECT_EQ(program_running, 1);
    EXPECT_EQ(cfg_vol, 35);
    EXPECT_EQ(seen.pressed.size(), 2u);
}

TEST_F(loop, second_key_of_the_combination_alone_is_the_views)
{
    test_press(key_left);
    loop_pass();
    EXPECT_EQ(program_running, 1);
    EXPECT_EQ(seen.pressed, (std::vector<uint32_t>{key_left}));
}

/* ---- passes ---- */

TEST_F(loop, loop_sleeps_a_millisecond_a_pass)
{
    machine.key_downs = {{}, {}, {}, {key_quit}};
    machine.sleeps.clear();
    loop_run();
    EXPECT_EQ(machine.sleeps, (std::vector<int32_t>{1, 1, 1, 1}));
    EXPECT_EQ(seen.inputs, 4);
}

/* ---- the next moment at which anything can change ---- */

/* What a pass asks for, once what the test began has been drawn. */
static int32_t look_after_a_pass()
{
    loop_pass();
    (void)clock_take_look();
    loop_pass();
    return clock_take_look();
}

TEST_F(loop, an_idle_pass_looks_again_with_the_next_second)
{
    machine.ms = 1000250;
    machine.wall = 1767268800; /* a full minute: the next is far */
    EXPECT_EQ(look_after_a_pass(), 750);
    machine.ms = 1000999;
    EXPECT_EQ(look_after_a_pass(), 1);
}

TEST_F(loop, a_message_is_looked_at_when_it_ends)
{
    ASSERT_GE(overlay_msg_add("short", 300, 0xF800), 0);
    ASSERT_GE(overlay_msg_add("shorter", 200, 0xF800), 0);
    ASSERT_GE(overlay_msg_add("for ever", 0, 0xF800), 0);
    EXPECT_EQ(look_after_a_pass(), 201);
    machine.ms += 201;
    EXPECT_EQ(look_after_a_pass(), 100);
    machine.ms += 100;
    EXPECT_EQ(look_after_a_pass(), 699) << "to the next second";
    EXPECT_EQ(messages().size(), 1u);
}

TEST_F(loop, a_dark_display_looks_at_nothing_but_the_seconds)
{
    darken();
    ASSERT_GE(overlay_msg_add("unseen", 100, 0xF800), 0);
    EXPECT_EQ(look_after_a_pass(), 1000);
    EXPECT_EQ(seen.inputs, 0);
}

TEST_F(loop, input_is_followed_by_another_pass_at_once)
{
    (void)look_after_a_pass();
    test_press(key_down);
    loop_pass();
    EXPECT_EQ(clock_take_look(), 0);
    loop_pass(); /* the key comes up */
    (void)clock_take_look();
    loop_pass();
    EXPECT_EQ(clock_take_look(), 1000);
    test_touch(touch_type_press, 1, 1);
    loop_pass();
    EXPECT_EQ(clock_take_look(), 0);
}

TEST_F(loop, a_view_that_was_not_drawn_is_looked_at_again)
{
    (void)look_after_a_pass();
    first.input = [](view *) { return -1; };
    first.redraw = 1;
    loop_pass();
    EXPECT_EQ(clock_take_look(), 0);
    first.input = note_input;
    loop_pass();
    EXPECT_EQ(clock_take_look(), 1000);
}

TEST_F(loop, a_slide_is_followed_by_another_pass)
{
    (void)look_after_a_pass();
    view_select(&second);
    loop_pass();
    EXPECT_NE(view_anime_started, 0);
    EXPECT_EQ(clock_take_look(), 0);
    machine.ms += 200;
    loop_pass();
    EXPECT_EQ(view_anime_started, 0);
    EXPECT_EQ(clock_take_look(), 0) << "what waited for the end is drawn now";
    loop_pass();
    EXPECT_EQ(clock_take_look(), 800);
}

/* A machine on which no time passes: only wake() ends a sleep. */
static std::mutex sleep_lock;
static std::condition_variable sleep_end;
static bool woken = false;
static std::atomic<int> passes{0};

static device sleeping_device()
{
    device made = test_device;
    made.wait = [](int32_t) {
        std::unique_lock<std::mutex> lock(sleep_lock);
        passes++;
        sleep_end.wait(lock, [] { return woken; });
        woken = false;
    };
    made.wake = [] {
        const std::lock_guard<std::mutex> lock(sleep_lock);
        woken = true;
        sleep_end.notify_one();
    };
    return made;
}

static void await_a_pass_after(void (*wish)())
{
    const int before = passes;
    wish();
    while (passes == before)
        std::this_thread::yield();
}

TEST_F(loop, every_wish_of_a_worker_reaches_the_sleeping_loop)
{
    static const device sleeping = sleeping_device();
    static int32_t message = -1;
    device_current = &sleeping;
    passes = 0;
    std::thread worker([] {
        for (int round = 0; round < 1000; round++) {
            await_a_pass_after(view_request_redraw);
            await_a_pass_after([] { message = overlay_msg_add("done", 0, 0xF800); });
            await_a_pass_after([] { EXPECT_EQ(overlay_msg_remove(message), 0); });
        }
        program_power_off();
    });
    loop_run();
    worker.join();
    EXPECT_GE(seen.draws, 1000);
    EXPECT_TRUE(messages().empty());
    device_current = &test_device;
}

TEST_F(loop, every_pass_watches_the_timers)
{
    machine.battery = 5;
    loop_pass();
    EXPECT_EQ(main_auto_off_mode, 300);
    EXPECT_EQ(machine.shows, 1); /* with the messages */
    cfg_display_off_timeout = 299;
    machine.ms += 299000;
    loop_pass();
    EXPECT_EQ(fb_power, 0);
    EXPECT_EQ(program_running, 1);
    machine.ms += 1000;
    loop_pass();
    EXPECT_EQ(program_running, 0);
}

TEST_F(loop, key_that_comes_with_the_timeout_lights_the_display_again)
{
    machine.ms += 30000;
    test_press(key_up);
    loop_pass();
    EXPECT_EQ(machine.calls, (texts{"show", "power 0", "power 1", "show"}));
    EXPECT_TRUE(seen.pressed.empty());
}

TEST_F(loop, loop_does_not_sleep_during_a_slide)
{
    view_select(&second);
    ASSERT_NE(view_anime_started, 0);
    EXPECT_FALSE(loop_may_sleep());
    machine.ms += 200;
    loop_pass();
    EXPECT_TRUE(loop_may_sleep());
}

TEST_F(loop, loop_sleeps_when_the_display_goes_dark_during_a_slide)
{
    view_select(&second);
    cfg_display_off_timeout = 1;
    machine.ms += 0;
    loop_check_display(main_last_input_time + 1);
    ASSERT_EQ(fb_power, 0);
    EXPECT_NE(view_anime_started, 0);
    EXPECT_TRUE(loop_may_sleep());
}

TEST_F(loop, loop_ends_without_a_pass_when_it_was_stopped_before)
{
    program_power_off();
    loop_run();
    EXPECT_EQ(seen.inputs, 0);
}

/* ---- a pass with nothing to do ---- */

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(loop, allocations_are_counted_here)
{
    allocations = 0;
    program_change_volume(5);
    EXPECT_GE(allocations, 2); /* the message and its text */
}
#endif

TEST_F(loop, pass_with_nothing_to_do_draws_copies_and_allocates_nothing)
{
    loop_pass();
    machine.shows = 0;
    seen.draws = 0;
    fb_clear(fb_cur, 0x1234);
    allocations = 0;
    for (int i = 0; i < 1000; i++)
        loop_pass();
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(machine.shows, 0);
    EXPECT_EQ(seen.draws, 0);
    for (int32_t i = 0; i < 320 * 240; i++)
        ASSERT_EQ(fb_cur->pixels[i], 0x1234) << i;
}

TEST_F(loop, message_that_expired_in_the_dark_goes_at_waking)
{
    program_change_volume(5);
    loop_pass();
    darken();
    machine.ms += 5000;
    loop_pass();
    EXPECT_EQ(seen.draws, 0);
    test_press(key_up);
    loop_pass();
    EXPECT_EQ(seen.draws, 1);
    EXPECT_EQ(messages().size(), 0u);
}
