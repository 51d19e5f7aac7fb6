/* The play screen over a playlist of four tracks. The view manager, the playlist and what the list
 * screen shows are real. */
#pragma once

#include "support/hung.h"
#include "view/play/play_controls.h"

#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/file/file.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "unit/view/play/play_fixture.h"
#include "view/list/view_list.h"

/* ---- the screens and the lists ---- */

inline view list_screen = {
    .init = nullptr,
    .exit = nullptr,
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
inline view no_messages = {
    .init = nullptr,
    .exit = nullptr,
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
static const hung hang_overlay_msg(overlay_msg, &no_messages);
static const hung hang_view_list(view_list, &list_screen);
inline list main_record = {};
static const hung hang_list_cur_playlist(list_cur_playlist, &list_cur_playlist_record);
static const hung hang_list_main(list_main, &main_record);

/* The playlist: the track of set_track(), one before and one behind it, and one more. */
constexpr char path_before[] = "/m/before.mp3", path_here[] = "song.mp3";
constexpr char path_behind[] = "/m/behind.mp3", path_more[] = "/m/a.mp3";
constexpr int32_t row_more = 3;

/* The steps through the playlist that were taken from the track of set_track(). */
inline std::vector<int32_t> steps()
{
    std::vector<int32_t> taken;
    for (const std::string &path : the_engine.begun)
        if (path == path_before || path == path_behind)
            taken.push_back(path == path_before ? -1 : 1);
    return taken;
}

/* ---- a sound thread that takes a turn only when asked, and has nothing to play ---- */

inline int turns = 0;

inline void take_turn(void *, void *, uint32_t)
{
    turns++;
    clock_msleep(1);
}

inline const sound_speaker stepped_speaker = {
    .open = [] { return 0; },
    .close = [] { return 0; },
    .stepped = true,
};

/* Whether the sound thread looks again already after a millisecond. */
inline bool looks_at_once()
{
    const int before = turns;
    sound_step();
    return turns > before;
}

using samples = std::vector<int64_t>;

struct play_controls : play_test {
    void SetUp() override
    {
        play_test::SetUp();
        view_selected = &play_screen;
        view_anime_started = 0;
        list_page_selected = &main_record;
        ASSERT_EQ(list_cur_playlist->init(), 0);
        for (const char *path : {path_before, path_here, path_behind, path_more})
            ASSERT_EQ(list_cur_playlist_add(path, nullptr, nullptr), 0);
        list_set_cursor(list_cur_playlist, 0);
        set_track();
        set_no_track();
        play_screen.redraw = 0;
        input_key = {};
    }

    void TearDown() override
    {
        EXPECT_EQ(list_cur_playlist->exit(), 0);
        view_list_free(list_cur_playlist);
        play_test::TearDown();
    }

    static int keys(uint32_t pressed, uint32_t repeat, uint32_t held = 0)
    {
        input_key = {pressed, 0, repeat, held};
        play_screen.key_checked = 1;
        play_screen.touch_checked = 0;
        const int result = play_input(&play_screen);
        play_screen.key_checked = 0;
        input_key = {};
        return result;
    }
    static int press(uint32_t mask) { return keys(mask, 0); }
    static int repeat(uint32_t mask) { return keys(0, mask); }

    static int touch(int32_t type, int32_t x, int32_t y)
    {
        input_touch_type = type;
        input_touch_x = x;
        input_touch_y = y;
        play_screen.touch_checked = 1;
        const int result = play_input(&play_screen);
        play_screen.touch_checked = 0;
        return result;
    }
    static int tap(int32_t x, int32_t y)
    {
        touch(1, x, y);
        return touch(2, x, y);
    }
};
