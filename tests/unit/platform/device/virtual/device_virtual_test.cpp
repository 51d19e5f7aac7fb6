/* The virtual device: commands, their answers, scripted time. */
#include "unit/platform/device/virtual/device_virtual_fixture.h"

TEST_F(device_virtual_script, the_end_of_the_script_quits)
{
    EXPECT_EQ(run(""), "");
    ASSERT_EQ(passes.size(), 1u);
    EXPECT_EQ(passes[0].ms, 1000000);
}

TEST_F(device_virtual_script, the_end_of_the_script_quits_although_keys_are_locked)
{
    EXPECT_EQ(run("key hold\nkey up\n"), "");
    ASSERT_EQ(passes.size(), 3u);
    EXPECT_EQ(passes[1].keys.pressed, 0u); /* the keys are locked indeed */
}

TEST_F(device_virtual_script, quits_again_until_somebody_listens)
{
    write_file("script.txt", "");
    ASSERT_EQ(open_all(), 0);
    EXPECT_FALSE(one_pass());
    EXPECT_FALSE(one_pass());
}

TEST_F(device_virtual_script, echoes_and_takes_comments)
{
    EXPECT_EQ(run("# nothing\n\n   \necho hello  world # rest\necho a#b\r\necho\necho last"),
              "hello  world\na#b\n\nlast\n");
}

TEST_F(device_virtual_script, time_moves_a_millisecond_a_pass_and_only_then)
{
    run("echo a\nadvance 3\nkey select\nadvance 0\nadvance 2\n");
    ASSERT_EQ(passes.size(), 7u);
    const int32_t wanted[] = {1, 2, 3, 3, 4, 5, 5};
    for (size_t i = 0; i < passes.size(); i++)
        EXPECT_EQ(passes[i].ms, 1000000 + wanted[i]);
    EXPECT_EQ(passes[3].keys.pressed, key_select);
}

TEST_F(device_virtual_script, commands_without_a_need_for_time_share_a_pass)
{
    run("echo a\nstate\ntext\npixel 0 0\nbattery 5\nwall 2026-02-03T04:05:06\nkey back\n");
    ASSERT_EQ(passes.size(), 2u);
    EXPECT_EQ(passes[0].keys.pressed, key_back);
}

TEST_F(device_virtual_script, the_wall_clock_starts_at_noon_and_moves_along)
{
    static std::vector<string> seen;
    seen.clear();
    on_pass = [](const pass_seen &) {
        const time_t now = clock_wall();
        tm local = {};
        localtime_r(&now, &local);
        char text[32];
        strftime(text, sizeof text, "%F %T", &local);
        if (seen.empty() || seen.back() != text)
            seen.push_back(text);
    };
    run("advance 1000\nwall 2027-12-31T23:59:59\nadvance 1000\n");
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0], "2026-01-01 12:00:00");
    EXPECT_EQ(seen[1], "2026-01-01 12:00:01");
    EXPECT_EQ(seen[2], "2027-12-31 23:59:59");
    EXPECT_EQ(seen[3], "2028-01-01 00:00:00");
}

TEST_F(device_virtual_script, keys_by_name_and_by_number)
{
    run("key 0x2000\nkey vol_up\ndown back\nkey left\nup back\nkey up+page_down\n");
    ASSERT_EQ(passes.size(), 7u);
    EXPECT_EQ(passes[0].keys.pressed, 0x2000u);
    EXPECT_EQ(passes[0].keys.released, 0x2000u);
    EXPECT_EQ(passes[1].keys.repeat, 0x10000u);
    EXPECT_EQ(passes[2].keys.held, 0x200u);
    EXPECT_EQ(passes[3].keys.pressed, 0x4u);
    EXPECT_EQ(passes[3].keys.held, 0x200u);
    EXPECT_EQ(passes[4].keys.released, 0x200u);
    EXPECT_EQ(passes[5].keys.pressed, 0x801u);
}

TEST_F(device_virtual_script, every_key_has_its_name)
{
    const struct {
        const char *name;
        uint32_t mask;
    } names[] = {{"up", 0x1},         {"down", 0x10},       {"left", 0x4},      {"right", 0x40},
                 {"page_up", 0x400},  {"page_down", 0x800}, {"select", 0x2000}, {"menu", 0x1000},
                 {"reload", 0x8000},  {"switch", 0x4000},   {"back", 0x200},    {"quit", 0x100},
                 {"vol_up", 0x10000}, {"vol_down", 0x20000}};
    for (const auto &each : names) {
        run(string("key ") + each.name + "\n");
        EXPECT_EQ(passes[0].keys.pressed, each.mask) << each.name;
    }
}

TEST_F(device_virtual_script, a_held_key_repeats_in_scripted_time)
{
    run("down down\nadvance 650\nup down\nadvance 500\n");
    int repeats = 0;
    for (const pass_seen &each : passes)
        repeats += (each.keys.repeat & key_down) != 0;
    EXPECT_EQ(repeats, 1 + 3);
}

