/* What the tests of the loop share: screens that note what they are asked, on a machine of the test's own. */
#pragma once

#include "config/cfg.h"
#include "core/lang/lang.h"
#include "core/loop.h"
#include "core/services/overlay.h"
#include "core/services/program.h"
#include "platform/base/str.h"
#include "platform/sound/sound.h"
#include "support/hung.h"
#include "support/test_device.h"
#include "view/view.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using texts = std::vector<std::string>;

/* What they are before anything ran. */
inline const int32_t first_input_time = main_last_input_time;
inline const int32_t first_battery_second = main_last_battery_second;
inline const int32_t first_auto_off_mode = main_auto_off_mode;
inline const int32_t first_volume_message = program_volume_msg_id;
inline const bool runs_at_first = program_running && !program_restarting && !program_stay_tuned;

/* ---- a screen that notes what it is asked ---- */

struct screen_seen {
    int inputs = 0, draws = 0;
    std::vector<uint32_t> pressed; /* of passes with a key */
    int touches = 0;
};
inline screen_seen seen;

inline int nothing()
{
    return 0;
}

inline int note_input(view *self)
{
    seen.inputs++;
    if (self->key_checked)
        seen.pressed.push_back(input_key.pressed);
    seen.touches += self->touch_checked;
    return 0;
}

inline int note_draw(view *self, fb_surface *)
{
    if (self->redraw.exchange(0) == 0)
        return 0;
    seen.draws++;
    self->updated = 1;
    return 0;
}

inline view first = {.init = nothing, .exit = nothing, .input = note_input, .draw = note_draw};
inline view second = {.init = nothing, .exit = nothing, .input = note_input, .draw = note_draw};
inline const hung hang_view_list(view_list, &first);
inline const hung hang_view_play(view_play, &second);
inline const hung hang_overlay_msg(overlay_msg, &overlay_msg_record);

class loop : public testing::Test
{
  protected:
    void SetUp() override
    {
        test_device_open();
        for (view *each : {&first, &second}) {
            each->frame = fb_create(320, 240);
            each->surface = fb_create(320, 240);
            each->redraw = 1;
        }
        ASSERT_EQ(overlay_msg->init(), 0);
        cfg_load_default();
        cfg_modified = 0;
        cfg_vol = 30;
        ASSERT_EQ(sound_set_volume(&cfg_vol, &cfg_vol), 0);
        str_copy(lang_selected, "en");
        program_running = 1;
        program_volume_msg_id = -1;
        main_auto_off_mode = 0;
        main_auto_off_started = 0;
        main_last_battery_second = -1;
        loop_note_input();
        view_previous = nullptr;
        view_anime_pending = 0;
        view_anime_started = 0;
        view_select(&first);
        seen = {};
        machine.shows = 0;
        machine.calls.clear();
    }
    void TearDown() override
    {
        view_select(nullptr);
        EXPECT_EQ(overlay_msg->exit(), 0);
        for (view *each : {&first, &second}) {
            fb_free(each->frame);
            fb_free(each->surface);
            each->frame = each->surface = nullptr;
        }
        test_device_close();
    }
    static texts messages()
    {
        fb_clear(fb_cur, 0);
        overlay_msg->draw(&first, fb_cur);
        return test_texts(fb_cur);
    }
    static void darken()
    {
        cfg_display_off_timeout = 1;
        machine.ms += 1000;
        loop_pass();
        ASSERT_EQ(fb_power, 0);
        cfg_display_off_timeout = 30;
        seen = {};
    }
};
