/* zerv-keys: from what is pressed to a key map. */
#include "platform/input/key.h"
#include "tools/zerv_keys/ask.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

class zerv_keys_ask : public testing::Test
{
  protected:
    ask_outcome down(uint16_t code) { return ask_code(&session, code, true, now_ms).outcome; }
    ask_outcome up(uint16_t code) { return ask_code(&session, code, false, now_ms).outcome; }
    ask_outcome tap(uint16_t code)
    {
        EXPECT_EQ(down(code), ask_outcome::waiting);
        return up(code);
    }

    ask_session session = {};
    int64_t now_ms = 5000;
};

TEST_F(zerv_keys_ask, a_button_is_taken_when_it_is_let_go)
{
    EXPECT_EQ(tap(KEY_W), ask_outcome::taken);
    EXPECT_EQ(session.at, 1u);
    EXPECT_EQ(ask_text(session),
              "# The keys of this machine, as zerv-keys was shown them.\nup = KEY_W\n");
}

TEST_F(zerv_keys_ask, buttons_that_are_down_together_are_a_chord_in_their_order)
{
    ask_skip(&session);
    down(BTN_SELECT);
    down(BTN_DPAD_UP);
    EXPECT_EQ(up(BTN_SELECT), ask_outcome::waiting);
    EXPECT_EQ(up(BTN_DPAD_UP), ask_outcome::taken);
    EXPECT_EQ(ask_chord_text(session.answers[1]), "BTN_SELECT + BTN_DPAD_UP");
    for (uint16_t code = KEY_A; code < KEY_A + 6; code++)
        down(code);
    for (uint16_t code = KEY_A; code < KEY_A + 6; code++)
        up(code);
    EXPECT_EQ(session.answers[2].count, key_binding_codes_most) << "no more count";
}

TEST_F(zerv_keys_ask, what_is_another_key_already_is_asked_for_again)
{
    tap(KEY_W);
    down(KEY_W);
    const ask_result result = ask_code(&session, KEY_W, false, now_ms);
    EXPECT_EQ(result.outcome, ask_outcome::known);
    EXPECT_STREQ(key_names[result.other].name, "up");
    EXPECT_EQ(session.at, 1u);
    EXPECT_EQ(tap(KEY_S), ask_outcome::taken);
}

TEST_F(zerv_keys_ask, a_long_press_goes_back_and_counts_for_nothing)
{
    tap(KEY_W);
    down(KEY_S);
    now_ms += ask_hold_ms - 1;
    EXPECT_EQ(ask_time(&session, now_ms).outcome, ask_outcome::waiting);
    now_ms++;
    EXPECT_EQ(ask_time(&session, now_ms).outcome, ask_outcome::back);
    EXPECT_EQ(session.at, 0u);
    EXPECT_EQ(down(KEY_A), ask_outcome::waiting);
    EXPECT_EQ(up(KEY_A), ask_outcome::waiting);
    EXPECT_EQ(up(KEY_S), ask_outcome::waiting) << "all of it is forgotten";
    EXPECT_EQ(tap(KEY_W), ask_outcome::taken) << "the key before is free again";
    ask_back(&session);
    ask_back(&session);
    EXPECT_EQ(session.at, 0u);
}

TEST_F(zerv_keys_ask, a_switch_is_taken_whichever_way_it_is_moved)
{
    EXPECT_EQ(up(key_code_switch + SW_LID), ask_outcome::taken);
    EXPECT_EQ(down(key_code_switch + SW_DOCK), ask_outcome::taken);
    EXPECT_EQ(ask_chord_text(session.answers[0]), "SW_LID");
}

TEST_F(zerv_keys_ask, a_stick_that_jumps_gives_the_first_end)
{
    down(key_code_axis + 2 * ABS_X);
    down(key_code_axis + 2 * ABS_X + 1);
    up(key_code_axis + 2 * ABS_X);
    EXPECT_EQ(up(key_code_axis + 2 * ABS_X + 1), ask_outcome::taken);
    EXPECT_EQ(ask_chord_text(session.answers[0]), "ABS_X-low");
}

TEST_F(zerv_keys_ask, what_was_down_before_and_what_comes_after_the_end_is_nothing)
{
    EXPECT_EQ(up(KEY_W), ask_outcome::waiting);
    EXPECT_EQ(session.at, 0u);
    while (session.at < key_name_count)
        ask_skip(&session);
    ask_skip(&session);
    EXPECT_EQ(tap(KEY_W), ask_outcome::waiting);
    EXPECT_EQ(ask_text(session), "");
}

TEST_F(zerv_keys_ask, what_it_writes_is_read_without_a_complaint)
{
    for (uint16_t code = 1; session.at < key_name_count; code++) {
        down(KEY_LEFTCTRL);
        down(static_cast<uint16_t>(0x200 + code));
        up(static_cast<uint16_t>(0x200 + code));
        up(KEY_LEFTCTRL);
    }
    static key_map map;
    key_map_report report = {};
    const std::string text = ask_text(session);
    key_map_defaults(&map, key_machine::handheld);
    const uint32_t usual = map.count;
    key_map_read(&map, text.data(), text.size(), "keys.txt", &report);
    EXPECT_EQ(report.bad_lines, 0u) << report.first;
    EXPECT_EQ(map.count, usual + key_name_count);
}
