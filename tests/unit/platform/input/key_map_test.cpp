/* The key map: what its file may say, and what codes that go down and up come to. */
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/key_name.h"
#include "platform/input/touch.h"
#include "support/scratch.h"
#include "unit/platform/manual_device.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <string>
#include <sys/stat.h>

class key_map_of : public testing::Test
{
  protected:
    void SetUp() override
    {
        manual_ms = 1000000;
        manual_result = 0;
        manual_poll = nullptr;
        device_current = &manual_device;
        ASSERT_EQ(key_open(), 0);
        ASSERT_EQ(touch_open(), 0);
    }
    void TearDown() override
    {
        touch_close();
        key_close();
    }

    /* Reads a text over the built-in meanings and goes by it. */
    void use(const std::string &text, key_machine machine = key_machine::desktop)
    {
        report = {};
        key_map_defaults(&map, machine);
        key_map_read(&map, text.data(), text.size(), "keys.txt", &report);
        key_map_use(&map);
    }

    void expect_bad(const std::string &text, const std::string &why)
    {
        testing::internal::CaptureStderr();
        use(text);
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(report.bad_lines, 1u) << text;
        EXPECT_EQ(report.first, why);
        EXPECT_EQ(told, why + "\n");
    }

    static key_report pass()
    {
        key_report keys;
        key_check(&keys);
        return keys;
    }
    static key_report down(uint16_t code)
    {
        key_code_event(code, true);
        return pass();
    }
    static key_report up(uint16_t code)
    {
        key_code_event(code, false);
        return pass();
    }
    uint32_t meaning(uint16_t code)
    {
        const uint32_t mask = down(code).pressed;
        up(code);
        return mask;
    }

    key_map map = {};
    key_map_report report = {};
};

TEST_F(key_map_of, no_file_is_the_machines_usual_keys)
{
    const struct {
        uint16_t code;
        uint32_t mask;
    } usual[] = {
        {KEY_UP, key_up},
        {KEY_DOWN, key_down},
        {KEY_LEFT, key_left},
        {KEY_RIGHT, key_right},
        {KEY_PAGEUP, key_page_up},
        {KEY_PAGEDOWN, key_page_down},
        {KEY_ENTER, key_select},
        {KEY_KPENTER, key_select},
        {KEY_SPACE, key_menu},
        {KEY_TAB, key_switch},
        {KEY_F5, key_reload},
        {KEY_ESC, key_back},
        {KEY_BACKSPACE, key_back},
        {KEY_BACK, key_back},
        {KEY_MENU, key_menu},
        {KEY_Q, key_quit},
        {KEY_POWER, key_quit},
        {KEY_EQUAL, key_vol_up},
        {KEY_KPPLUS, key_vol_up},
        {KEY_VOLUMEUP, key_vol_up},
        {KEY_MINUS, key_vol_down},
        {KEY_KPMINUS, key_vol_down},
        {KEY_VOLUMEDOWN, key_vol_down},
        {KEY_PLAYPAUSE, key_media_play},
        {KEY_PLAYCD, key_media_play},
        {KEY_STOPCD, key_media_stop},
        {KEY_PREVIOUSSONG, key_media_prev},
        {KEY_NEXTSONG, key_media_next},
        {BTN_DPAD_UP, key_up},
        {BTN_DPAD_DOWN, key_down},
        {BTN_DPAD_LEFT, key_left},
        {BTN_DPAD_RIGHT, key_right},
        {BTN_SOUTH, key_select},
        {BTN_EAST, key_back},
        {BTN_NORTH, key_menu},
        {BTN_WEST, key_switch},
        {BTN_TL, key_page_up},
        {BTN_TR, key_page_down},
        {BTN_TL2, key_vol_down},
        {BTN_TR2, key_vol_up},
        {BTN_SELECT, key_switch},
        {BTN_START, key_media_play},
        {BTN_MODE, key_quit},
        {key_code_axis + 2 * ABS_HAT0X, key_left},
        {key_code_axis + 2 * ABS_HAT0X + 1, key_right},
        {key_code_axis + 2 * ABS_HAT0Y, key_up},
        {key_code_axis + 2 * ABS_HAT0Y + 1, key_down},
    };
    for (const auto &each : usual)
        EXPECT_EQ(meaning(each.code), each.mask) << each.code;
    EXPECT_EQ(meaning(KEY_LEFTCTRL), 0u) << "the desktop's own";
    EXPECT_EQ(meaning(KEY_F12), 0u);
}

