/* The playlists that the scan found. */
#include "lists/lists.h"
#include "lists/record/list.h"
#include "support/hung.h"
#include "unit/lists/fake_program.h"

#include <atomic>
#include <thread>

static const hung hang_list_playlists(list_playlists, &list_playlists_record);

class list_playlists_list : public lists_test
{
  protected:
    void SetUp() override
    {
        lists_test::SetUp();
        ASSERT_EQ(library_open(), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(list_playlists->exit(), 0);
        view_list_free(list_playlists);
        lists_test::TearDown();
    }
    void found(const texts &paths)
    {
        for (const std::string &path : paths)
            sql("INSERT INTO zervp_playlists(path) VALUES('" + path + "');");
        EXPECT_EQ(list_playlists->update(nullptr, nullptr), 0);
    }
};

TEST_F(list_playlists_list, shows_what_was_found_in_the_order_it_was_found)
{
    EXPECT_EQ(list_playlists->init(), 0);
    EXPECT_EQ(list_playlists->count, 0u);
    EXPECT_EQ(list_playlists->items, nullptr);
    EXPECT_STREQ(list_playlists->title, "播放列表");
    EXPECT_STREQ(list_playlists->subtitle, "");
    found({"/m/z.m3u", "/m/sub/A.M3U", "/m/b.m3u"});
    EXPECT_EQ(rows_of(list_playlists), (texts{"z.m3u", "A.M3U", "b.m3u"}));
}

TEST_F(list_playlists_list, changes_only_when_it_is_rebuilt)
{
    found({"/m/a.m3u"});
    sql("DELETE FROM zervp_playlists;");
    EXPECT_EQ(rows_of(list_playlists), texts{"a.m3u"});
    EXPECT_EQ(list_playlists->update(nullptr, nullptr), 0);
    EXPECT_EQ(rows_of(list_playlists), texts{});
}

TEST_F(list_playlists_list, is_empty_without_a_library)
{
    found({"/m/a.m3u"});
    EXPECT_EQ(library_close(), 0);
    EXPECT_EQ(list_playlists->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_playlists->count, 0u);
    EXPECT_EQ(list_playlists->items, nullptr);
    EXPECT_EQ(choose(list_playlists, 0, 0), 0);
}

TEST_F(list_playlists_list, goes_back_to_its_row_of_the_main_menu)
{
    EXPECT_EQ(press(list_playlists, 0x200), -1);
    EXPECT_EQ(main_menu.cursor, 6);
    EXPECT_EQ(take_shown(), list_main);
    for (const int32_t mode : {0, 1}) {
        main_menu.cursor = 3;
        EXPECT_EQ(choose(list_playlists, -1, mode), -1);
        EXPECT_EQ(main_menu.cursor, 6);
        EXPECT_EQ(take_shown(), list_main);
    }

    main_menu.cursor = 3;
    EXPECT_EQ(choose(list_playlists, -1, 2), 0);
    EXPECT_EQ(choose(list_playlists, -1, 3), 0);
    EXPECT_EQ(press(list_playlists, 0x2000), 0);
    input_key.pressed = 0x200;
    EXPECT_EQ(list_playlists->input(&list_screen, list_playlists), 0); /* no event */
    EXPECT_EQ(main_menu.cursor, 3);
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(list_playlists_list, queues_a_playlist_and_plays_its_first_file)
{
    write_file("p.m3u", "#EXTM3U\r\na.mp3\r\nb.mp3\r\n");
    found({at("p.m3u")});
    (void)list_cur_playlist_add("/other.mp3", nullptr, nullptr);
    EXPECT_EQ(choose(list_playlists, 0, 0), -1);
    EXPECT_EQ(queued_paths(), (texts{"/other.mp3", at("a.mp3"), at("b.mp3")}));
    EXPECT_EQ(the_seen.begun, texts{at("a.mp3")});
    EXPECT_EQ(the_seen.selected, (std::vector<view *>{view_play}));

    EXPECT_EQ(choose(list_playlists, 0, 1), -1); /* again: its first file starts again */
    EXPECT_EQ(queued_paths().size(), 3u);
    EXPECT_EQ(the_seen.begun, (texts{at("a.mp3"), at("a.mp3")}));
}

TEST_F(list_playlists_list, stays_in_mode_two)
{
    write_file("p.m3u", "a.mp3\n");
    found({at("p.m3u")});
    EXPECT_EQ(choose(list_playlists, 0, 2), 0);
    EXPECT_EQ(the_seen.begun, texts{at("a.mp3")});
    EXPECT_TRUE(the_seen.selected.empty());
}

TEST_F(list_playlists_list, does_nothing_with_a_playlist_that_was_deleted)
{
    found({at("gone.m3u")});
    for (const int32_t mode : {0, 1, 2, 3})
        EXPECT_EQ(choose(list_playlists, 0, mode), 0);
    EXPECT_TRUE(the_seen.begun.empty());
    EXPECT_EQ(rows_of(list_playlists), texts{"gone.m3u"});
}

TEST_F(list_playlists_list, stops_what_plays_for_a_playlist_without_files)
{
    write_file("none.m3u", "# nothing\n\n");
    found({at("none.m3u")});
    EXPECT_EQ(choose(list_playlists, 0, 0), 0);
    EXPECT_EQ(the_seen.begun, texts{""});
    EXPECT_TRUE(the_seen.selected.empty());
}

TEST_F(list_playlists_list, stays_when_the_first_file_does_not_play)
{
    write_file("p.m3u", "broken.mp3\na.mp3\n");
    found({at("p.m3u")});
    EXPECT_EQ(choose(list_playlists, 0, 0), 0);
    EXPECT_EQ(queued_paths().size(), 2u);
    EXPECT_TRUE(the_seen.selected.empty());
}

TEST_F(list_playlists_list, ignores_rows_it_does_not_have)
{
    write_file("p.m3u", "a.mp3\n");
    found({at("p.m3u")});
    for (const int32_t row : {1, -2, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(list_playlists, row, 0), 0);
    EXPECT_TRUE(the_seen.begun.empty());
}

TEST_F(list_playlists_list, is_harmless_after_its_exit)
{
    write_file("p.m3u", "a.mp3\n");
    found({at("p.m3u")});
    EXPECT_EQ(list_playlists->exit(), 0);
    EXPECT_EQ(choose(list_playlists, 0, 0), 0);
    EXPECT_EQ(list_playlists->exit(), 0);
}

/* A scan that ends as the program does rebuilds the list of a library that is being closed. */
TEST_F(list_playlists_list, is_rebuilt_by_another_thread_while_the_library_closes)
{
    found({"/m/a.m3u"});
    for (int i = 0; i < 20; i++) {
        std::atomic<int> rebuilt{0};
        std::thread scan([&] {
            while (rebuilt < 5 || library_handle()) {
                (void)list_playlists->update(nullptr, nullptr);
                ++rebuilt;
            }
        });
        while (rebuilt == 0)
            std::this_thread::yield();
        EXPECT_EQ(library_close(), 0);
        scan.join();
        EXPECT_EQ(list_playlists->update(nullptr, nullptr), 0);
        EXPECT_EQ(list_playlists->count, 0u);
        ASSERT_EQ(library_open(), 0);
    }
}

/* The scan's thread rebuilds the list while it is shown and used. */
TEST_F(list_playlists_list, is_rebuilt_by_another_thread_while_it_is_used)
{
    write_file("p.m3u", "a.mp3\n");
    write_file("q.m3u", "b.mp3\n");
    found({at("p.m3u"), at("q.m3u")});
    std::atomic<bool> running{true};
    std::thread scan([&] {
        for (int i = 0; running; i++) {
            sql(i % 2 ? "INSERT INTO zervp_playlists(path) VALUES('" + at("p.m3u") + "');"
                      : "DELETE FROM zervp_playlists WHERE path='" + at("p.m3u") + "';");
            (void)list_playlists->update(nullptr, nullptr);
        }
    });
    for (int i = 0; i < 200; i++) {
        {
            sys_guard guard(list_lock); /* as the screen does while it draws */
            for (const std::string &row : rows_of(list_playlists))
                EXPECT_TRUE(row == "p.m3u" || row == "q.m3u");
        }
        (void)choose(list_playlists, i % 2, 2);
    }
    running = false;
    scan.join();
    for (const std::string &path : the_seen.begun)
        EXPECT_TRUE(path == at("a.mp3") || path == at("b.mp3")) << path;
}
