/* The file browser over real folders. */
#include "lists/lists.h"
#include "lists/record/list.h"
#include "support/compared.h"
#include "support/hung.h"
#include "unit/lists/fake_program.h"

#include "lists/list_files.h"
#include "platform/base/fault.h"

static const hung hang_list_files(list_files, &list_files_record);

class list_files_browser : public lists_test
{
  protected:
    void SetUp() override
    {
        lists_test::SetUp();
        list_screen.redraw = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(list_files->exit(), 0);
        view_list_free(list_files);
        list_files->count = 0;
        lists_test::TearDown();
    }

    /* The row of a text; -1 when it is not shown. */
    int32_t row(const std::string &text)
    {
        const texts rows = rows_of(list_files);
        for (size_t i = 0; i < rows.size(); i++)
            if (rows[i] == text)
                return static_cast<int32_t>(i);
        return -1;
    }
    int choose_row(const std::string &text, int32_t mode)
    {
        EXPECT_GE(row(text), 0) << text;
        return choose(list_files, row(text), mode);
    }
    void music()
    {
        make_dir("sub");
        make_dir("Sub10");
        write_file("sub/x.mp3", "");
        write_file("b.MP3", "");
        write_file("a.ogg", "");
        write_file("c.flac", "");
        write_file("notes.txt", "");
        write_file("list.m3u", "b.MP3\n/elsewhere.mp3\n");
        write_file("broken.mp3", "");
        ASSERT_EQ(list_files->init(), 0);
    }
};

TEST_F(list_files_browser, starts_in_the_music_folder)
{
    music();
    EXPECT_EQ(rows_of(list_files), (texts{"[..]", "[sub]", "[Sub10]", "a.ogg", "b.MP3",
                                          "broken.mp3", "c.flac", "current.m3u", "list.m3u"}));
    EXPECT_EQ(list_files->count, 9u);
    EXPECT_STREQ(list_files->title, "文件");
    EXPECT_STREQ(list_files->subtitle, std::string(folder).substr(0, 99).c_str());
    EXPECT_STREQ(list_files_dpath, folder);
    EXPECT_EQ(list_files->cursor, 0);
}

TEST_F(list_files_browser, makes_the_music_folder_absolute)
{
    make_dir("music");
    str_copy(cfg_library_path, "./music/../music");
    EXPECT_EQ(list_files_set_default_dpath(), 0);
    EXPECT_EQ(list_files_dpath, at("music"));
}

TEST_F(list_files_browser, shows_the_root_when_there_is_no_music_folder)
{
    for (const char *bad : {"missing", "", "/missing/too"}) {
        str_copy(cfg_library_path, bad);
        EXPECT_EQ(list_files_set_default_dpath(), 0);
        EXPECT_STREQ(list_files_dpath, "/");
        EXPECT_STREQ(list_files->subtitle, "/");
        EXPECT_EQ(rows_of(list_files)[0], "[..]"); /* so that no real folder counts as parent */
        EXPECT_GE(row("[usr]"), 1);
    }
    EXPECT_EQ(the_seen.sleeps, 0);
}

TEST_F(list_files_browser, fails_after_a_moment_when_not_even_the_root_can_be_listed)
{
    music();
    const texts rows = rows_of(list_files);
    list_files->cursor = 3;
    fault_set("file_list_dir");
    EXPECT_EQ(list_files_set_default_dpath(), -1);
    fault_set(nullptr);
    EXPECT_EQ(the_seen.sleeps, 1);
    EXPECT_EQ(list_files->cursor, 0);
    EXPECT_EQ(rows_of(list_files), rows);
    for (int32_t i = -1; i < 9; i++)
        EXPECT_EQ(choose(list_files, i, 0), 0); /* nothing stands behind the rows */
    EXPECT_TRUE(the_seen.begun.empty());
    EXPECT_EQ(list_files_set_default_dpath(), 0);
    EXPECT_EQ(choose_row("b.MP3", 0), -1);
}

TEST_F(list_files_browser, stays_at_the_root_when_going_up_from_it)
{
    str_copy(cfg_library_path, "/");
    ASSERT_EQ(list_files_set_default_dpath(), 0);
    const texts rows = rows_of(list_files);
    EXPECT_EQ(choose(list_files, 0, 0), 0);
    EXPECT_EQ(choose(list_files, -1, 1), 0);
    EXPECT_STREQ(list_files_dpath, "/");
    EXPECT_EQ(rows_of(list_files), rows);
    EXPECT_EQ(list_files->cursor, 0);
}