TEST_F(key_map_of, a_handhelds_buttons_have_meanings_that_a_desktop_does_not_give)
{
    use("", key_machine::handheld);
    const struct {
        uint16_t code;
        uint32_t mask;
    } common[] = {{KEY_LEFTCTRL, key_select},     {KEY_LEFTALT, key_back},
                  {KEY_LEFTSHIFT, key_switch},    {KEY_SPACE, key_menu},
                  {BTN_TRIGGER, key_menu},        {BTN_THUMB, key_back},
                  {BTN_THUMB2, key_select},       {BTN_TOP, key_switch},
                  {BTN_TOP2, key_page_up},        {BTN_PINKIE, key_page_down},
                  {BTN_BASE, key_vol_down},       {BTN_BASE2, key_vol_up},
                  {BTN_BASE3, key_switch},        {BTN_BASE4, key_media_play},
                  {KEY_HOMEPAGE, key_quit},       {KEY_EXIT, key_back},
                  {KEY_OK, key_select},           {KEY_SELECT, key_select},
                  {KEY_CHANNELUP, key_page_up},   {KEY_CHANNELDOWN, key_page_down},
                  {KEY_PLAY, key_media_play},     {KEY_PAUSECD, key_media_play},
                  {KEY_MEDIA, key_media_play},    {KEY_STOP, key_media_stop},
                  {KEY_NEXT, key_media_next},     {KEY_PREVIOUS, key_media_prev},
                  {BTN_TRIGGER_HAPPY1, key_left}, {BTN_TRIGGER_HAPPY2, key_right},
                  {BTN_TRIGGER_HAPPY3, key_up},   {BTN_TRIGGER_HAPPY4, key_down}};
    for (const auto &each : common)
        EXPECT_EQ(meaning(each.code), each.mask) << each.code;
}

TEST_F(key_map_of, what_the_file_names_means_what_it_says_and_the_rest_stays)
{
    use("# mine\r\n\r\n  Up = w , BTN_THUMB # two\r\nback=KEY_Q\nnone = KEY_ESC\n"
        "vol_up = ABS_RX-high\nmedia_next = 0x2fe");
    EXPECT_EQ(report.bad_lines, 0u) << report.first;
    EXPECT_EQ(meaning(KEY_W), key_up);
    EXPECT_EQ(meaning(BTN_THUMB), key_up);
    EXPECT_EQ(meaning(KEY_UP), key_up) << "not named";
    EXPECT_EQ(meaning(KEY_Q), key_back) << "named: its own meaning is gone";
    EXPECT_EQ(meaning(KEY_ESC), 0u);
    EXPECT_EQ(meaning(key_code_axis + 2 * ABS_RX + 1), key_vol_up);
    EXPECT_EQ(meaning(0x2fe), key_media_next);
    EXPECT_TRUE(key_map_is_named(KEY_ESC));
    EXPECT_FALSE(key_map_is_named(KEY_UP));
}

