/* fake_program: an engine and screens that note what the lists ask of them, and a scratch folder.
 * Files, playlists, the database and what the list screen shows are real. Include it once in a test
 * program. */
#pragma once

#include "config/cfg.h"
#include "core/services/program.h"
#include "library/library.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/str.h"
#include "platform/db/db.h"
#include "platform/file/file.h"
#include "platform/input/key.h"
#include "play/play.h"
#include "support/hung.h"
#include "support/one_thread.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using texts = std::vector<std::string>;

/* What the lists asked for. */
struct seen {
    texts
        begun; /* every file that was to be played; in the background where no screen was selected */
    int ended = 0;
    std::vector<view *> selected;
    int sleeps = 0;
};
inline seen the_seen;

inline void set_playing(const char *path)
{
    sys_guard guard(play_lock);
    (void)str_copy(play_fpath, path);
}

inline std::string playing()
{
    sys_guard guard(play_lock);
    return play_fpath;
}

/* Files with "broken" in their path do not play. */
inline int begin_in_silence(const char *path)
{
    the_seen.begun.push_back(path);
    if (path[0] == '\0' || strstr(path, "broken"))
        return -1;
    set_playing(path);
    return 0;
}

inline const play_engine silent_engine = {
    .begin = begin_in_silence,
    .end =
        [] {
            the_seen.ended++;
            return 0;
        },
    .watch = [](int32_t, int32_t) {},
};
static const hung hang_engine(play_engine_hung, &silent_engine);

/* Selecting a screen hands it the events of the pass. */
inline int note_selected(view *self)
{
    the_seen.selected.push_back(self);
    return -1;
}

inline int draw_nothing(view *, fb_surface *)
{
    return 0;
}

inline view list_screen = {
    .init = nullptr, .exit = nullptr, .input = note_selected, .draw = draw_nothing};
inline view play_screen = {
    .init = nullptr, .exit = nullptr, .input = note_selected, .draw = draw_nothing};
inline view no_messages = {
    .init = nullptr, .exit = nullptr, .input = [](view *) { return 0; }, .draw = draw_nothing};
static const hung hang_view_list(view_list, &list_screen);
static const hung hang_view_play(view_play, &play_screen);
static const hung hang_overlay_msg(overlay_msg, &no_messages);

/* The list that was shown since the last look, or null. */
inline list *take_shown()
{
    list *shown = list_page_selected;
    list_page_selected = nullptr;
    return shown;
}

inline list main_menu = {};
static const hung hang_list_cur_playlist(list_cur_playlist, &list_cur_playlist_record);
static const hung hang_list_main(list_main, &main_menu);

/* The clock goes on by as much with each look at it. */
inline int32_t clock_now_ms = 1000;
inline int32_t clock_step_ms = 0;

inline int nothing()
{
    return 0;
}

/* The key that is found pressed, and let go, at one of the looks to come. */
inline uint32_t key_to_come = 0;
inline int key_looks_before = 0;

inline void look_at_keys()
{
    if (key_to_come == 0 || key_looks_before-- > 0)
        return;
    key_event(key_to_come, true);
    key_event(key_to_come, false);
    key_to_come = 0;
}

/* A device that has a clock and one key, and notes who sleeps. */
inline const device clock_only = {
    .name = "clock",
    .open = nothing,
    .close = nothing,
    .screen_open = [](int32_t, int32_t) { return -1; },
    .screen_close = nothing,
    .screen_show = [](const fb_surface *) { return -1; },
    .screen_power = [](int) { return -1; },
    .key_open = nothing,
    .key_close = nothing,
    .touch_open = nothing,
    .touch_close = nothing,
    .poll = look_at_keys,
    .speaker = []() -> const sound_speaker * { return nullptr; },
    .battery = [] { return 100; },
    .msec = []() -> int64_t { return clock_now_ms += clock_step_ms; },
    .wall = [] { return time(nullptr); },
    .msleep = [](int32_t) { the_seen.sleeps++; },
};

/* ---- files ---- */

inline void write_file(const std::string &path, const std::string &bytes)
{
    FILE *to = fopen(path.c_str(), "wb");
    ASSERT_NE(to, nullptr) << path;
    EXPECT_EQ(fwrite(bytes.data(), 1, bytes.size(), to), bytes.size());
    EXPECT_EQ(fclose(to), 0);
}

