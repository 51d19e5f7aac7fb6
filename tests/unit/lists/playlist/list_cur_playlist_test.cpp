/* The current playlist: adding, rows, choosing, stepping. Its file has a test of its own. */
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "support/compared.h"
#include "unit/lists/fake_program.h"

#include "lists/playlist/list_cur_playlist_entries.h"
#include "support/seed.h"

#include <algorithm>
#include <map>
#include <thread>

class list_cur_playlist_model : public lists_test
{
  protected:
    void add(const texts &paths)
    {
        for (const std::string &path : paths)
            EXPECT_EQ(list_cur_playlist_add(path.c_str(), nullptr, nullptr), 0) << path;
        EXPECT_EQ(list_cur_playlist->update(nullptr, nullptr), 0);
    }
    /* "0", "1", ... as entries. */
    void add_count(int count)
    {
        texts paths;
        for (int i = 0; i < count; i++)
            paths.push_back(std::to_string(i));
        add(paths);
    }
    /* What is asked to play when stepping from one entry. */
    std::string step(const std::string &from, int32_t delta)
    {
        set_playing(from.c_str());
        the_seen = {};
        EXPECT_EQ(list_cur_playlist_go(delta), 0);
        EXPECT_EQ(the_seen.begun.size(), 1u);
        return the_seen.begun.empty() ? "" : the_seen.begun[0];
    }
};

TEST_F(list_cur_playlist_model, starts_empty_with_an_empty_file)
{
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_EQ(list_cur_playlist->count, 0u);
    EXPECT_EQ(list_cur_playlist->items, nullptr);
    EXPECT_STREQ(list_cur_playlist->title, "Current Playlist");
    EXPECT_STREQ(list_cur_playlist->subtitle, "Current Playlist (0 曲目)");
    EXPECT_EQ(read_file("current.m3u"), "");
}

TEST_F(list_cur_playlist_model, refuses_a_path_it_has_and_keeps_its_text)
{
    EXPECT_EQ(list_cur_playlist_add("/A.mp3", "N", "A"), 0);
    EXPECT_EQ(list_cur_playlist_add("/A.mp3", "other", "one"), -1);
    EXPECT_EQ(list_cur_playlist_add("/a.mp3", nullptr, nullptr), 0); /* case tells them apart */
    EXPECT_EQ(queued_names(), (texts{"N (A)", "a.mp3"}));
    EXPECT_EQ(queued_paths(), (texts{"/A.mp3", "/a.mp3"}));
}

TEST_F(list_cur_playlist_model, shows_what_it_was_given)
{
    (void)list_cur_playlist_add("/m/1.mp3", "N", "A");
    (void)list_cur_playlist_add("/m/2.mp3", "N", nullptr);
    (void)list_cur_playlist_add("/m/3.mp3", nullptr, "A");
    (void)list_cur_playlist_add("/m/4.mp3", nullptr, nullptr);
    (void)list_cur_playlist_add("relative.mp3", nullptr, nullptr);
    EXPECT_EQ(queued_names(), (texts{"N (A)", "N", "3.mp3", "4.mp3", "relative.mp3"}));
}

TEST_F(list_cur_playlist_model, asks_the_library_for_what_it_was_not_given)
{
    ASSERT_EQ(library_open(), 0);
    add_track("/m/x.mp3", "Song", "Band", "Album", "Genre");
    add_track("/m/y.mp3", "Song", "Band", "Album", "Genre");
    add_track("/m/z.mp3", "Song", "Band", "Album", "Genre");
    (void)list_cur_playlist_add("/m/x.mp3", nullptr, nullptr);
    (void)list_cur_playlist_add("/m/y.mp3", "Mine", nullptr);
    (void)list_cur_playlist_add("/m/z.mp3", nullptr, "Me");
    (void)list_cur_playlist_add("/m/unknown.mp3", nullptr, nullptr);
    EXPECT_EQ(queued_names(), (texts{"Song (Band)", "Mine (Band)", "Song (Me)", "unknown.mp3"}));
}

