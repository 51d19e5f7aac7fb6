#include "lists/list_main.h"
#include "lists/lists.h"
#include "support/hung.h"

#include "config/cfg.h"
#include "core/services/overlay.h"
#include "library/library_scan.h"
#include "lists/list_cfg.h"
#include "lists/list_files.h"
#include "lists/list_library.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/base/fault.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "play/play.h"
#include "support/one_thread.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

static const hung hang_list_main(list_main, &list_main_record);

using texts = std::vector<std::string>;

/* ---- rooms that note what the menu asks of them, from any thread ---- */

static std::mutex trace_lock;
static texts trace;
static std::string playing;
static int scan_result = 0;
static int32_t next_message = 0;
static int skin_result = 0;

static void note(const std::string &text)
{
    const std::lock_guard<std::mutex> guard(trace_lock);
    trace.push_back(text);
}

static texts noted()
{
    const std::lock_guard<std::mutex> guard(trace_lock);
    return trace;
}

int play_end()
{
    note("play_end");
    return 0;
}

bool play_copy_last_path(char (&to)[PATH_MAX])
{
    (void)str_copy(to, playing.c_str());
    return to[0] != '\0';
}

bool play_copy_path(char (&to)[512])
{
    return str_copy(to, playing.c_str()) && !playing.empty();
}

int library_scan()
{
    note("scan");
    return scan_result;
}

int32_t overlay_msg_add(const char *text, int32_t duration_ms, uint16_t colour)
{
    const int32_t id = next_message++;
    char line[200];
    snprintf(line, sizeof line, "message %d |%s| %d 0x%04X", id, text, duration_ms, colour);
    note(line);
    return id;
}

int overlay_msg_remove(int32_t id)
{
    note("remove " + std::to_string(id));
    return 0;
}

void view_request_redraw()
{
    note("redraw");
}

int list_cur_playlist_select(const char *path)
{
    note(std::string("find in playlist ") + path);
    return 0;
}

int list_files_select_file(const char *path)
{
    note(std::string("find in files ") + path);
    return 0;
}

int list_files_set_default_dpath()
{
    note("music folder");
    return 0;
}

int list_library_reset_conds()
{
    note("reset levels");
    return 0;
}

int list_library_add_cond_key(const char *key, const char *title)
{
    note(std::string("level ") + key + " " + title);
    return 0;
}

void list_cfg_reset()
{
    note("reset settings");
}

int view_list_load_skin(const char *path)
{
    note(std::string("skin ") + path);
    return skin_result;
}

static list other[5];
static const hung hang_list_cur_playlist(list_cur_playlist, &other[0]);
static const hung hang_list_files(list_files, &other[1]);
static const hung hang_list_library(list_library, &other[2]);
static const hung hang_list_playlists(list_playlists, &other[3]);
static const hung hang_list_cfg(list_cfg, &other[4]);

int view_list_select(list *next)
{
    static const char *const names[] = {"playlist", "files", "library", "playlists", "settings"};
    note(std::string("show ") + names[next - other]);
    return 0;
}

key_report input_key = {};
char cfg_skin_list[512] = "skins/mine.zip";
constinit sys_lock play_lock;

static view screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};

class main_menu : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        trace.clear();
        playing.clear();
        scan_result = skin_result = 0;
        next_message = 7;
        for (list &each : other)
            each = {};
        for (list &each : other)
            each.cursor = 99;
        list_playlists->update = [](view *, list *) {
            note("update playlists");
            return 0;
        };
        list_cfg->update = [](view *, list *) {
            note("update settings");
            return 0;
        };
        list_main->cursor = 4;
        screen.redraw = 0;
        ASSERT_EQ(list_main->init(), 0);
    }
    void TearDown() override
    {
        fault_set("");
        EXPECT_EQ(thread_settle(10000), 0);
        EXPECT_EQ(list_main->exit(), 0);
        view_list_free(list_main);
    }
    static int choose(int32_t index, int32_t mode = 0)
    {
        return list_main->select(&screen, list_main, index, mode);
    }
    static int press(uint32_t key, bool checked = true)
    {
        input_key = {};
        input_key.pressed = key;
        screen.key_checked = checked;
        return list_main->input(&screen, list_main);
    }
};

TEST_F(main_menu, has_nine_rows_a_title_and_the_version)
{
    const texts wanted = {"当前播放列表", "打开",     "艺术家",     "专辑", "流派",
                          "曲目",         "播放列表", "更新媒体库", "设置"};
    ASSERT_EQ(list_main->count, wanted.size());
    for (size_t i = 0; i < wanted.size(); i++)
        EXPECT_EQ(list_main->items[i], wanted[i]);
    EXPECT_STREQ(list_main->title, "主菜单");
    EXPECT_STREQ(list_main->subtitle, "Zerv Player 0.4 <..TOVAK..汉化..>");
}

