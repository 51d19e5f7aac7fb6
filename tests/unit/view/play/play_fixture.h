/* play_fixture: an engine that a test sets by hand, a play screen with surfaces and a part, and a
 * scratch folder. Skins, surfaces, text, pictures and workers are real. Include it once in a test
 * program. */
#pragma once

#include "config/cfg.h"
#include "core/lang/lang.h"
#include "core/services/program.h"
#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "platform/draw/fb.h"
#include "platform/image/image.h"
#include "play/play.h"
#include "skin/skin.h"
#include "support/hung.h"
#include "support/scratch.h"
#include "support/wait_for.h"
#include "view/play/play_cover.h"
#include "view/play/play_draw.h"
#include "view/play/play_layout.h"
#include "view/play/play_lyrics.h"
#include "view/play/play_state.h"
#include "view/view.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

/* ---- the engine ---- */

struct engine {
    audio_stream stream = {};
    audio_tags tags = {};
    std::string title, artist, album;
    int64_t tell = 0;
    std::vector<int64_t> seeks;
    std::vector<std::string> begun;
    int ended = 0;
};
inline engine the_engine;

inline int64_t engine_tell(audio_stream *)
{
    return the_engine.tell;
}

inline int engine_seek(audio_stream *, int64_t sample)
{
    the_engine.seeks.push_back(sample);
    return 0;
}

inline const audio_decoder engine_decoder = {
    .name = "set by hand",
    .open = nullptr,
    .close = nullptr,
    .read = nullptr,
    .tell = engine_tell,
    .seek = engine_seek,
    .read_info = nullptr,
    .release_info = nullptr,
};

struct track {
    std::string path = "song.mp3";
    const char *title = "Title";
    const char *artist = "Artist";
    const char *album = "Album";
    bool tagged = true;
    int64_t length = 441000;
    uint32_t rate = 44100;
};

/* Another track plays from its beginning. */
inline void set_track(const track &next = {})
{
    const sys_guard guard(play_lock);
    const auto keep = [](std::string &to, const char *text) {
        to = text ? text : "";
        return text ? to.data() : nullptr;
    };
    the_engine.tags = {};
    the_engine.tags.title = keep(the_engine.title, next.title);
    the_engine.tags.artist = keep(the_engine.artist, next.artist);
    the_engine.tags.album = keep(the_engine.album, next.album);
    the_engine.stream = {next.rate, next.length, next.tagged ? &the_engine.tags : nullptr, nullptr};
    play_decoder = &engine_decoder;
    play_handle = &the_engine.stream;
    str_copy(play_fpath, next.path.c_str());
    play_pos = 0;
    play_paused = 0;
    ++play_handle_id;
}

inline void set_no_track()
{
    const sys_guard guard(play_lock);
    if (play_handle)
        ++play_handle_id;
    play_handle = nullptr;
    play_decoder = nullptr;
    play_pos = 0;
    play_paused = 1;
}

/* The last span that the screen watched. */
inline int32_t watched_first = 0, watched_last = 0;

inline const play_engine engine_by_hand = {
    .begin =
        [](const char *path) {
            the_engine.begun.push_back(path);
            return 0;
        },
    .end =
        [] {
            the_engine.ended++;
            set_no_track();
            return 0;
        },
    .watch =
        [](int32_t first, int32_t last) {
            watched_first = first;
            watched_last = last;
        },
};
static const hung hang_engine(play_engine_hung, &engine_by_hand);

/* ---- the program ---- */

inline int32_t battery_level = 57;
inline std::function<void()> in_battery; /* called when the level is asked for; null: nothing */

inline int32_t tell_battery_level()
{
    if (in_battery)
        in_battery();
    return battery_level;
}

inline view play_screen = {
    .init = nullptr,
    .exit = nullptr,
    .input = [](view *) { return 0; },
    .draw = play_draw,
};
static const hung hang_view_play(view_play, &play_screen);

/* ---- time ---- */

inline std::atomic<int64_t> wall_seconds{1767268800};

inline device make_hand_clock()
{
    device made = {};
    made.name = "hand clock";
    made.msec = [] { return clock_real_msec(); };
    made.wall = [] { return static_cast<time_t>(wall_seconds.load()); };
    made.msleep = [](int32_t ms) { clock_real_msleep(ms); };
    made.battery = tell_battery_level;
    return made;
}
inline const device hand_clock = make_hand_clock();

/* True once another thread waits for a lock that the caller holds: the worker stands right before
 * what the lock guards. This C library marks a lock that is waited for with 2. */
inline bool wait_for_waiter(const sys_lock &lock)
{
    return wait_for(
        [&] { return __atomic_load_n(&lock.mutex.__data.__lock, __ATOMIC_RELAXED) == 2; });
}

