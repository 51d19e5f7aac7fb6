/* What a window adds: dropped files, media keys wherever one is, the title. */
#include "core/desktop.h"

#include "core/loop.h"
#include "platform/audio/audio.h"
#include "platform/draw/fb.h"
#include "platform/input/drop.h"
#include "unit/lists/fake_program.h"

static std::vector<std::string> titles;
static std::vector<int> powers;

static device make_window()
{
    device made = clock_only;
    made.screen_open = [](int32_t, int32_t) { return 0; };
    made.screen_show = [](const fb_surface *) { return 0; };
    made.screen_power = [](int on) {
        powers.push_back(on);
        return 0;
    };
    made.screen_title = [](const char *text) { titles.push_back(text); };
    return made;
}
static const device window = make_window();

struct desktop : lists_test {
    void SetUp() override
    {
        lists_test::SetUp();
        device_current = &window;
        ASSERT_EQ(fb_open(320, 240), 0);
        desktop_pass(); /* what the test before left as title */
        input_key_checked = 0;
        main_last_input_time = -1;
        view_selected = &list_screen;
        list_screen.redraw = 0;
        titles.clear();
        powers.clear();
    }
    void TearDown() override
    {
        show_track(nullptr);
        input_key_checked = 0;
        EXPECT_EQ(fb_close(), 0);
        lists_test::TearDown();
    }

    static void drop(const texts &paths)
    {
        for (const std::string &path : paths)
            drop_event(path.c_str());
        drop_end();
        desktop_pass();
    }
    static void show_track(audio_stream *stream, const char *path = "")
    {
        set_playing(path);
        {
            sys_guard guard(play_lock);
            play_handle = stream;
        }
        play_handle_id++;
        desktop_pass();
    }
    static void media(uint32_t keys, bool checked)
    {
        input_key.pressed = keys;
        input_key_checked = checked;
        desktop_pass();
        input_key_checked = 0;
    }
};

/* ---- dropped files ---- */

TEST_F(desktop, a_drop_lights_the_screen_and_plays)
{
    write_file("song.mp3", "song");
    ASSERT_EQ(fb_set_power(0), 0);
    powers.clear();
    drop({at("song.mp3")});
    EXPECT_EQ(powers, std::vector<int>{1});
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_NE(main_last_input_time, -1) << "somebody is there";
    EXPECT_EQ(the_seen.begun, texts{at("song.mp3")});
    EXPECT_EQ(the_seen.selected, std::vector<view *>{&play_screen});
    EXPECT_EQ(rows_of(list_cur_playlist), texts{"song.mp3"});
    the_seen = {};
    desktop_pass();
    EXPECT_TRUE(the_seen.begun.empty()) << "once";
}

TEST_F(desktop, a_lit_screen_is_left_as_it_is)
{
    ASSERT_EQ(fb_set_power(1), 0);
    powers.clear();
    drop({at("nothing.mp3")});
    EXPECT_TRUE(powers.empty());
    EXPECT_EQ(list_screen.redraw, 0);
    EXPECT_NE(main_last_input_time, -1);
}

TEST_F(desktop, without_a_drop_nothing_is_touched)
{
    ASSERT_EQ(fb_set_power(0), 0);
    powers.clear();
    desktop_pass();
    EXPECT_TRUE(powers.empty());
    EXPECT_EQ(main_last_input_time, -1);
    ASSERT_EQ(fb_set_power(1), 0);
}

TEST_F(desktop, what_cannot_be_played_is_left_out)
{
    write_file("words.txt", "words");
    make_dir(at("empty"));
    write_file("none.m3u", "");
    drop({at("gone.mp3"), at("words.txt"), at("empty"), at("none.m3u")});
    EXPECT_TRUE(the_seen.begun.empty());
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_EQ(queued_paths(), texts{});
}

TEST_F(desktop, the_last_of_all_that_plays_is_begun)
{
    make_dir(at("album"));
    for (const char *name : {"album/1.mp3", "album/2.mp3", "a.mp3", "z.mp3"})
        write_file(name, name);
    write_file("list.m3u", "z.mp3\r\n");
    drop({at("a.mp3"), at("album"), at("list.m3u"), at("gone.mp3")});
    EXPECT_EQ(the_seen.begun, texts{at("z.mp3")});
    EXPECT_EQ(queued_paths(),
              (texts{at("a.mp3"), at("album/1.mp3"), at("album/2.mp3"), at("z.mp3")}));
    drop({at("album"), at("a.mp3")});
    EXPECT_EQ(the_seen.begun.back(), at("a.mp3")) << "queued before: it plays";
    EXPECT_EQ(queued_paths().size(), 4u);
}

/* ---- media keys ---- */

TEST_F(desktop, media_keys_act_when_they_were_pressed)
{
    audio_stream stream = {};
    show_track(&stream, "/m/x.mp3");
    media(key_media_stop, false);
    EXPECT_EQ(the_seen.ended, 0) << "taken already";
    media(key_back, true);
    EXPECT_EQ(the_seen.ended, 0);
    media(key_media_stop, true);
    EXPECT_EQ(the_seen.ended, 1);
}

/* ---- the title ---- */

TEST_F(desktop, the_title_names_the_track)
{
    char song[] = "A Song", band[] = "Band", none[] = "";
    const audio_tags all = {song, nullptr, nullptr, nullptr, nullptr},
                     both = {song, band, nullptr, nullptr, nullptr},
                     empty = {none, none, nullptr, nullptr, nullptr},
                     only_band = {nullptr, band, nullptr, nullptr, nullptr};
    audio_stream stream = {};
    const struct {
        const audio_tags *tags;
        const char *path, *title;
    } cases[] = {{&all, "/m/x.mp3", "A Song - Zerv Player"},
                 {&both, "/m/x.mp3", "A Song - Band - Zerv Player"},
                 {&empty, "/m/x.mp3", "x.mp3 - Zerv Player"},
                 {&only_band, "x.mp3", "x.mp3 - Band - Zerv Player"},
                 {nullptr, "/m/x.mp3", "x.mp3 - Zerv Player"}};
    for (const auto &each : cases) {
        stream.tags = each.tags;
        titles.clear();
        show_track(&stream, each.path);
        desktop_pass();
        EXPECT_EQ(titles, texts{each.title}) << "told once";
    }
    titles.clear();
    show_track(nullptr, "/m/x.mp3");
    EXPECT_EQ(titles, texts{"Zerv Player"});
}