TEST_F(main_menu, update_rebuilds_the_rows_and_keeps_the_cursor)
{
    EXPECT_EQ(list_main->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_main->count, 9u);
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(main_menu, back_puts_the_cursor_on_the_first_row)
{
    EXPECT_EQ(press(key_back), -1);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_EQ(screen.redraw, 1);
    list_main->cursor = 4;
    screen.redraw = 0;
    EXPECT_EQ(choose(-1, 1), -1);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_EQ(screen.redraw, 1);
}

TEST_F(main_menu, reload_key_reads_the_skin_again)
{
    EXPECT_EQ(press(key_reload), -1);
    EXPECT_EQ(noted(), (texts{"skin skins/mine.zip"}));
    skin_result = -1;
    EXPECT_EQ(press(key_reload), 0);
}

TEST_F(main_menu, keys_of_another_pass_do_nothing)
{
    EXPECT_EQ(press(key_back | key_reload, false), 0);
    EXPECT_EQ(press(key_select | key_up), 0);
    EXPECT_TRUE(noted().empty());
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(main_menu, modes_above_one_do_nothing)
{
    for (int32_t row = -1; row < 10; row++) {
        EXPECT_EQ(choose(row, 2), 0);
        EXPECT_EQ(choose(row, 3), 0);
    }
    EXPECT_TRUE(noted().empty());
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(main_menu, rows_that_do_not_exist_do_nothing)
{
    for (const int32_t row : {-2, 9, 1000, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(row), 0);
    EXPECT_TRUE(noted().empty());
}

TEST_F(main_menu, current_playlist_opens_on_the_playing_file)
{
    playing = "/m/a.mp3";
    EXPECT_EQ(choose(0), 0);
    EXPECT_EQ(noted(), (texts{"find in playlist /m/a.mp3", "show playlist"}));
    EXPECT_EQ(list_cur_playlist->cursor, 99);
}

TEST_F(main_menu, current_playlist_opens_on_its_first_row_when_nothing_plays)
{
    EXPECT_EQ(choose(0, 1), 0);
    EXPECT_EQ(noted(), (texts{"show playlist"}));
    EXPECT_EQ(list_cur_playlist->cursor, 0);
}

TEST_F(main_menu, files_open_where_the_playing_file_is_or_at_the_music)
{
    EXPECT_EQ(choose(1), 0);
    playing = "/m/a.mp3";
    EXPECT_EQ(choose(1), 0);
    EXPECT_EQ(noted(),
              (texts{"music folder", "show files", "find in files /m/a.mp3", "show files"}));
}

TEST_F(main_menu, library_opens_on_its_first_level)
{
    for (int32_t row = 2; row <= 5; row++) {
        list_library->cursor = 99;
        EXPECT_EQ(choose(row, row % 2), 0);
        EXPECT_EQ(list_library->cursor, 0);
    }
    EXPECT_EQ(noted(),
              (texts{"reset levels", "level artist Artists", "show library", "reset levels",
                     "level album Albums", "show library", "reset levels", "level genre Genres",
                     "show library", "reset levels", "level track Tracks", "show library"}));
}

TEST_F(main_menu, playlists_open_on_the_first_row)
{
    EXPECT_EQ(choose(6), 0);
    EXPECT_EQ(noted(), (texts{"show playlists"}));
    EXPECT_EQ(list_playlists->cursor, 0);
}

TEST_F(main_menu, settings_open_at_their_top_level)
{
    EXPECT_EQ(choose(8), 0);
    EXPECT_EQ(noted(), (texts{"reset settings", "update settings", "show settings"}));
    EXPECT_EQ(list_cfg->cursor, 0);
}

/* ---- the library update ---- */

TEST_F(main_menu, scan_that_succeeds_takes_its_message_down)
{
    EXPECT_EQ(choose(7), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(noted(), (texts{"play_end", "message 7 |更新媒体库中   | 0 0x001F", "scan",
                              "remove 7", "update playlists", "redraw"}));
}

TEST_F(main_menu, scan_that_fails_adds_a_red_message_and_leaves_the_first)
{
    scan_result = -1;
    EXPECT_EQ(list_main_on_update_library(), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(noted(), (texts{"play_end", "message 7 |更新媒体库中   | 0 0x001F", "scan",
                              "message 8 |无法扫描某些文件| 3000 0xF800"}));
}

TEST_F(main_menu, second_request_starts_a_second_scan)
{
    EXPECT_EQ(list_main_on_update_library(), 0);
    EXPECT_EQ(list_main_on_update_library(), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    int scans = 0;
    for (const std::string &each : noted())
        scans += each == "scan";
    EXPECT_EQ(scans, 2);
}

TEST_F(main_menu, scan_that_cannot_start_takes_its_message_down)
{
    fault_set("thread_start");
    EXPECT_EQ(list_main_on_update_library(), -1);
    EXPECT_EQ(noted(), (texts{"play_end", "message 7 |更新媒体库中   | 0 0x001F", "remove 7"}));
}