/* "(no file)" when there is none. */
inline std::string read_file(const std::string &path)
{
    FILE *from = fopen(path.c_str(), "rb");
    if (!from)
        return "(no file)";
    std::string bytes;
    char part[4096];
    for (size_t got; (got = fread(part, 1, sizeof part, from)) > 0;)
        bytes.append(part, got);
    fclose(from);
    return bytes;
}

inline void make_dir(const std::string &path)
{
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0) << path;
}

/* ---- lists ---- */

inline texts rows_of(const list *of)
{
    texts rows;
    for (uint32_t i = 0; of->items && i < of->count; i++)
        rows.push_back(of->items[i]);
    return rows;
}

inline texts queued_paths()
{
    sys_guard guard(list_cur_playlist_lock);
    texts paths;
    const auto *entries = static_cast<const playlist_entry *>(list_cur_playlist_cur.data);
    for (uint32_t i = 0; i < list_cur_playlist_cur.count; i++)
        paths.push_back(entries[i].path);
    return paths;
}

inline texts queued_names()
{
    sys_guard guard(list_cur_playlist_lock);
    texts names;
    const auto *entries = static_cast<const playlist_entry *>(list_cur_playlist_cur.data);
    for (uint32_t i = 0; i < list_cur_playlist_cur.count; i++)
        names.push_back(entries[i].name);
    return names;
}

inline int press(list *on, uint32_t keys)
{
    input_key = {};
    input_key.pressed = keys;
    list_screen.key_checked = 1;
    const int result = on->input(&list_screen, on);
    list_screen.key_checked = 0;
    input_key = {};
    return result;
}

inline int choose(list *on, int32_t row, int32_t mode)
{
    return on->select(&list_screen, on, row, mode);
}

inline void sql(const std::string &text)
{
    ASSERT_EQ(db_exec(library_db, text.c_str(), nullptr), 0)
        << text << ": " << db_err_msg(library_db);
}

/* One track with everything around it. Names are quoted by the caller's care: no quotes in them. */
inline void add_track(const std::string &path, const std::string &title, const std::string &artist,
                      const std::string &album, const std::string &genre)
{
    const std::string artist_id = "(SELECT id FROM zervp_artists WHERE name='" + artist + "')";
    sql("INSERT INTO zervp_urls(path) VALUES('" + path + "');");
    sql("INSERT OR IGNORE INTO zervp_artists(name) VALUES('" + artist + "');");
    sql("INSERT OR IGNORE INTO zervp_albums(name, artist) VALUES('" + album + "'," + artist_id +
        ");");
    sql("INSERT OR IGNORE INTO zervp_genres(name) VALUES('" + genre + "');");
    sql("INSERT INTO zervp_tracks(name, artist, album, genre, url) VALUES('" + title + "'," +
        artist_id + ",(SELECT id FROM zervp_albums WHERE name='" + album +
        "' AND artist=" + artist_id + "),(SELECT id FROM zervp_genres WHERE name='" + genre +
        "'),(SELECT id FROM zervp_urls WHERE path='" + path + "'));");
}

/* An empty folder of its own as working folder, an empty playlist, nothing asked for yet. */
class lists_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(start, sizeof start), nullptr);
        str_copy(folder, "scratch-XXXXXX");
        ASSERT_NE(mkdtemp(folder), nullptr);
        ASSERT_EQ(chdir(folder), 0);
        ASSERT_NE(getcwd(folder, sizeof folder), nullptr);
        device_current = &clock_only;
        the_seen = {};
        list_page_selected = nullptr;
        view_selected = nullptr;
        view_previous = nullptr;
        view_anime_pending = 0;
        view_anime_started = 0;
        input_key = {};
        main_menu.cursor = 3;
        list_screen.redraw = 0;
        list_screen.key_checked = 0;
        cfg_playback_order = 0;
        str_copy(cfg_library_path, folder);
        set_playing("");
        ASSERT_EQ(key_open(), 0);
        ASSERT_EQ(list_cur_playlist->init(), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(key_close(), 0);
        EXPECT_EQ(list_cur_playlist->exit(), 0);
        view_list_free(list_cur_playlist);
        EXPECT_EQ(library_close(), 0);
        ASSERT_EQ(chdir(start), 0);
        EXPECT_EQ(file_remove(folder), 0);
    }

    /* A path below the scratch folder. */
    std::string at(const std::string &name) const { return std::string(folder) + "/" + name; }

    char start[PATH_MAX];
    char folder[PATH_MAX];
};