TEST_F(key_map_of, bad_lines_are_left_out_and_told)
{
    expect_bad("up KEY_W", "keys.txt:1: no \"=\"");
    expect_bad("\n\nupp = KEY_W", "keys.txt:3: the player has no key \"upp\"");
    expect_bad("= KEY_W", "keys.txt:1: the player has no key \"\"");
    expect_bad("up =", "keys.txt:1: \"\" is no key, button, switch or axis");
    expect_bad("up = KEY_W,", "keys.txt:1: \"\" is no key, button, switch or axis");
    EXPECT_EQ(meaning(KEY_W), 0u) << "all of a line or nothing of it";
    expect_bad("up = KEY_WW", "keys.txt:1: \"KEY_WW\" is no key, button, switch or axis");
    expect_bad("up = A ++ B", "keys.txt:1: \"\" is no key, button, switch or axis");
    expect_bad("up = A + B + A", "keys.txt:1: \"A\" is there twice");
    expect_bad("up = A+B+C+D+E", "keys.txt:1: a chord has 4 parts at most");
    expect_bad("up = A\ndown = B, A", "keys.txt:2: line 1 gives the same another meaning");
    EXPECT_EQ(meaning(KEY_B), 0u);
    EXPECT_EQ(meaning(KEY_A), key_up);
    expect_bad("up = A+B+C\ndown = B + A + C", "keys.txt:2: line 1 gives the same another meaning");
    expect_bad("up = \x1b[31m", "keys.txt:1: \"?[31m\" is no key, button, switch or axis");
    expect_bad(std::string("up = A\0B", 8), "keys.txt:1: no text");
    expect_bad("up = " + std::string(2000, 'A'), "keys.txt:1: longer than 1000 bytes");
    expect_bad("#" + std::string(70000, '\n'), "keys.txt: larger than 65536 bytes");
}

TEST_F(key_map_of, the_same_twice_is_no_mistake)
{
    use("up = A\nup = A\nup = B + A, B + A\n");
    EXPECT_EQ(report.bad_lines, 0u) << report.first;
    use("\xef\xbb\xbfup = A");
    EXPECT_EQ(report.bad_lines, 0u) << "a mark that some editors write";
    EXPECT_EQ(meaning(KEY_A), key_up);
}

TEST_F(key_map_of, more_meanings_than_there_is_room_for_are_refused)
{
    std::string text;
    for (int code = 1; code < 700; code++)
        text += "up = KEY_F1 + KEY_F2 + 0x" + std::string(1, "0123456789abcdef"[code / 256]) +
                "0123456789abcdef"[code / 16 % 16] + "0123456789abcdef"[code % 16] + "\n";
    testing::internal::CaptureStderr();
    use(text);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(map.count, key_bindings_most);
    EXPECT_GT(report.bad_lines, 100u);
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 20) << "and not a hundred lines of it";
}

TEST_F(key_map_of, every_key_has_a_name_of_its_own)
{
    uint32_t all = 0;
    for (size_t i = 0; i < key_name_count; i++) {
        EXPECT_EQ(all & key_names[i].mask, 0u) << key_names[i].name;
        EXPECT_EQ(key_name_find(key_names[i].name, strlen(key_names[i].name)), key_names[i].mask);
        all |= key_names[i].mask;
    }
    EXPECT_EQ(all, key_up | key_down | key_left | key_right | key_page_up | key_page_down |
                       key_select | key_menu | key_reload | key_switch | key_back | key_quit |
                       key_vol_up | key_vol_down | key_media | key_hold | key_headphones);
}

/* The first block of the page that describes the file. */
TEST_F(key_map_of, the_sample_of_its_page_is_read_as_the_page_says)
{
    std::ifstream page(ZERV_SOURCE_DIR "/docs/formats/keys.md");
    std::string sample;
    for (std::string line; std::getline(page, line) && line.rfind("In front", 0) != 0;) {
        if (line.rfind("    ", 0) == 0)
            sample += line + "\n";
    }
    use(sample, key_machine::handheld);
    EXPECT_EQ(report.bad_lines, 0u) << report.first;
    EXPECT_EQ(meaning(BTN_SOUTH), key_select);
    EXPECT_EQ(meaning(KEY_ENTER), key_select);
    EXPECT_EQ(meaning(KEY_POWER), 0u);
    down(BTN_EAST);
    EXPECT_EQ(down(BTN_DPAD_UP).pressed, key_page_up);
}