/* ---- the screen ---- */

class play_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_EQ(skin_init(), 0);
        device_current = &hand_clock;
        fb_keep_texts = true;
        play_screen.frame = fb_create(320, 240);
        play_screen.surface = fb_create(320, 240);
        ASSERT_NE(play_screen.surface, nullptr);
        the_engine = {};
        battery_level = 57;
        in_battery = nullptr;
        str_copy(lang_selected, "ko");
        cfg_debug = 0;
        set_no_track();
        play_layout_want_cover = start_cover_loader;
        play_layout_want_lyrics = start_lyrics_loader;
        play_draw_reset();
        play_view_open(true);
    }

    void TearDown() override
    {
        play_view_open(false);
        set_no_track();
        EXPECT_EQ(thread_settle(10000), 0);
        {
            const sys_guard guard(play_view_lock);
            play_drop_scaled_locked();
            play_drop_cover_locked();
            play_drop_lyrics_locked();
            (void)skin_free_part(play_view.play_part);
            play_view.play_part = nullptr;
            play_view.current_layout = nullptr;
            play_view.preferred_layout = 0;
        }
        (void)fb_free(play_screen.frame);
        (void)fb_free(play_screen.surface);
        (void)skin_exit();
    }

    /* One variant a text: the attributes of its root, "|", its elements. */
    static void load_part(const std::vector<std::string> &variants, const char *name = "pack")
    {
        ASSERT_EQ(mkdir(name, 0755), 0);
        for (size_t i = 0; i < variants.size(); i++) {
            const size_t bar = variants[i].find('|');
            ASSERT_NE(bar, std::string::npos);
            scratch_write(std::string(name) + "/play-" + std::to_string(i) + ".xml",
                          "<skin version=\"0.1\" " + variants[i].substr(0, bar) + ">" +
                              variants[i].substr(bar + 1) + "</skin>");
        }
        ASSERT_EQ(play_layout_load_skin(name), 0);
    }

    static uint32_t layout_index()
    {
        const sys_guard guard(play_view_lock);
        return play_view.current_layout_index;
    }

    static skin_element *element(uint32_t index) { return &play_layout_current()->elements[index]; }

    /* One pass; whether a new picture came of it. */
    static bool draw()
    {
        play_screen.updated = 0;
        EXPECT_EQ(play_draw(&play_screen, nullptr), 0);
        return play_screen.updated != 0;
    }

    static std::vector<std::string> shown_texts()
    {
        std::vector<std::string> texts;
        for (uint32_t i = 0; i < fb_text_count(play_screen.surface); i++)
            texts.push_back(fb_text_at(play_screen.surface, i)->text);
        return texts;
    }

    static uint16_t pixel(int32_t x, int32_t y)
    {
        return play_screen.surface->pixels[y * play_screen.surface->stride + x];
    }

    /* A cover of one colour for the playing track, as a worker would install it. */
    static void hold_cover(int32_t width = 100, int32_t height = 50, uint32_t argb = 0xFFFF0000)
    {
        image *picture = image_create(width, height);
        ASSERT_NE(picture, nullptr);
        for (int64_t i = 0; i < static_cast<int64_t>(width) * height; i++)
            picture->argb[i] = argb;
        picture->has_alpha = false;
        const sys_guard guard(play_view_lock);
        play_drop_cover_locked();
        play_view.cover_image = play_cover_new(picture, width, height);
        play_view.cover_id = play_handle_id;
        cover_handled();
    }

    /* Lyrics for the playing track, as a worker would install them. */
    static void hold_lyrics(const std::vector<std::pair<uint32_t, std::string>> &lines)
    {
        const sys_guard guard(play_view_lock);
        play_drop_lyrics_locked();
        const size_t count = lines.size();
        play_view.lyrics_texts = static_cast<char **>(calloc(count, sizeof(char *)));
        play_view.lyrics_times = static_cast<uint32_t *>(calloc(count, sizeof(uint32_t)));
        for (size_t i = 0; i < count; i++) {
            play_view.lyrics_times[i] = lines[i].first;
            play_view.lyrics_texts[i] = strdup(lines[i].second.c_str());
        }
        play_view.lyrics_count = static_cast<uint32_t>(count);
        play_view.lyrics_id = play_handle_id;
        play_view_request_redraw();
        const sys_guard play_guard(play_lock);
        lyrics_loaded_for = play_handle_id;
    }

    static void cover_handled()
    {
        const sys_guard guard(play_lock);
        cover_loaded_for = play_handle_id;
    }

    scratch folder;
};
