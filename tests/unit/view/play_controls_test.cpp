#include "view/play_controls.h"

#include "lists/list.h"
#include "lists/list_cur_playlist.h"
#include "platform/file.h"
#include "platform/sound.h"
#include "platform/sound_device.h"
#include "unit/view/play_fixture.h"
#include "view/view_list.h"

/* ---- the view manager and the lists, as far as the controls ask them ---- */

std::atomic<view *> view_selected{nullptr};
int32_t view_anime_started = 0;
key_report input_key = {};
int32_t input_touch_x = 0, input_touch_y = 0, input_touch_type = 0;
static view list_screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};
view *view_list = &list_screen;
static list playlist_record = {}, main_record = {};
list *list_cur_playlist = &playlist_record;
list *list_main = &main_record;
list *list_page_selected = nullptr;

static std::vector<int32_t> steps;
static std::vector<std::string> cursor_on;
static bool list_refuses = false;

int view_list_select(list *next)
{
    if (!list_refuses)
        list_page_selected = next;
    return 0;
}

void view_select(view *next)
{
    view_selected = next;
}

int list_cur_playlist_go(int32_t delta)
{
    steps.push_back(delta);
    return 0;
}

int list_cur_playlist_select(const char *path)
{
    cursor_on.push_back(path);
    return 0;
}

/* ---- a sound thread that takes a turn only when asked, and has nothing to play ---- */

static int turns = 0;

static void take_turn(void *, void *, uint32_t)
{
    turns++;
    clock_msleep(1);
}

static const sound_speaker stepped_speaker = {
    .open = [] { return 0; },
    .close = [] { return 0; },
    .stepped = true,
};

/* Whether the sound thread looks again already after a millisecond. */
static bool looks_at_once()
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
        list_refuses = false;
        steps.clear();
        cursor_on.clear();
        play_screen.redraw = 0;
        input_key = {};
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

/* ---- keys ---- */

