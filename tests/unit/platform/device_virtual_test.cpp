/* The scripted device, driven as the program drives it: a main loop in small. */
#include "platform/clock.h"
#include "platform/device.h"
#include "platform/fault.h"
#include "platform/fb.h"
#include "platform/key.h"
#include "platform/sound.h"
#include "platform/str.h"
#include "platform/sys.h"
#include "platform/thread.h"
#include "platform/touch.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <png.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using std::string;

struct pass_seen {
    int32_t ms;
    key_report keys;
    int32_t touch_type, touch_x, touch_y;
};

static std::function<void(const pass_seen &)> on_pass;
static std::function<void(int16_t *samples, uint32_t frames)> play;

static void on_sound(void *, void *buffer, uint32_t length)
{
    if (play)
        play(static_cast<int16_t *>(buffer), length / sound_frame_bytes);
    else
        clock_msleep(1);
}

static void write_file(const char *path, const string &content)
{
    FILE *file = fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    fwrite(content.data(), 1, content.size(), file);
    fclose(file);
}

static string read_file(const char *path)
{
    string content;
    FILE *file = fopen(path, "rb");
    for (int c = file ? getc(file) : EOF; c != EOF; c = getc(file))
        content += (char)c;
    if (file)
        fclose(file);
    return content;
}

class device_virtual_script : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        setenv("ZERV_DEVICE", "virtual", 1);
        setenv("ZERV_VIRTUAL_SCRIPT", "script.txt", 1);
        unsetenv("ZERV_VIRTUAL_SOUND");
        unsetenv("ZERV_VIRTUAL_REALTIME");
        on_pass = nullptr;
        play = nullptr;
        device_ask_program = nullptr;
        int32_t full = 100;
        EXPECT_EQ(sound_set_volume(&full, &full), 0);
    }

    void TearDown() override { close_all(); }

    int open_all()
    {
        if (sys_init() || key_open() || touch_open() || sound_open(on_sound, nullptr))
            return -1;
        return fb_open(320, 240);
    }

    void close_all()
    {
        sound_close();
        touch_close();
        key_close();
        fb_close();
        sys_exit();
    }

    bool one_pass()
    {
        pass_seen seen = {};
        key_check(&seen.keys);
        touch_check(&seen.touch_x, &seen.touch_y, &seen.touch_type);
        seen.ms = clock_msec();
        passes.push_back(seen);
        if (on_pass)
            on_pass(seen);
        clock_msleep(1);
        return (seen.keys.pressed & key_quit) == 0;
    }

    /* Runs a script to its end and returns what it answered. */
    string run(const string &script, int wanted_status = 0)
    {
        write_file("script.txt", script);
        passes.clear();
        testing::internal::CaptureStdout();
        EXPECT_EQ(open_all(), 0);
        int32_t left = 1000000;
        while (left-- > 0 && one_pass()) {
        }
        EXPECT_GT(left, 0) << "the quit key never came";
        close_all();
        EXPECT_EQ(sys_status(), wanted_status);
        return testing::internal::GetCapturedStdout();
    }

    std::vector<pass_seen> passes;
};

static void show(const char *text)
{
    fb_clear(fb_cur, 0);
    const fb_text note = {1, 2, 300, 12, 12, 0xffff, 1, text};
    fb_text_note(fb_cur, &note);
    fb_flip();
}

TEST_F(device_virtual_script, the_end_of_the_script_quits)
{
    EXPECT_EQ(run(""), "");
    ASSERT_EQ(passes.size(), 1u);
    EXPECT_EQ(passes[0].ms, 1000000);
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

TEST_F(device_virtual_script, a_long_worker_is_waited_for_once)
{
    static std::atomic<bool> stop{false};
    stop = false;
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            EXPECT_EQ(thread_start(
                          "long",
                          [](void *) {
                              while (!stop)
                                  clock_msleep(1);
                          },
                          nullptr),
                      0);
        } else if (seen.ms % 10 == 0) {
            EXPECT_EQ(thread_start(
                          "short", [](void *) {}, nullptr),
                      0);
        }
    };
    const auto started = std::chrono::steady_clock::now();
    run("advance 500\n");
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
    stop = true;
    EXPECT_EQ(thread_settle(10000), 0);
}