TEST_F(list_files_browser, enters_a_folder_and_comes_back_to_its_row)
{
    music();
    EXPECT_EQ(choose_row("[sub]", 0), 0);
    EXPECT_EQ(rows_of(list_files), (texts{"[..]", "x.mp3"}));
    EXPECT_EQ(list_files_dpath, at("sub"));
    EXPECT_EQ(list_files->cursor, 0);
    EXPECT_EQ(list_screen.redraw, 1);

    EXPECT_EQ(choose(list_files, 0, 0), 0); /* the parent's row */
    EXPECT_STREQ(list_files_dpath, folder);
    EXPECT_EQ(list_files->cursor, row("[sub]"));

    EXPECT_EQ(choose_row("[Sub10]", 1), 0);
    list_screen.redraw = 0;
    EXPECT_EQ(choose(list_files, -1, 1), 0); /* the back request */
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_STREQ(list_files_dpath, folder);
    EXPECT_EQ(list_files->cursor, row("[Sub10]"));
}

TEST_F(list_files_browser, goes_up_from_the_parent_row_in_any_mode)
{
    music();
    for (const int32_t mode : {0, 1, 2}) {
        EXPECT_EQ(choose_row("[sub]", 0), 0);
        EXPECT_EQ(choose(list_files, 0, mode), 0);
        EXPECT_STREQ(list_files_dpath, folder);
    }
    EXPECT_EQ(queued_paths(), texts{});
}