/* ---- the file ---- */

static void write_file(const char *path, const std::string &text)
{
    FILE *file = fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    fwrite(text.data(), 1, text.size(), file);
    fclose(file);
}

TEST_F(key_map_of, the_file_of_the_program_folder_is_read_when_the_keys_open)
{
    const scratch here;
    write_file("keys.txt", "quit = KEY_W\nup\n");
    key_close();
    testing::internal::CaptureStderr();
    ASSERT_EQ(key_open(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "keys.txt:2: no \"=\"\n");
    EXPECT_STREQ(key_map_problems()->first, "keys.txt:2: no \"=\"");
    EXPECT_EQ(meaning(KEY_W), key_quit);
    remove("keys.txt");
    key_close();
    ASSERT_EQ(key_open(), 0);
    EXPECT_EQ(key_map_problems()->bad_lines, 0u);
    EXPECT_EQ(meaning(KEY_W), 0u);
}

TEST_F(key_map_of, what_cannot_be_read_as_a_file_leaves_the_usual_keys)
{
    const scratch here;
    ASSERT_EQ(mkdir("keys.txt", 0755), 0);
    key_close();
    testing::internal::CaptureStderr();
    ASSERT_EQ(key_open(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "keys.txt: Is a directory\n");
    EXPECT_EQ(meaning(KEY_UP), key_up);
    key_close();
    ASSERT_EQ(rmdir("keys.txt"), 0);
    ASSERT_EQ(mkfifo("keys.txt", 0600), 0);
    ASSERT_EQ(key_open(), 0) << "and nobody waits for a writer";
    EXPECT_EQ(meaning(KEY_UP), key_up);
}

/* ---- codes that go down and up ---- */

TEST_F(key_map_of, several_codes_hold_one_key)
{
    use("up = A, B");
    EXPECT_EQ(down(KEY_A).pressed, key_up);
    EXPECT_EQ(down(KEY_B).pressed, 0u);
    EXPECT_EQ(up(KEY_A).held, key_up) << "B is still down";
    EXPECT_EQ(up(KEY_B).released, key_up);
}

TEST_F(key_map_of, a_code_held_by_two_devices_comes_up_with_the_second)
{
    EXPECT_EQ(down(KEY_UP).pressed, key_up);
    EXPECT_EQ(down(KEY_UP).pressed, 0u);
    EXPECT_EQ(up(KEY_UP).held, key_up);
    EXPECT_EQ(up(KEY_UP).released, key_up);
    EXPECT_EQ(up(KEY_UP).released, 0u) << "once too often";
    EXPECT_EQ(down(KEY_UP).pressed, key_up);
}

TEST_F(key_map_of, the_first_binding_of_a_map_may_be_a_chord)
{
    static key_map only = {};
    only.count = 1;
    only.all[0] = {.mask = key_page_up, .codes = {KEY_A, KEY_B}, .count = 2, .line = 1};
    key_map_use(&only);
    EXPECT_EQ(down(KEY_A).pressed, 0u);
    EXPECT_EQ(down(KEY_B).pressed, key_page_up);
    EXPECT_EQ(up(KEY_A).released, key_page_up);
    EXPECT_EQ(up(KEY_B).held, 0u);
}

TEST_F(key_map_of, a_chord_presses_with_its_last_code_and_ends_with_any)
{
    use("page_up = BTN_SELECT + BTN_DPAD_UP");
    EXPECT_EQ(down(BTN_SELECT).held, 0u);
    EXPECT_EQ(down(BTN_DPAD_UP).pressed, key_page_up) << "and not up";
    EXPECT_EQ(up(BTN_DPAD_UP).released, key_page_up);
    EXPECT_EQ(down(BTN_DPAD_UP).pressed, key_page_up) << "as often as wanted";
    key_report keys = up(BTN_SELECT);
    EXPECT_EQ(keys.released, key_page_up);
    EXPECT_EQ(keys.pressed, 0u) << "it has done its part";
    EXPECT_EQ(keys.held, 0u) << "the other one does not begin to mean itself";
    EXPECT_EQ(up(BTN_DPAD_UP).held, 0u);
    EXPECT_EQ(down(BTN_DPAD_UP).pressed, key_up) << "alone again";
}

TEST_F(key_map_of, a_held_chord_repeats)
{
    use("vol_up = A + B");
    down(KEY_A);
    EXPECT_EQ(down(KEY_B).repeat, key_vol_up);
    manual_ms += 399;
    EXPECT_EQ(pass().repeat, 0u);
    manual_ms += 1;
    EXPECT_EQ(pass().repeat, key_vol_up);
    manual_ms += 100;
    EXPECT_EQ(pass().repeat, key_vol_up);
    EXPECT_EQ(up(KEY_A).held, 0u);
    manual_ms += 500;
    EXPECT_EQ(pass().repeat, 0u);
}

TEST_F(key_map_of, what_begins_a_chord_acts_alone_when_it_is_let_go)
{
    use("select = A\nmenu = A + B\nback = B");
    EXPECT_EQ(down(KEY_A).pressed, 0u);
    manual_ms += 2000;
    EXPECT_EQ(pass().repeat, 0u);
    const key_report keys = up(KEY_A);
    EXPECT_EQ(keys.pressed, key_select);
    EXPECT_EQ(keys.held, 0u);
    EXPECT_EQ(down(KEY_B).pressed, key_back) << "the other order is no chord";
    EXPECT_EQ(down(KEY_A).pressed, 0u);
    EXPECT_EQ(up(KEY_B).released, key_back);
    EXPECT_EQ(up(KEY_A).pressed, key_select);
}

TEST_F(key_map_of, the_longer_chord_wins)
{
    use("up = A + C\ndown = A + B + C");
    down(KEY_A);
    EXPECT_EQ(down(KEY_C).pressed, key_up);
    EXPECT_EQ(up(KEY_C).released, key_up);
    down(KEY_B);
    EXPECT_EQ(down(KEY_C).pressed, key_down);
    EXPECT_EQ(up(KEY_B).released, key_down);
    EXPECT_EQ(up(KEY_C).held, 0u);
    EXPECT_EQ(up(KEY_A).pressed, 0u);
}

TEST_F(key_map_of, chords_of_one_beginning_may_follow_each_other)
{
    use("left = A + B\nright = A + C");
    down(KEY_A);
    EXPECT_EQ(down(KEY_B).held, key_left);
    EXPECT_EQ(down(KEY_C).held, key_left | key_right);
    EXPECT_EQ(up(KEY_B).held, key_right);
    EXPECT_EQ(up(KEY_A).held, 0u);
}

TEST_F(key_map_of, the_key_of_a_chord_may_be_held_by_a_single_code_as_well)
{
    use("up = A, B + C");
    down(KEY_A);
    down(KEY_B);
    EXPECT_EQ(down(KEY_C).pressed, 0u);
    EXPECT_EQ(up(KEY_A).held, key_up);
    EXPECT_EQ(up(KEY_C).released, key_up);
}

TEST_F(key_map_of, a_device_that_is_gone_presses_nothing)
{
    use("select = A\nmenu = A + B");
    down(KEY_A);
    key_code_forget(KEY_A);
    EXPECT_EQ(pass().pressed, 0u);
    down(KEY_A);
    EXPECT_EQ(down(KEY_B).held, key_menu);
    key_code_forget(KEY_B);
    EXPECT_EQ(pass().released, key_menu);
    key_code_forget(KEY_A);
    EXPECT_EQ(pass().pressed, 0u);
}

TEST_F(key_map_of, another_map_lets_go_of_what_the_old_one_held)
{
    down(KEY_UP);
    use("down = KEY_UP");
    EXPECT_EQ(pass().held, 0u);
    EXPECT_EQ(up(KEY_UP).held, 0u);
    EXPECT_EQ(down(KEY_UP).pressed, key_down);
}

TEST_F(key_map_of, numbers_beyond_all_codes_are_nothing)
{
    for (const uint32_t code : {uint32_t{key_code_count}, uint32_t{UINT16_MAX}}) {
        EXPECT_EQ(down(static_cast<uint16_t>(code)).pressed, 0u);
        key_code_forget(static_cast<uint16_t>(code));
    }
}

/* ---- hold and headphones ---- */

static bool touched()
{
    int32_t x = 0, y = 0, type = 0;
    return touch_check(&x, &y, &type) == 1;
}

TEST_F(key_map_of, a_hold_switch_locks_as_long_as_it_is_set)
{
    use("hold = SW_KEYPAD_SLIDE");
    constexpr uint16_t slide = key_code_switch + SW_KEYPAD_SLIDE;
    down(KEY_UP);
    touch_event(touch_type_press, 5, 5);
    ASSERT_TRUE(touched());
    EXPECT_EQ(down(slide).held, 0u) << "what was down comes up";
    EXPECT_TRUE(key_is_locked());
    int32_t x = 0, y = 0, type = 0;
    ASSERT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(type, touch_type_release) << "the finger as well";
    EXPECT_FALSE(key_take_refused());
    EXPECT_EQ(down(KEY_DOWN).pressed, 0u);
    EXPECT_TRUE(key_take_refused());
    EXPECT_FALSE(key_take_refused());
    touch_event(touch_type_press, 5, 5);
    touch_event(touch_type_move, 6, 5);
    touch_event(touch_type_release, 6, 5);
    EXPECT_FALSE(touched());
    EXPECT_TRUE(key_take_refused());
    key_event(key_quit, true);
    EXPECT_EQ(pass().pressed, 0u) << "also those that have no code";
    up(slide);
    EXPECT_FALSE(key_is_locked());
    EXPECT_EQ(pass().held, 0u) << "a key held all the while does nothing";
    up(KEY_DOWN);
    EXPECT_EQ(down(KEY_DOWN).pressed, key_down);
}

TEST_F(key_map_of, a_hold_key_locks_and_frees_in_turn)
{
    use("hold = KEY_F9, A + B");
    for (const bool locked : {true, false}) {
        EXPECT_EQ(down(KEY_F9).pressed, 0u);
        up(KEY_F9);
        EXPECT_EQ(key_is_locked(), locked);
    }
    down(KEY_A);
    down(KEY_B);
    EXPECT_TRUE(key_is_locked()) << "so does a chord";
    up(KEY_B);
    down(KEY_B);
    EXPECT_FALSE(key_is_locked());
}

TEST_F(key_map_of, headphones_tell_when_they_are_pulled_out)
{
    use("headphones = SW_HEADPHONE_INSERT\nhold = F9");
    constexpr uint16_t plug = key_code_switch + SW_HEADPHONE_INSERT;
    key_event(key_headphones, false);
    EXPECT_FALSE(key_take_pulled()) << "none were in";
    EXPECT_EQ(down(plug).pressed, 0u);
    EXPECT_FALSE(key_take_pulled());
    key_event(key_headphones, true);
    EXPECT_FALSE(key_take_pulled()) << "they are still in";
    down(KEY_F9);
    up(plug);
    EXPECT_TRUE(key_take_pulled()) << "also while the keys are locked";
    EXPECT_FALSE(key_take_pulled());
    up(plug);
    EXPECT_FALSE(key_take_pulled());
}

TEST_F(key_map_of, without_a_line_switches_do_nothing)
{
    for (uint16_t code = key_code_switch; code < key_code_count; code++) {
        EXPECT_EQ(down(code).pressed, 0u);
        up(code);
    }
    EXPECT_FALSE(key_is_locked());
    EXPECT_FALSE(key_take_pulled());
}
