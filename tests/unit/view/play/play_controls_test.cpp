/* The controls of the play screen: keys. */
#include "unit/view/play/play_controls_fixture.h"

TEST_F(play_controls, the_switch_key_shows_the_playlist_at_the_playing_file)
{
    set_track({.path = path_more});
    EXPECT_EQ(press(0x4000), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_EQ(list_page_selected, list_cur_playlist);
    EXPECT_EQ(list_cursor(list_cur_playlist), row_more);
}

TEST_F(play_controls, the_switch_key_leaves_the_cursor_without_a_track)
{
    set_track({.path = path_more});
    set_no_track();
    EXPECT_EQ(press(0x4000), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_EQ(list_cursor(list_cur_playlist), 0);
}

TEST_F(play_controls, the_select_key_pauses_and_resumes)
{
    set_track();
    EXPECT_EQ(press(0x2000), 0);
    EXPECT_EQ(play_paused, 1);
    EXPECT_EQ(play_screen.redraw, 1);
    play_screen.redraw = 0;
    EXPECT_EQ(press(0x2000), 0);
    EXPECT_EQ(play_paused, 0);
    EXPECT_EQ(play_screen.redraw, 1);
    EXPECT_TRUE(the_engine.begun.empty());
}

TEST_F(play_controls, the_end_of_a_pause_wakes_the_sound_thread)
{
    device with_speaker = hand_clock;
    with_speaker.speaker = [] { return &stepped_speaker; };
    device_current = &with_speaker;
    ASSERT_EQ(sound_open(take_turn, nullptr), 0);
    EXPECT_TRUE(looks_at_once());
    EXPECT_FALSE(looks_at_once()) << "there was nothing to play";
    load_part({"|<img width=\"10\" height=\"10\" action=\"play\"/>"});
    set_track();
    press(0x2000);
    EXPECT_FALSE(looks_at_once());
    press(0x2000);
    EXPECT_TRUE(looks_at_once());
    play_paused = 1;
    tap(5, 5);
    EXPECT_TRUE(looks_at_once());
    EXPECT_EQ(sound_close(), 0);
    device_current = &hand_clock;
}

TEST_F(play_controls, the_select_key_starts_the_remembered_file)
{
    set_track({.path = "/m/last.mp3"});
    set_no_track();
    play_screen.redraw = 0;
    EXPECT_EQ(press(0x2000), 0);
    EXPECT_EQ(the_engine.begun, std::vector<std::string>{"/m/last.mp3"});
    EXPECT_EQ(play_paused, 1) << "only the engine says that something plays";
}

TEST_F(play_controls, the_menu_key_walks_through_the_layouts)
{
    load_part({"|", "show=\"lyrics\"|", "|"});
    play_screen.redraw = 0;
    EXPECT_EQ(press(0x1000), 0);
    EXPECT_EQ(layout_index(), 2u);
    EXPECT_EQ(play_screen.redraw, 1);
    EXPECT_EQ(choose_layout(-1), 2u) << "the wish is remembered";
    press(0x1000);
    EXPECT_EQ(layout_index(), 0u);
}

TEST_F(play_controls, the_menu_key_does_nothing_without_a_part)
{
    EXPECT_EQ(press(0x1000), 0);
}

TEST_F(play_controls, the_seek_keys_move_five_seconds)
{
    set_track({.length = 441000, .rate = 44100});
    the_engine.tell = 300000;
    EXPECT_EQ(repeat(0x4), 0);
    EXPECT_EQ(repeat(0x40), 0);
    EXPECT_EQ(the_engine.seeks, (samples{300000 - 220500, 440999}));
}

TEST_F(play_controls, the_seek_keys_stay_inside_the_track)
{
    set_track({.length = 441000, .rate = 44100});
    the_engine.tell = 220499;
    repeat(0x4);
    the_engine.tell = 441000 - 4 * 44100;
    repeat(0x40);
    the_engine.tell = 220499;
    repeat(0x40);
    the_engine.tell = 220500;
    repeat(0x40);
    EXPECT_EQ(the_engine.seeks, (samples{0, 440999, 440999, 440999}));
    the_engine.seeks.clear();
    the_engine.tell = 220498;
    repeat(0x40);
    EXPECT_EQ(the_engine.seeks, (samples{440998}));
}

TEST_F(play_controls, the_seek_keys_leave_the_end_to_the_decoder_where_no_length_is_known)
{
    set_track({.length = 0, .rate = 44100});
    the_engine.tell = 44100;
    repeat(0x40);
    EXPECT_EQ(the_engine.seeks, (samples{264600}));
}

TEST_F(play_controls, the_seek_keys_need_a_track_and_the_repeat_word)
{
    repeat(0x40);
    set_track();
    keys(0x40, 0, 0x40);
    keys(0, 0, 0x44);
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, previous_goes_back_a_track_within_three_seconds)
{
    set_track();
    play_pos = 2999;
    EXPECT_EQ(press(0x400), 0);
    EXPECT_EQ(steps(), std::vector<int32_t>{-1});
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, previous_restarts_the_track_later)
{
    set_track();
    play_pos = 3000;
    EXPECT_EQ(press(0x400), 0);
    EXPECT_TRUE(steps().empty());
    EXPECT_EQ(the_engine.seeks, samples{0});
}

TEST_F(play_controls, previous_without_a_track_goes_back)
{
    press(0x400);
    EXPECT_EQ(steps(), std::vector<int32_t>{-1});
}

TEST_F(play_controls, next_goes_on)
{
    EXPECT_EQ(press(0x800), 0);
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
}

TEST_F(play_controls, back_leads_to_the_main_menu)
{
    list_page_selected = list_cur_playlist;
    EXPECT_EQ(press(0x200), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_EQ(list_page_selected, &main_record);
}

TEST_F(play_controls, the_reload_key_reads_the_skin_again)
{
    load_part({"|<text x=\"1\"/>"});
    str_copy(cfg_skin_play, "pack");
    scratch_write("pack/play-0.xml", "<skin version=\"0.1\"><text x=\"2\"/></skin>");
    play_screen.redraw = 0;
    EXPECT_EQ(press(0x8000), -1);
    EXPECT_EQ(element(0)->x, 2);
    EXPECT_EQ(play_screen.redraw, 1);
}

TEST_F(play_controls, a_failed_reload_goes_on_with_the_finger)
{
    load_part({"|<button x=\"0\" y=\"0\" width=\"10\" height=\"10\" action=\"next\"/>"});
    str_copy(cfg_skin_play, "gone");
    touch(1, 5, 5);
    input_key = {0x8000, 0, 0, 0};
    play_screen.key_checked = 1;
    EXPECT_EQ(touch(2, 5, 5), 0);
    play_screen.key_checked = 0;
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
}

static void set_volume(int32_t volume)
{
    cfg_vol = volume;
    ASSERT_EQ(sound_set_volume(&volume, &volume), 0);
}

TEST_F(play_controls, the_volume_keys_repeat)
{
    set_volume(50);
    EXPECT_EQ(repeat(0x1), 0);
    EXPECT_EQ(cfg_vol, 55);
    EXPECT_EQ(repeat(0x10), 0);
    EXPECT_EQ(cfg_vol, 50);
    EXPECT_EQ(repeat(0x11), 0);
    EXPECT_EQ(cfg_vol, 55);
    EXPECT_EQ(keys(0x11, 0, 0x11), 0);
    EXPECT_EQ(cfg_vol, 55);
}

TEST_F(play_controls, only_the_first_key_of_the_chain_acts)
{
    set_track();
    set_volume(50);
    keys(0x2000, 0x1);
    EXPECT_EQ(play_paused, 1);
    EXPECT_EQ(cfg_vol, 50);
    keys(0x400 | 0x800, 0x40);
    EXPECT_EQ(the_engine.seeks.size(), 1u);
    EXPECT_TRUE(steps().empty());
    press(0x400 | 0x800 | 0x200);
    EXPECT_EQ(steps(), std::vector<int32_t>{-1});
    EXPECT_EQ(view_selected, &play_screen);
}

TEST_F(play_controls, keys_count_only_when_an_event_came)
{
    input_key = {0x800, 0, 0, 0};
    play_screen.key_checked = 0;
    EXPECT_EQ(play_input(&play_screen), 0);
    EXPECT_TRUE(steps().empty());
}

TEST_F(play_controls, an_unknown_key_does_nothing)
{
    EXPECT_EQ(keys(0x20 | 0x80000, 0x8), 0);
}

TEST_F(play_controls, a_slide_lets_keys_through_but_neither_finger_nor_drawing)
{
    load_part({"|<button width=\"10\" height=\"10\" action=\"next\"/>"});
    view_anime_started = 77;
    EXPECT_EQ(press(0x800), -1);
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
    EXPECT_EQ(tap(5, 5), -1);
    EXPECT_EQ(steps(), std::vector<int32_t>{1});
}

TEST_F(play_controls, media_keys_act_on_the_engine_whatever_is_shown)
{
    view_selected = view_list;
    set_track();
    play_controls_media(key_media_play);
    EXPECT_EQ(play_paused, 1);
    play_controls_media(key_media_play);
    EXPECT_EQ(play_paused, 0);
    play_controls_media(key_media_next | key_select);
    play_controls_media(key_media_prev);
    EXPECT_EQ(steps(), (std::vector<int32_t>{1, -1}));
    EXPECT_EQ(view_selected, view_list);
}

TEST_F(play_controls, keys_of_the_screens_are_no_media_keys)
{
    set_track();
    play_controls_media(~key_media);
    EXPECT_EQ(play_paused, 0);
    EXPECT_TRUE(steps().empty());
    EXPECT_EQ(press(key_media), 0);
    EXPECT_TRUE(steps().empty()) << "nor does the play screen look at them";
}