TEST_F(list_files_browser, ignores_mode_three_and_rows_it_does_not_have)
{
    music();
    for (int32_t i = -1; i < 10; i++)
        EXPECT_EQ(choose(list_files, i, 3), 0);
    for (const int32_t bad : {9, -2, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(list_files, bad, 0), 0);
    EXPECT_STREQ(list_files_dpath, folder);
    EXPECT_TRUE(the_seen.begun.empty());
}

TEST_F(list_files_browser, leaves_at_once_with_the_back_key)
{
    music();
    EXPECT_EQ(press(list_files, 0x200), -1);
    EXPECT_EQ(take_shown(), list_main);
    EXPECT_EQ(main_menu.cursor, 3); /* untouched */
    EXPECT_EQ(press(list_files, 0x4), 0);
    input_key.pressed = 0x200;
    EXPECT_EQ(list_files->input(&list_screen, list_files), 0); /* no event */
}

TEST_F(list_files_browser, plays_and_queues_a_file)
{
    music();
    EXPECT_EQ(choose_row("b.MP3", 0), -1);
    EXPECT_EQ(the_seen.begun, texts{at("b.MP3")});
    EXPECT_EQ(the_seen.selected, (std::vector<view *>{view_play}));
    EXPECT_EQ(queued_paths(), texts{at("b.MP3")});
    EXPECT_EQ(read_file("current.m3u"), at("b.MP3") + "\r\n");
    EXPECT_EQ(list_cur_playlist->count, 1u);

    EXPECT_EQ(choose_row("b.MP3", 1), -1); /* again: plays, no second entry */
    EXPECT_EQ(the_seen.begun.size(), 2u);
    EXPECT_EQ(queued_paths(), texts{at("b.MP3")});
}

TEST_F(list_files_browser, queues_a_file_in_mode_two_and_stays)
{
    music();
    EXPECT_EQ(choose_row("a.ogg", 2), 0);
    EXPECT_EQ(the_seen.begun, texts{at("a.ogg")});
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_EQ(queued_paths(), texts{at("a.ogg")});
}

TEST_F(list_files_browser, queues_an_unplayable_file_only_in_mode_two)
{
    music();
    EXPECT_EQ(choose_row("broken.mp3", 0), 0);
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_EQ(choose_row("broken.mp3", 2), 0);
    EXPECT_EQ(queued_paths(), texts{at("broken.mp3")});
}

TEST_F(list_files_browser, appends_a_playlist_and_plays_its_first_file)
{
    music();
    (void)list_cur_playlist_add("/elsewhere.mp3", nullptr, nullptr);
    EXPECT_EQ(choose_row("list.m3u", 0), -1);
    EXPECT_EQ(the_seen.begun, texts{at("b.MP3")});
    EXPECT_EQ(the_seen.selected, (std::vector<view *>{view_play}));
    EXPECT_EQ(queued_paths(), (texts{"/elsewhere.mp3", at("b.MP3")}));

    EXPECT_EQ(choose_row("list.m3u", 2), 0);
    EXPECT_EQ(the_seen.begun, (texts{at("b.MP3"), at("b.MP3")}));
    EXPECT_EQ(the_seen.selected.size(), 1u) << "in the background";
    EXPECT_EQ(queued_paths().size(), 2u);
}

TEST_F(list_files_browser, asks_for_nothing_playable_with_a_playlist_without_files)
{
    write_file("none.m3u", "#EXTM3U\n");
    ASSERT_EQ(list_files->init(), 0);
    EXPECT_EQ(choose_row("none.m3u", 0), 0);
    EXPECT_EQ(choose_row("none.m3u", 2), 0);
    EXPECT_EQ(the_seen.begun, (texts{"", ""})); /* which stops the track that plays */
    EXPECT_TRUE(the_seen.selected.empty());
}

TEST_F(list_files_browser, does_nothing_with_a_playlist_that_is_gone)
{
    music();
    ASSERT_EQ(unlink("list.m3u"), 0);
    EXPECT_EQ(choose_row("list.m3u", 0), 0);
    EXPECT_TRUE(the_seen.begun.empty());
}

TEST_F(list_files_browser, stays_when_a_playlists_first_file_does_not_play)
{
    write_file("bad.m3u", "broken.mp3\n");
    ASSERT_EQ(list_files->init(), 0);
    EXPECT_EQ(choose_row("bad.m3u", 0), 0);
    EXPECT_EQ(queued_paths(), texts{at("broken.mp3")});
    EXPECT_TRUE(the_seen.selected.empty());
}

TEST_F(list_files_browser, queues_a_folder_deepest_first)
{
    make_dir("m");
    make_dir("m/a");
    make_dir("m/a/deep");
    make_dir("m/z");
    write_file("m/b.mp3", "");
    write_file("m/a/x.mp3", "");
    write_file("m/a/2.mp3", "");
    write_file("m/a/10.mp3", "");
    write_file("m/a/deep/d.flac", "");
    write_file("m/z/y.ogg", "");
    write_file("m/z/skipped.m3u", "/never.mp3\n");
    write_file("m/z/skipped.txt", "");
    ASSERT_EQ(list_files->init(), 0);
    EXPECT_EQ(choose_row("[m]", 2), 0);
    EXPECT_EQ(queued_paths(), (texts{at("m/a/deep/d.flac"), at("m/a/2.mp3"), at("m/a/10.mp3"),
                                     at("m/a/x.mp3"), at("m/z/y.ogg"), at("m/b.mp3")}));
    EXPECT_EQ(the_seen.begun, texts{at("m/a/deep/d.flac")});
    EXPECT_STREQ(list_files_dpath, folder); /* stays */
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_EQ(list_cur_playlist->count, 6u);

    EXPECT_EQ(choose_row("[m]", 2), 0); /* again: plays from its first file, queues nothing */
    EXPECT_EQ(the_seen.begun.size(), 2u);
    EXPECT_EQ(list_cur_playlist->count, 6u);
}

TEST_F(list_files_browser, plays_nothing_for_a_folder_without_music)
{
    make_dir("empty");
    ASSERT_EQ(list_files->init(), 0);
    EXPECT_EQ(choose_row("[empty]", 2), 0);
    EXPECT_TRUE(the_seen.begun.empty());
}

TEST_F(list_files_browser, queues_each_file_of_a_circle_of_links_once)
{
    make_dir("m");
    make_dir("m/a");
    write_file("m/a/x.mp3", "");
    ASSERT_EQ(symlink("..", "m/a/up"), 0);
    ASSERT_EQ(symlink(".", "m/self"), 0);
    ASSERT_EQ(symlink("missing", "m/dangling"), 0);
    char first[512] = "";
    EXPECT_EQ(list_files_add_dir(at("m").c_str(), first, sizeof first), 0);
    EXPECT_EQ(queued_paths(), texts{at("m/a/x.mp3")});
    EXPECT_EQ(first, at("m/a/x.mp3"));
}

TEST_F(list_files_browser, enters_and_queues_folders_with_paths_of_any_length)
{
    std::string below = folder;
    for (int i = 0; i < 6; i++) {
        below += "/" + std::string(200, static_cast<char>('a' + i));
        make_dir(below);
    }
    ASSERT_GT(below.size(), 1200u);
    write_file(below + "/x.mp3", "");
    ASSERT_EQ(list_files->init(), 0);
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(choose_row("[" + std::string(200, static_cast<char>('a' + i)) + "]", 0), 0);
    EXPECT_EQ(list_files_dpath, below);
    EXPECT_EQ(choose_row("x.mp3", 2), 0);
    EXPECT_EQ(queued_paths(), texts{below + "/x.mp3"});
    EXPECT_EQ(list_files_select_file((below + "/x.mp3").c_str()), 0);
    EXPECT_EQ(choose(list_files, -1, 0), 0);
    EXPECT_EQ(list_files_dpath, below.substr(0, below.size() - 201));
    EXPECT_EQ(choose_row("[" + std::string(200, 'f') + "]", 2), 0);
    EXPECT_EQ(the_seen.begun.back(), below + "/x.mp3");
    /* The playlist has it again at the next start. */
    EXPECT_EQ(list_cur_playlist->exit(), 0);
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(queued_paths(), texts{below + "/x.mp3"});
}

TEST_F(list_files_browser, lets_a_key_end_a_queueing_that_takes_long)
{
    for (int i = 0; i < 30; i++) {
        make_dir("d" + std::to_string(i));
        write_file("d" + std::to_string(i) + "/x.mp3", "");
    }
    ASSERT_EQ(list_files->init(), 0);
    const struct {
        uint32_t key;
        size_t most;
    } cases[] = {{key_back, 10}, {key_vol_up, 30}, {key_quit, 10}};
    for (const auto &it : cases) {
        (void)list_cur_playlist->init();
        clock_step_ms = 60;
        key_to_come = it.key;
        key_looks_before = 5;
        EXPECT_EQ(list_files_add_dir(folder, nullptr, 0), 0);
        EXPECT_GE(queued_paths().size(), 1u) << it.key;
        EXPECT_LE(queued_paths().size(), it.most) << it.key;
        EXPECT_EQ(program_running, it.key != key_quit);
    }
    program_running = 1;
    clock_step_ms = 0;
    key_to_come = key_back;
    key_looks_before = 0;
    (void)list_cur_playlist->init();
    EXPECT_EQ(list_files_add_dir(folder, nullptr, 0), 0);
    EXPECT_EQ(queued_paths().size(), 30u) << "no time has passed";
    key_to_come = 0;
}

TEST_F(list_files_browser, ends_queueing_with_the_program_and_keeps_what_it_has)
{
    make_dir("m");
    write_file("m/x.mp3", "");
    write_file("y.mp3", "");
    ASSERT_EQ(list_files->init(), 0);
    program_running = 0;
    EXPECT_EQ(choose_row("[m]", 2), 0);
    program_running = 1;
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_EQ(choose_row("[m]", 2), 0);
    EXPECT_EQ(queued_paths(), texts{at("m/x.mp3")});
}

TEST_F(list_files_browser, queues_nothing_that_the_kernel_makes_up)
{
    make_dir("m");
    write_file("m/x.mp3", "");
    ASSERT_EQ(symlink("/proc", "m/processes"), 0);
    ASSERT_EQ(symlink("/sys", "m/system"), 0);
    EXPECT_EQ(list_files_add_dir(at("m").c_str(), nullptr, 0), 0);
    EXPECT_EQ(queued_paths(), texts{at("m/x.mp3")});
}

TEST_F(list_files_browser, refuses_to_queue_a_folder_that_is_not_there)
{
    char first[512] = "";
    EXPECT_NE(list_files_add_dir(at("missing").c_str(), first, sizeof first), 0);
    EXPECT_STREQ(first, "");
    write_file("file.mp3", "");
    EXPECT_NE(list_files_add_dir(at("file.mp3").c_str(), first, sizeof first), 0);
    EXPECT_EQ(list_files_add_dir(folder, nullptr, 0), 0); /* nobody has to ask for the first */
    EXPECT_EQ(queued_paths(), texts{at("file.mp3")});
}

TEST_F(list_files_browser, keeps_its_rows_but_acts_on_none_after_a_folder_would_not_open)
{
    music();
    const texts rows = rows_of(list_files);
    const int32_t sub = row("[sub]");
    ASSERT_EQ(file_remove("sub"), 0);
    EXPECT_EQ(choose(list_files, sub, 0), -1);
    EXPECT_EQ(rows_of(list_files), rows);
    EXPECT_STREQ(list_files_dpath, folder);
    for (int32_t i = -1; i < 9; i++)
        for (const int32_t mode : {0, 1, 2})
            EXPECT_EQ(choose(list_files, i, mode), 0); /* nothing stands behind the rows */
    EXPECT_TRUE(the_seen.begun.empty());

    EXPECT_EQ(list_files_set_default_dpath(), 0); /* the next successful change revives it */
    EXPECT_EQ(choose_row("b.MP3", 0), -1);
}

TEST_F(list_files_browser, opens_at_a_file)
{
    music();
    list_screen.redraw = 0;
    EXPECT_EQ(list_files_select_file(at("sub/x.mp3").c_str()), 0);
    EXPECT_EQ(list_files_dpath, at("sub"));
    EXPECT_EQ(list_files->cursor, 1);
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_STREQ(list_files->subtitle, at("sub").substr(0, 99).c_str());
}

TEST_F(list_files_browser, opens_at_a_file_named_by_a_relative_path)
{
    music();
    EXPECT_EQ(list_files_select_file("b.MP3"), 0);
    EXPECT_STREQ(list_files_dpath, folder);
    EXPECT_EQ(list_files->cursor, row("b.MP3"));
    EXPECT_EQ(choose(list_files, -1, 1), 0); /* and "up" leaves the folder */
    EXPECT_EQ(list_files_dpath, std::string(start));

    EXPECT_EQ(list_files_select_file("sub/x.mp3"), 0);
    EXPECT_EQ(list_files_dpath, at("sub"));
}

TEST_F(list_files_browser, keeps_its_texts_when_a_file_to_open_at_is_gone)
{
    music();
    const texts rows = rows_of(list_files);
    const std::string too_long = "/" + std::string(600, 'x') + "/y.mp3";
    for (const std::string &bad :
         {at("gone.mp3"), at("nowhere/x.mp3"), at("notes.txt"), too_long, std::string("")}) {
        EXPECT_EQ(list_files_select_file(bad.c_str()), -1) << bad;
        EXPECT_EQ(rows_of(list_files), rows);
        EXPECT_EQ(choose(list_files, -1, 1), 0);
        EXPECT_STREQ(list_files_dpath, folder);
    }
}

TEST_F(list_files_browser, carries_odd_names_from_the_folder_to_the_player)
{
    make_dir("m");
    const texts names = {" blank.mp3", "#hash.mp3",   "-dash.mp3",
                         "100%s.mp3",  "line\nx.mp3", std::string(251, 'n') + ".mp3",
                         "q'u\"o.mp3", "\xff\xfe.mp3"};
    for (const std::string &name : names)
        write_file("m/" + name, "");
    str_copy(cfg_library_path, "m");
    ASSERT_EQ(list_files->init(), 0);
    EXPECT_EQ(list_files->count, names.size() + 1);
    for (const std::string &name : names) {
        EXPECT_EQ(choose_row(name, 0), -1) << name;
        EXPECT_EQ(the_seen.begun.back(), at("m/" + name));
        EXPECT_EQ(queued_paths().back(), at("m/" + name));
    }
}

TEST_F(list_files_browser, opens_a_folder_of_five_thousand_entries_without_comparing_each_with_each)
{
    make_dir("big");
    for (int i = 0; i < 5000; i++)
        write_file("big/" + std::to_string(i) + ".mp3", "");
    ASSERT_EQ(list_files->init(), 0);
    const int64_t before = texts_compared();
    EXPECT_EQ(choose_row("[big]", 0), 0);
    EXPECT_EQ(list_files->count, 5001u);
    EXPECT_EQ(rows_of(list_files)[11], "10.mp3");
    EXPECT_LT(texts_compared() - before, 5000 * 20) << "each with each would be 12 million";
}