TEST_F(device_virtual_script, the_finger_is_seen_event_by_event)
{
    run("touch press 10 20\ntouch move 30 40\ntouch release 500 -3\n");
    ASSERT_EQ(passes.size(), 4u);
    EXPECT_EQ(passes[0].touch_type, touch_type_press);
    EXPECT_EQ(passes[1].touch_type, touch_type_move);
    EXPECT_EQ(passes[1].touch_x, 30);
    EXPECT_EQ(passes[2].touch_type, touch_type_release);
    EXPECT_EQ(passes[2].touch_x, 319);
    EXPECT_EQ(passes[2].touch_y, 0);
}

TEST_F(device_virtual_script, the_battery_is_what_the_script_says)
{
    static std::vector<int32_t> levels;
    levels.clear();
    on_pass = [](const pass_seen &) { levels.push_back(sys_get_battery_level()); };
    run("advance 1\nbattery 5\nadvance 1\n");
    EXPECT_EQ(levels[0], 100);
    EXPECT_EQ(levels[1], 5);
}

TEST_F(device_virtual_script, answers_the_state)
{
    device_ask_program = [](device_program_state *state) {
        state->view = "play";
        state->sliding = true;
        state->paused = true;
        state->pos_ms = 4321;
        str_copy(state->playing, "/music/a b\n.mp3");
    };
    int32_t left = 45, right = 45;
    EXPECT_EQ(sound_set_volume(&left, &right), 0);
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000002)
            show("x");
    };
    EXPECT_EQ(run("advance 2\nstate\n"),
              "state view=play display=1 sliding=1 flips=1 ms=1000002 "
              "playing=/music/a b\\x0A.mp3 paused=1 pos=4321 volume=45 queued=0\n");
}

TEST_F(device_virtual_script, counts_every_frame_and_knows_the_display)
{
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            show("a");
            show("b");
            fb_set_power(0);
        }
    };
    const string answer = run("advance 1\nstate\n");
    EXPECT_NE(answer.find("display=0"), string::npos);
    EXPECT_NE(answer.find("flips=2 "), string::npos);
}

TEST_F(device_virtual_script, answers_texts_and_pixels_of_the_frame_shown)
{
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            fb_clear(fb_cur, 0xf800);
            const fb_text one = {-3, 5, 0, 0, 16, 0x001f, 0x21, "歌曲"};
            const fb_text two = {10, 20, 300, 12, 12, 0xffff, 0, "a\tb|"};
            fb_text_note(fb_cur, &one);
            fb_text_note(fb_cur, &two);
            fb_flip();
        }
        if (seen.ms == 1000002)
            fb_clear(fb_cur, 0x07e0); /* drawn and not shown */
    };
    EXPECT_EQ(run("text\npixel 0 0\nadvance 1\ntext\npixel 319 239\nadvance 1\npixel 5 5\ntext\n"),
              "end\npixel 0 0 0x0000\n"
              "text -3 5 0 0 16 0x001F 33 |歌曲|\ntext 10 20 300 12 12 0xFFFF 0 |a\\x09b||\nend\n"
              "pixel 319 239 0xF800\npixel 5 5 0xF800\n"
              "text -3 5 0 0 16 0x001F 33 |歌曲|\ntext 10 20 300 12 12 0xFFFF 0 |a\\x09b||\nend\n");
}

TEST_F(device_virtual_script, waits_for_a_text_in_scripted_time)
{
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000500)
            show("Volume: 80");
    };
    const string answer = run("wait Volume: 8\nstate\nwait Volume\nwait nothing\nstate\n");
    EXPECT_EQ(answer.find("found\nstate "), 0u);
    EXPECT_NE(answer.find("ms=1000500 "), string::npos);
    EXPECT_NE(answer.find("\nfound\nmissing\nstate "), string::npos);
    EXPECT_NE(answer.find("ms=1010500 "), string::npos);
}

TEST_F(device_virtual_script, finds_a_text_in_the_last_millisecond)
{
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1010000)
            show("late");
    };
    EXPECT_EQ(run("wait late\n"), "found\n");
}

TEST_F(device_virtual_script, settles_when_no_worker_runs)
{
    static std::atomic<bool> done{false};
    done = false;
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            EXPECT_EQ(thread_start(
                          "work",
                          [](void *) {
                              clock_real_msleep(30);
                              done = true;
                          },
                          nullptr),
                      0);
        }
        if (seen.ms == 1000002) {
            EXPECT_TRUE(done);
        }
    };
    const string answer = run("advance 1\nsettle\nstate\n");
    EXPECT_EQ(answer.find("settled\nstate "), 0u);
    EXPECT_NE(answer.find("ms=1000003 "), string::npos);
}

TEST_F(device_virtual_script, a_short_worker_ends_before_the_next_millisecond)
{
    static std::atomic<bool> done{false};
    for (int round = 0; round < 20; round++) {
        done = false;
        on_pass = [](const pass_seen &seen) {
            if (seen.ms == 1000001) {
                EXPECT_EQ(thread_start(
                              "work",
                              [](void *) {
                                  clock_real_msleep(3);
                                  done = true;
                              },
                              nullptr),
                          0);
            } else if (seen.ms == 1000002) {
                EXPECT_TRUE(done);
            }
        };
        run("advance 2\n");
    }
}