TEST_F(list_cur_playlist_model, quotes_paths_for_the_library)
{
    ASSERT_EQ(library_open(), 0);
    const char *odd = "/m/it's \"100%\" \xff; DROP TABLE zervp_tracks;--.mp3";
    EXPECT_EQ(list_cur_playlist_add(odd, nullptr, nullptr), 0);
    EXPECT_EQ(queued_paths(), texts{odd});
    add_track("/m/still.mp3", "Still", "Here", "A", "G");
    (void)list_cur_playlist_add("/m/still.mp3", nullptr, nullptr);
    EXPECT_EQ(queued_names()[1], "Still (Here)");
}

TEST_F(list_cur_playlist_model, cuts_a_display_text_at_1023_bytes)
{
    const std::string name(2000, 'n');
    EXPECT_EQ(list_cur_playlist_add("/a.mp3", name.c_str(), "A"), 0);
    EXPECT_EQ(queued_names()[0], std::string(1023, 'n'));
}

TEST_F(list_cur_playlist_model, mirrors_its_entries_in_rows_and_file)
{
    add({"/a.mp3", "/b.mp3"});
    EXPECT_EQ(rows_of(list_cur_playlist), (texts{"a.mp3", "b.mp3"}));
    EXPECT_EQ(list_cur_playlist->count, 2u);
    EXPECT_STREQ(list_cur_playlist->subtitle, "Current Playlist (2 曲目)");
    EXPECT_EQ(read_file("current.m3u"), "/a.mp3\r\n/b.mp3\r\n");
}

TEST_F(list_cur_playlist_model, leaves_rows_and_file_alone_until_the_update)
{
    (void)list_cur_playlist_add("/a.mp3", nullptr, nullptr);
    EXPECT_EQ(list_cur_playlist->count, 0u);
    EXPECT_EQ(read_file("current.m3u"), "");
}

TEST_F(list_cur_playlist_model, puts_the_cursor_on_a_path)
{
    EXPECT_EQ(list_cur_playlist_select("/a.mp3"), -1); /* empty */
    add({"/a.mp3", "/b.mp3"});
    EXPECT_EQ(list_cur_playlist_select("/b.mp3"), 0);
    EXPECT_EQ(list_cur_playlist->cursor, 1);
    EXPECT_EQ(list_cur_playlist_select("/c.mp3"), -1);
    EXPECT_EQ(list_cur_playlist->cursor, 1);
}

TEST_F(list_cur_playlist_model, goes_back_to_the_main_menu)
{
    EXPECT_EQ(press(list_cur_playlist, 0x200), -1);
    EXPECT_EQ(take_shown(), list_main);
    EXPECT_EQ(main_menu.cursor, 0);

    main_menu.cursor = 3;
    EXPECT_EQ(choose(list_cur_playlist, -1, 1), -1);
    EXPECT_EQ(take_shown(), list_main);
    EXPECT_EQ(main_menu.cursor, 0);
}