TEST_F(device_virtual_script, says_when_a_worker_goes_on)
{
    static std::atomic<bool> stop{false};
    stop = false;
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000001) {
            EXPECT_EQ(thread_start(
                          "work",
                          [](void *) {
                              while (!stop)
                                  clock_msleep(1);
                          },
                          nullptr),
                      0);
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

/* ---- Sound ---- */

static uint32_t little(const string &from, size_t at, int bytes)
{
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; i--)
        value = value << 8 | (uint8_t)from[at + (size_t)i];
    return value;
}

static int16_t frame_at(const string &wav, uint32_t frame)
{
    return (int16_t)little(wav, 44 + frame * 4, 2);
}

static std::atomic<uint32_t> counter{0};

static void play_ramp(int16_t *samples, uint32_t frames)
{
    for (uint32_t i = 0; i < frames; i++)
        samples[i * 2] = samples[i * 2 + 1] = (int16_t)(counter++ % 20000 + 1);
}

TEST_F(device_virtual_script, the_speaker_consumes_exactly_the_time_that_passes)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    counter = 0;
    play = play_ramp;
    const string answer = run("advance 1234\nstate\nkey select\nquit\n");
    const string wav = read_file("sound.wav");
    const uint32_t frames = 1234 * 441 / 10;
    ASSERT_EQ(wav.size(), 44 + frames * 4);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(little(wav, 4, 4), wav.size() - 8);
    EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(little(wav, 20, 2), 1u);
    EXPECT_EQ(little(wav, 22, 2), 2u);
    EXPECT_EQ(little(wav, 24, 4), 44100u);
    EXPECT_EQ(little(wav, 28, 4), 176400u);
    EXPECT_EQ(little(wav, 32, 2), 4u);
    EXPECT_EQ(little(wav, 34, 2), 16u);
    EXPECT_EQ(little(wav, 40, 4), frames * 4);
    for (uint32_t i = 0; i < frames; i++)
        ASSERT_EQ(frame_at(wav, i), (int16_t)(i % 20000 + 1));
    const uint32_t queued = (counter - frames) * 1000 / 44100;
    EXPECT_NE(answer.find("queued=" + std::to_string(queued)), string::npos) << answer;
}

TEST_F(device_virtual_script, the_speaker_plays_silence_while_nothing_plays)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000100) {
            counter = 0;
            play = play_ramp;
            sound_wake();
        }
    };
    run("advance 200\n");
    const string wav = read_file("sound.wav");
    ASSERT_EQ(wav.size(), 44u + 8820 * 4);
    for (uint32_t i = 0; i < 4410; i++)
        ASSERT_EQ(frame_at(wav, i), 0);
    EXPECT_EQ(frame_at(wav, 4410), 1) << "heard in the next millisecond";
    EXPECT_EQ(frame_at(wav, 8819), 4410);
}

TEST_F(device_virtual_script, the_same_run_gives_the_same_bytes)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    string first_wav, first_answer;
    for (int round = 0; round < 5; round++) {
        counter = 0;
        play = play_ramp;
        int32_t full = 100;
        EXPECT_EQ(sound_set_volume(&full, &full), 0);
        on_pass = [](const pass_seen &seen) {
            if (seen.keys.pressed & key_select)
                sound_reset();
            int32_t volume = 10 + seen.ms % 90;
            if (seen.keys.pressed & key_up) {
                EXPECT_EQ(sound_set_volume(&volume, &volume), 0);
            }
        };
        const string answer =
            run("advance 333\nkey select\nadvance 50\nkey up\nadvance 500\nstate\n");
        const string wav = read_file("sound.wav");
        if (round == 0) {
            first_wav = wav;
            first_answer = answer;
        }
        EXPECT_TRUE(wav == first_wav);
        EXPECT_EQ(answer, first_answer);
    }
}