TEST_F(play_controls, the_switch_key_shows_the_playlist_at_the_playing_file)
{
    set_track({.path = "/m/a.mp3"});
    EXPECT_EQ(press(0x4000), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_EQ(list_page_selected, &playlist_record);
    EXPECT_EQ(cursor_on, std::vector<std::string>{"/m/a.mp3"});
}

TEST_F(play_controls, the_switch_key_leaves_the_cursor_without_a_track)
{
    EXPECT_EQ(press(0x4000), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_TRUE(cursor_on.empty());
    view_selected = &play_screen;
    set_track();
    list_refuses = true;
    list_page_selected = &main_record;
    EXPECT_EQ(press(0x4000), -1);
    EXPECT_TRUE(cursor_on.empty());
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
    EXPECT_EQ(steps, std::vector<int32_t>{-1});
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, previous_restarts_the_track_later)
{
    set_track();
    play_pos = 3000;
    EXPECT_EQ(press(0x400), 0);
    EXPECT_TRUE(steps.empty());
    EXPECT_EQ(the_engine.seeks, samples{0});
}

TEST_F(play_controls, previous_without_a_track_goes_back)
{
    press(0x400);
    EXPECT_EQ(steps, std::vector<int32_t>{-1});
}

TEST_F(play_controls, next_goes_on)
{
    EXPECT_EQ(press(0x800), 0);
    EXPECT_EQ(steps, std::vector<int32_t>{1});
}

TEST_F(play_controls, back_leads_to_the_main_menu)
{
    list_page_selected = &playlist_record;
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
    EXPECT_EQ(steps, std::vector<int32_t>{1});
}

TEST_F(play_controls, the_volume_keys_repeat)
{
    EXPECT_EQ(repeat(0x1), 0);
    EXPECT_EQ(repeat(0x10), 0);
    EXPECT_EQ(repeat(0x11), 0);
    EXPECT_EQ(keys(0x11, 0, 0x11), 0);
    EXPECT_EQ(volume_changes, (std::vector<int32_t>{5, -5, 5}));
}

TEST_F(play_controls, only_the_first_key_of_the_chain_acts)
{
    set_track();
    keys(0x2000, 0x1);
    EXPECT_EQ(play_paused, 1);
    EXPECT_TRUE(volume_changes.empty());
    keys(0x400 | 0x800, 0x40);
    EXPECT_EQ(the_engine.seeks.size(), 1u);
    EXPECT_TRUE(steps.empty());
    press(0x400 | 0x800 | 0x200);
    EXPECT_EQ(steps, std::vector<int32_t>{-1});
    EXPECT_EQ(view_selected, &play_screen);
}

TEST_F(play_controls, keys_count_only_when_an_event_came)
{
    input_key = {0x800, 0, 0, 0};
    play_screen.key_checked = 0;
    EXPECT_EQ(play_input(&play_screen), 0);
    EXPECT_TRUE(steps.empty());
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
    EXPECT_EQ(steps, std::vector<int32_t>{1});
    EXPECT_EQ(tap(5, 5), -1);
    EXPECT_EQ(steps, std::vector<int32_t>{1});
}

/* ---- the position bar ---- */

static const char bar[] =
    "|<scroll x=\"10\" y=\"100\" width=\"101\" height=\"20\" type=\"fill-x\" action=\"play\"/>"
    "<button x=\"0\" y=\"0\" width=\"50\" height=\"50\" action=\"next\"/>";

TEST_F(play_controls, the_position_bar_seeks_to_the_nearest_sample)
{
    load_part({bar});
    set_track({.length = 441000});
    const samples wanted = {0, 220500, 440999};
    int i = 0;
    for (const int32_t offset : {0, 50, 100}) {
        EXPECT_EQ(touch(1, 10 + offset, 110), 0);
        touch(2, 10 + offset, 110);
        ASSERT_EQ(the_engine.seeks.size(), (size_t)++i);
    }
    EXPECT_EQ(the_engine.seeks, wanted);
}

TEST_F(play_controls, the_position_bar_rounds)
{
    load_part({"|<scroll width=\"1001\" height=\"20\" type=\"fill-x\" action=\"play\"/>"});
    set_track({.length = 441000});
    for (const int32_t offset : {1, 333, 999})
        tap(offset, 5);
    EXPECT_EQ(the_engine.seeks, (samples{441, 146853, 440558}));
}

TEST_F(play_controls, a_bar_of_two_pixels_asks_for_a_sample_past_the_end)
{
    load_part({"|<scroll width=\"2\" height=\"20\" type=\"fill-x\" action=\"play\"/>"});
    set_track({.length = 441000});
    tap(1, 5);
    EXPECT_EQ(the_engine.seeks, samples{441440});
}

TEST_F(play_controls, dragging_along_the_position_bar_keeps_seeking)
{
    load_part({bar});
    set_track({.length = 1001});
    touch(1, 10, 110);
    touch(3, 60, 115);
    touch(3, 60, 90); /* off the bar */
    touch(3, 110, 119);
    touch(2, 110, 119);
    EXPECT_EQ(the_engine.seeks, (samples{0, 500, 1000}));
    touch(3, 60, 110); /* moves alone act too */
    EXPECT_EQ(the_engine.seeks.back(), 500);
}

TEST_F(play_controls, a_drag_ends_with_its_finger)
{
    load_part({bar});
    set_track();
    touch(1, 10, 110);
    touch(2, 10, 110);
    touch(1, 20, 20); /* a button */
    touch(3, 60, 110);
    EXPECT_EQ(the_engine.seeks.size(), 1u);
    touch(2, 60, 110);
}

TEST_F(play_controls, a_bar_that_hides_meanwhile_is_not_dragged)
{
    load_part({"|<scroll show=\"pause\" width=\"101\" height=\"50\" type=\"fill-x\" "
               "action=\"play\"/>"});
    set_track();
    play_paused = 1;
    touch(1, 10, 10);
    touch(3, 20, 10);
    EXPECT_EQ(the_engine.seeks.size(), 2u);
    play_paused = 0;
    touch(3, 30, 10);
    EXPECT_EQ(the_engine.seeks.size(), 2u);
    touch(2, 30, 10);
}

TEST_F(play_controls, dragging_over_the_position_bar_from_a_button_does_not_seek)
{
    load_part({bar});
    set_track();
    touch(1, 20, 20);
    touch(3, 60, 110);
    EXPECT_TRUE(the_engine.seeks.empty());
    touch(2, 60, 110);
    EXPECT_TRUE(steps.empty());
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, dragging_from_nothing_onto_the_position_bar_seeks)
{
    load_part({bar});
    set_track({.length = 1001});
    touch(1, 200, 200);
    touch(3, 60, 110);
    touch(3, 110, 110);
    EXPECT_EQ(the_engine.seeks, (samples{500, 1000}));
}

TEST_F(play_controls, a_release_on_the_position_bar_does_not_seek)
{
    load_part({bar});
    set_track();
    touch(2, 60, 110);
    EXPECT_TRUE(the_engine.seeks.empty());
}

TEST_F(play_controls, the_position_bar_without_a_track_only_captures)
{
    load_part({bar});
    touch(1, 60, 110);
    touch(3, 20, 20);
    touch(2, 20, 20);
    EXPECT_TRUE(the_engine.seeks.empty());
    EXPECT_TRUE(steps.empty());
}

TEST_F(play_controls, other_bars_capture_and_do_nothing)
{
    for (const char *other :
         {"type=\"fill-x-rev\" action=\"play\"", "type=\"fill-x\" action=\"battery\"",
          "action=\"play\"", "type=\"fill-x\""}) {
        const std::string text = std::string("|<scroll width=\"100\" height=\"50\" ") + other +
                                 "/><button width=\"100\" height=\"50\" action=\"next\"/>"
                                 "<scroll y=\"50\" width=\"101\" height=\"50\" type=\"fill-x\" "
                                 "action=\"play\"/>";
        (void)file_remove("pack");
        load_part({text});
        set_track();
        tap(50, 25);
        touch(1, 50, 25);
        touch(3, 50, 75); /* the capture holds */
        touch(2, 50, 75);
        EXPECT_TRUE(the_engine.seeks.empty()) << other;
        EXPECT_TRUE(steps.empty()) << other;
    }
}

TEST_F(play_controls, a_hidden_bar_is_not_touched)
{
    load_part({"|<scroll show=\"pause\" width=\"101\" height=\"50\" type=\"fill-x\" "
               "action=\"play\"/><button width=\"50\" height=\"50\" action=\"next\"/>"});
    set_track();
    tap(10, 10);
    EXPECT_TRUE(the_engine.seeks.empty());
    EXPECT_EQ(steps, std::vector<int32_t>{1});
    play_paused = 1;
    tap(10, 10);
    EXPECT_EQ(the_engine.seeks.size(), 1u);
}

/* ---- buttons ---- */

static std::string button(const std::string &action, const std::string &more = "")
{
    return "|<img x=\"20\" y=\"30\" width=\"40\" height=\"40\" action=\"" + action + "\" " + more +
           "/>";
}

TEST_F(play_controls, the_pause_button_pauses_a_track)
{
    load_part({button("pause")});
    tap(30, 40);
    set_track();
    play_screen.redraw = 0;
    EXPECT_EQ(tap(30, 40), 0);
    EXPECT_EQ(play_paused, 1);
    EXPECT_EQ(play_screen.redraw, 1);
    tap(30, 40);
    EXPECT_EQ(play_paused, 1);
}

TEST_F(play_controls, the_play_button_resumes_or_starts_the_remembered_file)
{
    load_part({button("play")});
    set_track({.path = "/m/last.mp3"});
    play_paused = 1;
    play_screen.redraw = 0;
    EXPECT_EQ(tap(30, 40), 0);
    EXPECT_EQ(play_paused, 0);
    EXPECT_EQ(play_screen.redraw, 1);
    set_no_track();
    tap(30, 40);
    EXPECT_EQ(the_engine.begun, std::vector<std::string>{"/m/last.mp3"});
    EXPECT_EQ(play_paused, 1);
}

TEST_F(play_controls, the_stop_button_stops_a_track)
{
    load_part({button("stop")});
    tap(30, 40);
    EXPECT_EQ(the_engine.ended, 0);
    set_track();
    tap(30, 40);
    EXPECT_EQ(the_engine.ended, 1);
}

TEST_F(play_controls, the_track_buttons_step)
{
    load_part({"|<img width=\"10\" height=\"10\" action=\"prev\"/>"
               "<img x=\"10\" width=\"10\" height=\"10\" action=\"next\"/>"});
    set_track();
    play_pos = 2999;
    tap(5, 5);
    tap(15, 5);
    EXPECT_EQ(steps, (std::vector<int32_t>{-1, 1}));
    play_pos = 3000;
    tap(5, 5);
    EXPECT_EQ(the_engine.seeks, samples{0});
    EXPECT_EQ(steps.size(), 2u);
}

TEST_F(play_controls, the_list_button_shows_the_playlist)
{
    load_part({button("list")});
    set_track({.path = "/m/a.mp3"});
    EXPECT_EQ(tap(30, 40), -1);
    EXPECT_EQ(view_selected, &list_screen);
    EXPECT_EQ(cursor_on, std::vector<std::string>{"/m/a.mp3"});
}

TEST_F(play_controls, an_unknown_action_does_nothing)
{
    load_part({button("dance")});
    EXPECT_EQ(tap(30, 40), 0);
}

TEST_F(play_controls, a_button_acts_at_release_inside_its_box)
{
    load_part({button("next")});
    touch(1, 20, 30);
    EXPECT_TRUE(steps.empty());
    touch(3, 59, 69);
    EXPECT_TRUE(steps.empty());
    touch(2, 59, 69);
    EXPECT_EQ(steps, std::vector<int32_t>{1});
}

TEST_F(play_controls, a_release_elsewhere_cancels)
{
    load_part({button("next")});
    const std::pair<int32_t, int32_t> outside[] = {{19, 40}, {60, 40}, {30, 29}, {30, 70}};
    for (const auto &[x, y] : outside) {
        touch(1, 30, 40);
        touch(2, x, y);
        tap(x, y);
    }
    EXPECT_TRUE(steps.empty());
    tap(30, 40);
    EXPECT_EQ(steps, std::vector<int32_t>{1}) << "the capture ended";
}

TEST_F(play_controls, a_release_on_another_button_does_nothing)
{
    load_part({"|<img width=\"10\" height=\"10\" action=\"prev\"/>"
               "<img x=\"10\" width=\"10\" height=\"10\" action=\"next\"/>"});
    touch(1, 5, 5);
    touch(2, 15, 5);
    touch(2, 15, 5);
    EXPECT_TRUE(steps.empty());
}

TEST_F(play_controls, the_first_of_overlapping_buttons_acts)
{
    load_part({"|<img width=\"10\" height=\"10\"/>"
               "<img width=\"10\" height=\"10\" action=\"prev\"/>"
               "<img width=\"10\" height=\"10\" action=\"next\"/>"});
    tap(5, 5);
    EXPECT_EQ(steps, std::vector<int32_t>{-1});
}

TEST_F(play_controls, a_button_that_hides_meanwhile_does_not_act)
{
    load_part({button("next", "show=\"play\"")});
    set_track();
    touch(1, 30, 40);
    set_no_track();
    touch(2, 30, 40);
    EXPECT_TRUE(steps.empty());
}

TEST_F(play_controls, a_move_onto_a_button_does_not_press_it)
{
    load_part({button("next")});
    touch(3, 30, 40);
    touch(2, 30, 40);
    EXPECT_TRUE(steps.empty());
}

TEST_F(play_controls, a_skin_that_loads_under_the_finger_takes_the_press_along)
{
    load_part({button("next")});
    str_copy(cfg_skin_play, "pack");
    touch(1, 30, 40);
    EXPECT_EQ(press(0x8000), -1);
    EXPECT_EQ(touch(2, 30, 40), 0);
    EXPECT_TRUE(steps.empty());
    tap(30, 40);
    EXPECT_EQ(steps, std::vector<int32_t>{1});
}

TEST_F(play_controls, a_skin_that_loads_under_the_finger_takes_the_bar_along)
{
    load_part({bar});
    str_copy(cfg_skin_play, "pack");
    set_track({.length = 1001});
    touch(1, 10, 110);
    press(0x8000);
    touch(3, 60, 110); /* found anew */
    touch(2, 60, 110);
    EXPECT_EQ(the_engine.seeks, (samples{0, 500}));
}

TEST_F(play_controls, a_finger_on_a_screen_without_a_part_does_nothing)
{
    EXPECT_EQ(tap(30, 40), 0);
}

TEST_F(play_controls, a_box_at_the_end_of_numbers_holds_no_finger)
{
    load_part({"|<img x=\"2147483647\" y=\"0\" width=\"2147483647\" height=\"10\" action=\"next\"/>"
               "<img x=\"-10\" y=\"-10\" width=\"2147483647\" height=\"2147483647\" "
               "action=\"prev\"/>"});
    tap(5, 5);
    EXPECT_EQ(steps, std::vector<int32_t>{-1});
}