TEST_F(list_cur_playlist_model, takes_no_key_without_an_event)
{
    input_key.pressed = 0x200;
    EXPECT_EQ(list_cur_playlist->input(&list_screen, list_cur_playlist), 0);
    EXPECT_EQ(press(list_cur_playlist, 0x2000), 0);
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(list_cur_playlist_model, plays_a_chosen_row)
{
    add({"/a.mp3", "/b.mp3"});
    EXPECT_EQ(choose(list_cur_playlist, 1, 0), -1);
    EXPECT_EQ(choose(list_cur_playlist, 0, 1), -1);
    EXPECT_EQ(the_seen.begun, (texts{"/b.mp3", "/a.mp3"}));
    EXPECT_EQ(the_seen.selected, (std::vector<view *>{view_play, view_play}));
}

TEST_F(list_cur_playlist_model, stays_when_a_row_does_not_play)
{
    add({"/broken.mp3"});
    EXPECT_EQ(choose(list_cur_playlist, 0, 0), 0);
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_EQ(queued_paths(), texts{"/broken.mp3"}); /* it stays queued */
}

TEST_F(list_cur_playlist_model, ignores_rows_it_does_not_have)
{
    add({"/a.mp3"});
    for (const int32_t row : {1, 2, -2, INT32_MAX, INT32_MIN})
        for (int32_t mode = 0; mode < 4; mode++)
            EXPECT_EQ(choose(list_cur_playlist, row, mode), 0);
    EXPECT_TRUE(the_seen.begun.empty());
    EXPECT_EQ(queued_paths(), texts{"/a.mp3"});
}

TEST_F(list_cur_playlist_model, removes_a_row)
{
    add({"/a.mp3", "/b.mp3", "/c.mp3"});
    list_cur_playlist->cursor = 2;
    EXPECT_EQ(choose(list_cur_playlist, 2, 2), 0);
    EXPECT_EQ(list_cur_playlist->cursor, 1); /* up by one at the end */
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_EQ(rows_of(list_cur_playlist), (texts{"a.mp3", "b.mp3"}));
    EXPECT_EQ(read_file("current.m3u"), "/a.mp3\r\n/b.mp3\r\n");

    list_cur_playlist->cursor = 0;
    EXPECT_EQ(choose(list_cur_playlist, 0, 2), 0);
    EXPECT_EQ(list_cur_playlist->cursor, 0);
    EXPECT_EQ(queued_paths(), texts{"/b.mp3"});

    EXPECT_EQ(choose(list_cur_playlist, 0, 2), 0);
    EXPECT_EQ(list_cur_playlist->cursor, -1);
    EXPECT_EQ(list_cur_playlist->items, nullptr);
    EXPECT_EQ(read_file("current.m3u"), "");
}

TEST_F(list_cur_playlist_model, clears_everything)
{
    add({"/a.mp3", "/b.mp3"});
    EXPECT_EQ(choose(list_cur_playlist, 0, 3), 0);
    EXPECT_EQ(list_cur_playlist->cursor, -1);
    EXPECT_EQ(list_cur_playlist->count, 0u);
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_STREQ(list_cur_playlist->subtitle, "Current Playlist (0 曲目)");
    EXPECT_EQ(read_file("current.m3u"), "");
    add({"/a.mp3"}); /* what was cleared can be queued again */
    EXPECT_EQ(list_cur_playlist->cursor, -1);
}

TEST_F(list_cur_playlist_model, steps_in_order_with_unsigned_arithmetic)
{
    /* One before the first is 2^32 - 1 modulo the count. */
    const int previous_of_first[] = {0, 1, 0, 3, 0, 3, 3, 7, 3, 5, 3, 3, 8, 3, 0, 15, 0, 3, 5, 15};
    for (int count = 1; count <= 20; count++) {
        EXPECT_EQ(list_cur_playlist->exit(), 0);
        ASSERT_EQ(unlink("current.m3u"), 0);
        ASSERT_EQ(list_cur_playlist->init(), 0);
        add_count(count);
        EXPECT_EQ(step("0", -1), std::to_string(previous_of_first[count - 1])) << count;
        EXPECT_EQ(step(std::to_string(count - 1), 1), "0") << count;
        if (count > 2) {
            EXPECT_EQ(step("2", -1), "1");
            EXPECT_EQ(step("1", 1), "2");
        }
    }
}

TEST_F(list_cur_playlist_model, repeats_in_repeat_order_and_in_any_unknown_one)
{
    add_count(3);
    for (const int32_t order : {1, 3, -1, 99}) {
        cfg_playback_order = order;
        EXPECT_EQ(step("1", 1), "1");
        EXPECT_EQ(step("1", -1), "1");
    }
}

TEST_F(list_cur_playlist_model, never_draws_the_same_track_twice_in_a_row)
{
    cfg_playback_order = 2;
    add_count(1);
    EXPECT_EQ(step("0", 1), "0");
    add({"1"});
    for (int i = 0; i < 20; i++) {
        EXPECT_EQ(step("0", 1), "1");
        EXPECT_EQ(step("1", 1), "0");
    }
    add({"2", "3", "4"});
    std::map<std::string, int> drawn;
    std::string now = "0";
    for (int i = 0; i < 400; i++) {
        const std::string next = step(now, 1);
        EXPECT_NE(next, now);
        drawn[next]++;
        now = next;
    }
    EXPECT_EQ(drawn.size(), 5u); /* each of five comes up in 400 draws */
}

TEST_F(list_cur_playlist_model, steps_nowhere_without_a_place_to_step_from)
{
    EXPECT_EQ(list_cur_playlist_go(1), -1); /* nothing played yet */
    set_playing("/a.mp3");
    EXPECT_EQ(list_cur_playlist_go(1), -1); /* empty playlist */
    add({"/b.mp3"});
    EXPECT_EQ(list_cur_playlist_go(1), -1); /* plays what is not queued */
    EXPECT_TRUE(the_seen.begun.empty());
}

TEST_F(list_cur_playlist_model, has_stepped_even_when_the_next_file_does_not_play)
{
    add({"/a.mp3", "/broken.mp3"});
    set_playing("/a.mp3");
    EXPECT_EQ(list_cur_playlist_go(1), 0);
    EXPECT_EQ(the_seen.begun, texts{"/broken.mp3"});
}

TEST_F(list_cur_playlist_model, steps_nowhere_after_its_exit)
{
    add({"/a.mp3", "/b.mp3"});
    set_playing("/a.mp3");
    EXPECT_EQ(list_cur_playlist->exit(), 0);
    EXPECT_EQ(list_cur_playlist_go(1), -1);
    EXPECT_EQ(list_cur_playlist_select("/a.mp3"), -1);
    EXPECT_TRUE(the_seen.begun.empty());
}

/* The set of paths beside the array must agree with the array, whatever happens to them. */
TEST_F(list_cur_playlist_model, finds_exactly_what_it_holds_after_any_changes)
{
    unsigned seed = seed_or(12345);
    texts expected;
    for (int i = 0; i < 6000; i++) {
        const std::string path = "/m/" + std::to_string(rand_r(&seed) % 400) + ".mp3";
        const auto found = std::find(expected.begin(), expected.end(), path);
        if (rand_r(&seed) % 3 != 0) {
            const int result = list_cur_playlist_add(path.c_str(), "n", "a");
            EXPECT_EQ(result, found == expected.end() ? 0 : -1) << path;
            if (result == 0)
                expected.push_back(path);
        } else if (found != expected.end()) {
            sys_guard guard(list_cur_playlist_lock);
            const auto index = static_cast<uint32_t>(found - expected.begin());
            EXPECT_EQ(list_cur_playlist_entries_remove_locked(index), 0);
            expected.erase(found);
        }
        const std::string other = "/m/" + std::to_string(rand_r(&seed) % 400) + ".mp3";
        const auto where = std::find(expected.begin(), expected.end(), other);
        sys_guard guard(list_cur_playlist_lock);
        EXPECT_EQ(list_cur_playlist_entries_find_locked(other.c_str()),
                  where == expected.end() ? -1 : where - expected.begin());
    }
    EXPECT_EQ(queued_paths(), expected);
}

TEST_F(list_cur_playlist_model, queues_fifty_thousand_tracks_without_comparing_them_all)
{
    const int64_t before = texts_compared();
    char path[64];
    for (int i = 0; i < 50000; i++) {
        snprintf(path, sizeof path, "/media/music/Artist %d/Album %d/%02d.mp3", i / 100, i / 10,
                 i % 10);
        ASSERT_EQ(list_cur_playlist_add(path, "Title", "Artist"), 0) << path;
    }
    EXPECT_EQ(list_cur_playlist->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_cur_playlist->count, 50000u);
    EXPECT_LT(texts_compared() - before, 100000)
        << "a search of them all makes 1.25 thousand million";
}

/* The sound thread steps while the main thread changes what it steps through. */
TEST_F(list_cur_playlist_model, is_stepped_through_while_it_changes)
{
    add_count(50);
    std::atomic<bool> running{true};
    std::atomic<int> steps{0};
    set_playing("0");
    std::thread sound([&] {
        while (running)
            if (list_cur_playlist_go(1) == 0)
                ++steps;
            else
                set_playing("0"); /* the one that played was removed */
    });
    for (int i = 0; i < 300; i++) {
        (void)list_cur_playlist_add(("x" + std::to_string(i)).c_str(), "n", "a");
        (void)list_cur_playlist->update(nullptr, nullptr);
        (void)choose(list_cur_playlist, 50, 2);
        (void)list_cur_playlist_select("7");
    }
    running = false;
    sound.join();
    EXPECT_GT(steps, 0);
    EXPECT_EQ(queued_paths().size(), 50u);
}
