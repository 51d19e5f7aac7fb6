/* The main menu over lists that are filled for real. */
#include "lists/list_cfg.h"
#include "lists/list_files.h"
#include "lists/list_library.h"
#include "lists/list_main.h"
#include "lists/lists.h"
#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/fault.h"
#include "platform/base/thread.h"
#include "skin/skin.h"
#include "support/messages.h"
#include "unit/lists/fake_program.h"
#include "view/list/view_list_state.h"

#include <algorithm>

static const hung hang_real_menu(list_main, &list_main_record);
static const hung hang_list_files(list_files, &list_files_record);
static const hung hang_list_library(list_library, &list_library_record);
static const hung hang_list_playlists(list_playlists, &list_playlists_record);
static const hung hang_list_cfg(list_cfg, &list_cfg_record);

static int (*const real_update)(view *, list *) = list_playlists_record.update;
static audio_stream any_stream = {};

static const std::string scanning = "0x001F |更新媒体库中   |";
static const std::string failed = "0xF800 |无法扫描某些文件|";

class list_main_menu : public lists_test
{
  protected:
    void SetUp() override
    {
        lists_test::SetUp();
        fault_set("");
        ASSERT_EQ(skin_init(), 0);
        ASSERT_EQ(library_open(), 0);
        list_main->cursor = 4;
        view_selected = &list_screen;
        ASSERT_EQ(list_main->init(), 0);
        /* Each stands where a wrong row would leave it. */
        for (list *each : {list_cur_playlist, list_files, list_library, list_playlists, list_cfg})
            each->cursor = 99;
    }
    void TearDown() override
    {
        fault_set("");
        EXPECT_EQ(thread_settle(10000), 0);
        messages_forget();
        set_loaded(nullptr);
        list_cfg_reset();
        (void)list_library_reset_conds();
        for (list *each : {list_files, list_library, list_playlists, list_cfg, list_main}) {
            EXPECT_EQ(each->exit(), 0);
            view_list_free(each);
            each->count = 0;
        }
        (void)skin_free_part(view_list_state.part);
        view_list_state = {};
        skin_exit();
        lists_test::TearDown();
    }
    static void set_loaded(audio_stream *stream)
    {
        sys_guard guard(play_lock);
        play_handle = stream;
    }
    static void play(const std::string &path)
    {
        set_playing(path.c_str());
        set_loaded(&any_stream);
    }
    static int choose_row(int32_t index, int32_t mode = 0)
    {
        return choose(list_main, index, mode);
    }
    static int press_key(uint32_t key) { return press(list_main, key); }
    /* A list part with so many rows. */
    void write_skin(int rows)
    {
        std::string text = "<skin version=\"0.1\">";
        for (int i = 0; i < rows; i++)
            text += "<item/>";
        write_file("mine/list.xml", text + "</skin>");
    }
    static void nothing_happened()
    {
        EXPECT_EQ(take_shown(), nullptr);
        EXPECT_EQ(messages_shown(), texts{});
        EXPECT_EQ(the_seen.ended, 0);
    }
};

TEST_F(list_main_menu, has_nine_rows_a_title_and_the_version)
{
    const texts wanted = {"当前播放列表", "打开",     "艺术家",     "专辑", "流派",
                          "曲目",         "播放列表", "更新媒体库", "设置"};
    ASSERT_EQ(list_main->count, wanted.size());
    for (size_t i = 0; i < wanted.size(); i++)
        EXPECT_EQ(list_main->items[i], wanted[i]);
    EXPECT_STREQ(list_main->title, "主菜单");
    EXPECT_STREQ(list_main->subtitle, "Zerv Player " PROGRAM_VERSION " <..TOVAK..汉化..>");
}