static std::atomic<bool> stop{false};

static void work_until_stopped(void *)
{
    while (!stop)
        clock_msleep(1);
}

TEST_F(device_virtual_script, a_long_worker_is_waited_for_once)
{
    stop = false;
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            EXPECT_EQ(thread_start("long", work_until_stopped, nullptr), 0);
        } else if (seen.ms % 10 == 0) {
            EXPECT_EQ(thread_start(
                          "short", [](void *) {}, nullptr),
                      0);
        }
    };
    run("advance 500\n");
    stop = true;
    EXPECT_EQ(thread_settle(10000), 0);
}

TEST_F(device_virtual_script, says_when_a_worker_goes_on)
{
    stop = false;
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            EXPECT_EQ(thread_start("work", work_until_stopped, nullptr), 0);
        }
    };
    EXPECT_EQ(run("advance 1\nsettle 20\n"), "busy\n");
    stop = true;
    EXPECT_EQ(thread_settle(10000), 0);
}

TEST_F(device_virtual_script, saves_the_screen_as_a_picture)
{
    on_pass = [](const pass_seen &) {
        fb_clear(fb_cur, 0xffff);
        fb_draw_rect(fb_cur, 0, 0, 1, 1, 0xf800);
        fb_draw_rect(fb_cur, 319, 239, 1, 1, 0x07e0);
        fb_draw_rect(fb_cur, 1, 0, 1, 1, 0x0841);
        fb_flip();
    };
    EXPECT_EQ(run("advance 1\nscreenshot a picture.png\n"), "saved a picture.png\n");
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&picture, "a picture.png"));
    EXPECT_EQ(picture.width, 320u);
    EXPECT_EQ(picture.height, 240u);
    picture.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(picture));
    ASSERT_TRUE(png_image_finish_read(&picture, nullptr, rgb.data(), 0, nullptr));
    EXPECT_EQ(string(rgb.begin(), rgb.begin() + 9), string("\xff\0\0\x08\x08\x08\xff\xff\xff", 9));
    EXPECT_EQ(string(rgb.end() - 6, rgb.end()), string("\xff\xff\xff\0\xff\0", 6));
}

TEST_F(device_virtual_script, refuses_what_it_does_not_know)
{
    const char *const bad[] = {"nonsense",
                               "advance",
                               "advance x",
                               "advance -1",
                               "advance 1 2",
                               "advance 99999999999999",
                               "key",
                               "key nothing",
                               "key 0x",
                               "key 0x0",
                               "key 0xzz",
                               "key 0x123456789",
                               "key up+",
                               "key +up",
                               "key up+nothing",
                               "down",
                               "up a b",
                               "touch press 1",
                               "touch poke 1 2",
                               "touch press a b",
                               "touch press 1 2 3 4",
                               "battery 101",
                               "battery -1",
                               "battery full",
                               "wall noon",
                               "wall 2026-02-31T00:00:00",
                               "wall 2026-13-01T00:00:00",
                               "wall 2026-01-01T00:00:00x",
                               "settle soon",
                               "settle -1",
                               "wait",
                               "screenshot",
                               "screenshot /no/such/folder/a.png",
                               "pixel 1",
                               "pixel 320 0",
                               "pixel 0 -1",
                               "text now",
                               "state now",
                               "quit now"};
    for (const char *line : bad) {
        const string answer = run(string("echo a\n\n") + line + "\necho never\n", -1);
        EXPECT_EQ(answer.find("a\nerror: 3: "), 0u) << line << ": " << answer;
        EXPECT_EQ(answer.find("never"), string::npos) << line;
    }
    run("echo fine\n");
}

TEST_F(device_virtual_script, refuses_a_line_without_end_and_a_zero_byte)
{
    EXPECT_EQ(run("echo " + string(100000, 'x') + "\n", -1).find("error: 1: "), 0u);
    EXPECT_EQ(run(string("echo a\0b\necho c\n", 16), -1).find("error: 1: "), 0u);
    const string longest = "echo " + string(4000, 'x');
    EXPECT_EQ(run(longest + "\n").size(), 4001u);
}

TEST_F(device_virtual_script, takes_scripts_of_any_length)
{
    string script, wanted;
    for (int i = 0; i < 5000; i++) {
        script += "echo line number " + std::to_string(i) + "\n";
        wanted += "line number " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(run(script), wanted);
}

TEST_F(device_virtual_script, fails_to_start_without_its_files)
{
    testing::internal::CaptureStderr();
    setenv("ZERV_VIRTUAL_SCRIPT", "/no/such/script", 1);
    EXPECT_EQ(sys_init(), -1);
    setenv("ZERV_VIRTUAL_SCRIPT", "script.txt", 1);
    setenv("ZERV_VIRTUAL_SOUND", "/no/such/folder/a.wav", 1);
    write_file("script.txt", "");
    EXPECT_EQ(sys_init(), -1);
    testing::internal::GetCapturedStderr();
}