TEST_F(device_virtual_script, the_callback_runs_on_a_thread_of_its_own_in_step_with_the_passes)
{
    static std::atomic<bool> on_main{false}, in_pass{false}, overlapped{false};
    on_main = in_pass = overlapped = false;
    static const pthread_t main_thread = pthread_self();
    play = [](int16_t *samples, uint32_t frames) {
        on_main = on_main || pthread_equal(pthread_self(), main_thread);
        overlapped = overlapped || in_pass;
        play_ramp(samples, frames);
        overlapped = overlapped || in_pass;
    };
    on_pass = [](const pass_seen &) {
        in_pass = true;
        std::this_thread::yield();
        in_pass = false;
    };
    run("advance 1000\n");
    EXPECT_FALSE(on_main);
    EXPECT_FALSE(overlapped);
}

/* ---- Real time, and scripts that come in while the program runs ---- */

TEST_F(device_virtual_script, follows_real_time_when_asked)
{
    setenv("ZERV_VIRTUAL_REALTIME", "1", 1);
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    counter = 0;
    play = play_ramp;
    const auto started = std::chrono::steady_clock::now();
    run("advance 300\n");
    const std::chrono::duration<double, std::milli> took =
        std::chrono::steady_clock::now() - started;
    EXPECT_GE(took.count(), 299);
    EXPECT_GE(passes.back().ms, 1000300);
    EXPECT_GT(passes.size(), 5u) << "the main loop goes on meanwhile";
    const string wav = read_file("sound.wav");
    EXPECT_GE(wav.size(), 44u + 8820 * 4);
    EXPECT_EQ(little(wav, 40, 4), wav.size() - 44);
    EXPECT_EQ(frame_at(wav, 4000) - frame_at(wav, 3999), 1);
}

class device_virtual_pipe : public device_virtual_script
{
  protected:
    void SetUp() override
    {
        device_virtual_script::SetUp();
        ASSERT_EQ(pipe(ends), 0);
        kept_input = dup(STDIN_FILENO);
        ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        unsetenv("ZERV_VIRTUAL_SCRIPT");
    }
    void TearDown() override
    {
        device_virtual_script::TearDown();
        dup2(kept_input, STDIN_FILENO);
        close(kept_input);
        close(ends[0]);
        if (ends[1] >= 0)
            close(ends[1]);
    }
    void type(const char *text)
    {
        ASSERT_EQ(write(ends[1], text, strlen(text)), (ssize_t)strlen(text));
    }

    int ends[2] = {-1, -1};
    int kept_input = -1;
};

TEST_F(device_virtual_pipe, reads_standard_input_line_by_line)
{
    ASSERT_EQ(open_all(), 0);
    type("key se");
    std::thread typist([this] {
        clock_real_msleep(20);
        type("lect\nadvance 1\n");
    });
    while (one_pass() && clock_msec() == 1000000) {
    }
    typist.join();
    EXPECT_EQ(passes[passes.size() - 2].keys.pressed, key_select);
    close(ends[1]);
    ends[1] = -1;
    EXPECT_FALSE(one_pass());
}

TEST_F(device_virtual_pipe, a_call_for_attention_ends_the_wait_for_a_command)
{
    ASSERT_EQ(open_all(), 0);
    std::thread caller([] {
        clock_real_msleep(20);
        clock_wake();
    });
    EXPECT_TRUE(one_pass());
    EXPECT_EQ(passes.back().keys.pressed, 0u);
    EXPECT_EQ(passes.back().ms, 1000000) << "no time passes meanwhile";
    caller.join();
}

TEST_F(device_virtual_pipe, runs_on_without_commands_in_real_time)
{
    setenv("ZERV_VIRTUAL_REALTIME", "1", 1);
    ASSERT_EQ(open_all(), 0);
    for (int i = 0; i < 20; i++)
        EXPECT_TRUE(one_pass());
    EXPECT_GT(clock_msec(), 1000010);
    type("quit\n");
    int left = 10000;
    while (left-- > 0 && one_pass()) {
    }
    EXPECT_GT(left, 0);
}