TEST_F(list_main_menu, update_rebuilds_the_rows_and_keeps_the_cursor)
{
    EXPECT_EQ(list_main->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_main->count, 9u);
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(list_main_menu, back_puts_the_cursor_on_the_first_row)
{
    EXPECT_EQ(press_key(key_back), -1);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_EQ(list_screen.redraw, 1);
    list_main->cursor = 4;
    list_screen.redraw = 0;
    EXPECT_EQ(choose_row(-1, 1), -1);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_EQ(list_screen.redraw, 1);
}

TEST_F(list_main_menu, reload_key_reads_the_skin_again)
{
    make_dir("mine");
    str_copy(cfg_skin_list, "mine");
    write_skin(2);
    EXPECT_EQ(press_key(key_reload), -1);
    EXPECT_EQ(view_list_state.rows, 2u);
    write_skin(3);
    EXPECT_EQ(press_key(key_reload), -1);
    EXPECT_EQ(view_list_state.rows, 3u);
    ASSERT_EQ(file_remove("mine"), 0);
    EXPECT_EQ(press_key(key_reload), 0);
    EXPECT_EQ(view_list_state.rows, 3u);
}

TEST_F(list_main_menu, keys_of_another_pass_do_nothing)
{
    input_key.pressed = key_back | key_reload;
    EXPECT_EQ(list_main->input(&list_screen, list_main), 0);
    EXPECT_EQ(press_key(key_select | key_up), 0);
    nothing_happened();
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(list_main_menu, modes_above_one_do_nothing)
{
    for (int32_t row = -1; row < 10; row++) {
        EXPECT_EQ(choose_row(row, 2), 0);
        EXPECT_EQ(choose_row(row, 3), 0);
    }
    nothing_happened();
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(list_main_menu, rows_that_do_not_exist_do_nothing)
{
    for (const int32_t row : {-2, 9, 1000, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose_row(row), 0);
    nothing_happened();
}

TEST_F(list_main_menu, current_playlist_opens_on_the_playing_file)
{
    for (const char *path : {"/m/a.mp3", "/m/b.mp3", "/m/c.mp3"})
        ASSERT_EQ(list_cur_playlist_add(path, nullptr, nullptr), 0);
    play("/m/b.mp3");
    EXPECT_EQ(choose_row(0), 0);
    EXPECT_EQ(take_shown(), list_cur_playlist);
    EXPECT_EQ(list_cur_playlist->cursor, 1);
    play("/m/elsewhere.mp3");
    EXPECT_EQ(choose_row(0), 0);
    EXPECT_EQ(list_cur_playlist->cursor, 1) << "not queued: it stays";
}

TEST_F(list_main_menu, current_playlist_opens_on_its_first_row_when_nothing_plays)
{
    ASSERT_EQ(list_cur_playlist_add("/m/a.mp3", nullptr, nullptr), 0);
    set_playing("/m/a.mp3"); /* the last track, not loaded any more */
    EXPECT_EQ(choose_row(0, 1), 0);
    EXPECT_EQ(take_shown(), list_cur_playlist);
    EXPECT_EQ(list_cur_playlist->cursor, 0);
}

TEST_F(list_main_menu, files_open_where_the_playing_file_is_or_at_the_music)
{
    make_dir("sub");
    write_file("sub/x.mp3", "");
    EXPECT_EQ(choose_row(1), 0);
    EXPECT_EQ(take_shown(), list_files);
    EXPECT_STREQ(list_files_dpath, folder);
    play(at("sub/x.mp3"));
    EXPECT_EQ(choose_row(1), 0);
    EXPECT_EQ(take_shown(), list_files);
    EXPECT_EQ(list_files_dpath, at("sub"));
    EXPECT_EQ(rows_of(list_files), (texts{"[..]", "x.mp3"}));
    EXPECT_EQ(list_files->cursor, 1);
}

TEST_F(list_main_menu, library_opens_on_its_first_level)
{
    add_track("/m/a.mp3", "Title", "Artist", "Album", "Genre");
    const struct {
        const char *title, *row;
    } levels[] = {
        {"Artists", "Artist"}, {"Albums", "Album"}, {"Genres", "Genre"}, {"Tracks", "Title"}};
    for (int32_t row = 2; row <= 5; row++) {
        list_library->cursor = 99;
        EXPECT_EQ(choose_row(row, row % 2), 0);
        EXPECT_EQ(take_shown(), list_library);
        EXPECT_STREQ(list_library->title, levels[row - 2].title);
        ASSERT_GE(list_library->count, 1u);
        EXPECT_EQ(rows_of(list_library).back().find(levels[row - 2].row), 0u);
        EXPECT_EQ(list_library->cursor, 0);
        EXPECT_EQ(list_library_pop_cond(), 0);
        EXPECT_EQ(list_library_pop_cond(), -1) << "no level of the row before is left";
        ASSERT_EQ(choose_row(row), 0);
    }
}

TEST_F(list_main_menu, playlists_open_on_the_first_row)
{
    EXPECT_EQ(choose_row(6), 0);
    EXPECT_EQ(take_shown(), list_playlists);
    EXPECT_EQ(list_playlists->cursor, 0);
}

TEST_F(list_main_menu, settings_open_at_their_top_level)
{
    list_cfg_reset();
    EXPECT_EQ(list_cfg->update(nullptr, list_cfg), 0);
    const texts top = rows_of(list_cfg);
    list_cfg->cursor = 0;
    ASSERT_EQ(choose(list_cfg, 0, 0), 0); /* the values of the first setting */
    ASSERT_NE(list_cfg_cur, nullptr);
    list_cfg->cursor = 2;
    EXPECT_EQ(choose_row(8), 0);
    EXPECT_EQ(take_shown(), list_cfg);
    EXPECT_EQ(list_cfg_cur, nullptr);
    EXPECT_EQ(rows_of(list_cfg), top);
    EXPECT_EQ(list_cfg->cursor, 0);
}

/* ---- the library update ---- */

/* Whoever asked for a redraw before the new rows were there asked too early. */
static int update_and_forget_redraws(view *screen, list *self)
{
    const int result = real_update(screen, self);
    list_screen.redraw = 0;
    return result;
}

TEST_F(list_main_menu, scan_that_succeeds_takes_its_message_down)
{
    write_file("one.m3u", "a.mp3\n");
    const int32_t before = overlay_msg_add("before", 0, 0);
    list_playlists->update = update_and_forget_redraws;
    EXPECT_EQ(choose_row(7), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    list_playlists->update = real_update;
    EXPECT_EQ(the_seen.ended, 1);
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_EQ(rows_of(list_playlists), (texts{"current.m3u", "one.m3u"}));
    EXPECT_EQ(messages_shown(), (texts{"0x0000 |before|"}));
    EXPECT_EQ(overlay_msg_add("after", 0, 0), before + 2) << "it had one of its own";
}

TEST_F(list_main_menu, scan_that_fails_adds_a_red_message_and_leaves_the_first)
{
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(list_main_on_update_library(), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(the_seen.ended, 1);
    EXPECT_EQ(messages_shown(), (texts{scanning, failed}));
    clock_now_ms += 3000;
    messages_expire();
    EXPECT_EQ(messages_shown(), (texts{scanning, failed}));
    clock_now_ms += 1;
    messages_expire();
    EXPECT_EQ(messages_shown(), texts{scanning});
}

TEST_F(list_main_menu, second_request_starts_a_second_scan)
{
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(list_main_on_update_library(), 0);
    EXPECT_EQ(list_main_on_update_library(), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    const texts all = messages_shown();
    EXPECT_EQ(std::count(all.begin(), all.end(), scanning), 2);
    EXPECT_EQ(std::count(all.begin(), all.end(), failed), 2);
}

TEST_F(list_main_menu, scan_that_cannot_start_takes_its_message_down)
{
    const int32_t before = overlay_msg_add("before", 0, 0);
    fault_set("thread_start");
    EXPECT_EQ(list_main_on_update_library(), -1);
    EXPECT_EQ(the_seen.ended, 1);
    EXPECT_EQ(messages_shown(), (texts{"0x0000 |before|"}));
    EXPECT_EQ(overlay_msg_add("after", 0, 0), before + 2) << "it had one of its own";
}
