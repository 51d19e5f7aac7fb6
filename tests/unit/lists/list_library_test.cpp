/* The library browser over a real database. */
#include "lists/lists.h"
#include "lists/record/list.h"
#include "support/hung.h"
#include "unit/lists/fake_program.h"

#include "lists/list_library.h"
#include "support/seed.h"

static const hung hang_list_library(list_library, &list_library_record);
static const hung hang_list_playlists(list_playlists, &list_playlists_record);

class list_library_browser : public lists_test
{
  protected:
    void SetUp() override
    {
        lists_test::SetUp();
        ASSERT_EQ(library_open(), 0);
        ASSERT_EQ(list_library->init(), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(list_library->exit(), 0);
        view_list_free(list_library);
        lists_test::TearDown();
    }
    void two_bands()
    {
        sql("BEGIN;"); /* one wait for the disk */
        add_track("/q/rhapsody.mp3", "bohemian", "Queen", "Opera", "Rock");
        add_track("/q/champions.mp3", "Champions", "Queen", "Gold", "Rock");
        add_track("/q/alive.mp3", "alive", "Queen", "Gold", "Rock");
        add_track("/a/dancing.mp3", "Dancing", "ABBA", "Gold", "Pop");
        add_track("/a/waterloo.mp3", "Waterloo", "ABBA", "Waterloo", "Rock");
        sql("COMMIT;");
    }
    void enter(const char *key, const char *title)
    {
        EXPECT_EQ(list_library_reset_conds(), 0);
        EXPECT_EQ(list_library_add_cond_key(key, title), 0);
        list_library->cursor = 0;
    }
    int choose_row(const std::string &text, int32_t mode)
    {
        const texts rows = rows_of(list_library);
        for (size_t i = 0; i < rows.size(); i++)
            if (rows[i] == text)
                return choose(list_library, static_cast<int32_t>(i), mode);
        ADD_FAILURE() << "no row " << text;
        return -2;
    }
    texts rows() { return rows_of(list_library); }
};

TEST_F(list_library_browser, is_empty_at_depth_zero)
{
    EXPECT_EQ(list_library->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_library->count, 0u);
    EXPECT_STREQ(list_library->title, "");
    EXPECT_STREQ(list_library->subtitle, "");
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(list_library_pop_cond(), -1);
    EXPECT_EQ(list_library_set_cond(1, "x"), -1);
    EXPECT_EQ(choose(list_library, -1, 1), -1);
    EXPECT_EQ(take_shown(), list_main);
}

TEST_F(list_library_browser, lists_each_category)
{
    two_bands();
    enter("artist", "Artists");
    EXPECT_EQ(rows(), (texts{"All Artists (2 曲目)", "ABBA", "Queen"}));
    EXPECT_STREQ(list_library->title, "Artists");
    EXPECT_STREQ(list_library->subtitle, "");
    enter("album", "Albums");
    EXPECT_EQ(rows()[0], "All Albums (4 曲目)");
    EXPECT_EQ(rows()[3], "Opera (Queen)");
    EXPECT_EQ(rows()[4], "Waterloo (ABBA)");
    enter("genre", "Genres");
    EXPECT_EQ(rows(), (texts{"All Genres (2 曲目)", "Pop", "Rock"}));
    enter("track", "Tracks");
    EXPECT_EQ(rows(), (texts{"All Tracks (5 曲目)", "alive", "bohemian", "Champions", "Dancing",
                             "Waterloo"}));
}

TEST_F(list_library_browser, tells_albums_of_one_name_apart_at_the_first_level_only)
{
    two_bands();
    enter("album", "Albums");
    const texts first = rows();
    EXPECT_EQ(std::count(first.begin(), first.end(), "Gold (ABBA)"), 1);
    EXPECT_EQ(std::count(first.begin(), first.end(), "Gold (Queen)"), 1);
    enter("artist", "Artists");
    EXPECT_EQ(choose_row("Queen", 0), 0);
    EXPECT_EQ(rows(), (texts{"All Albums (2 曲目)", "Gold", "Opera"}));
}

TEST_F(list_library_browser, drills_down_from_artist_to_track)
{
    two_bands();
    enter("artist", "Artists");
    list_library->cursor = 2;
    EXPECT_EQ(choose_row("Queen", 1), 0);
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_EQ(list_library->cursor, 0);
    EXPECT_STREQ(list_library->title, "Albums");
    EXPECT_STREQ(list_library->subtitle, "Queen");
    EXPECT_EQ(choose_row("Gold", 0), 0);
    EXPECT_STREQ(list_library->title, "Tracks");
    EXPECT_STREQ(list_library->subtitle, "Queen > Gold");
    EXPECT_EQ(rows(), (texts{"All Tracks (2 曲目)", "alive", "Champions"}));
}

TEST_F(list_library_browser, uses_all_four_levels_from_a_genre)
{
    two_bands();
    enter("genre", "Genres");
    EXPECT_EQ(choose_row("Rock", 0), 0);
    EXPECT_EQ(rows(), (texts{"All Artists (2 曲目)", "ABBA", "Queen"}));
    EXPECT_EQ(choose(list_library, 0, 0), 0); /* all of them */
    EXPECT_EQ(rows(), (texts{"All Albums (3 曲目)", "Gold", "Opera", "Waterloo"}));
    EXPECT_STREQ(list_library->subtitle, "Rock"); /* "all" adds nothing */
    EXPECT_EQ(choose_row("Gold", 0), 0);
    EXPECT_STREQ(list_library->subtitle, "Rock > Gold");
    EXPECT_EQ(rows(), (texts{"All Tracks (2 曲目)", "alive", "Champions"}));

    const texts before = rows();
    EXPECT_EQ(list_library_add_cond_key("track", "Tracks"), -1); /* a fifth */
    EXPECT_EQ(rows(), before);
    EXPECT_STREQ(list_library->title, "Tracks");
}

TEST_F(list_library_browser, goes_back_to_the_row_it_came_from)
{
    two_bands();
    enter("artist", "Artists");
    EXPECT_EQ(choose_row("Queen", 0), 0);
    EXPECT_EQ(choose_row("Opera", 0), 0);
    list_screen.redraw = 0;
    EXPECT_EQ(choose(list_library, -1, 1), 0);
    EXPECT_STREQ(list_library->title, "Albums");
    EXPECT_EQ(list_library->cursor, 2);
    EXPECT_EQ(list_screen.redraw, 1);
    EXPECT_EQ(choose(list_library, -1, 1), 0);
    EXPECT_EQ(list_library->cursor, 2); /* Queen */

    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(choose(list_library, -1, 1), 0);
    EXPECT_EQ(list_library->cursor, 0); /* "all" */
    EXPECT_EQ(take_shown(), nullptr);

    EXPECT_EQ(choose(list_library, -1, 1), -1); /* from the first level to the main menu */
    EXPECT_EQ(take_shown(), list_main);
    EXPECT_EQ(main_menu.cursor, 3);
    EXPECT_EQ(list_library->count, 0u);
}

TEST_F(list_library_browser, leaves_from_any_depth_with_the_back_key_and_stays_where_it_is)
{
    two_bands();
    enter("artist", "Artists");
    EXPECT_EQ(choose_row("Queen", 0), 0);
    const texts before = rows();
    EXPECT_EQ(press(list_library, 0x200), -1);
    EXPECT_EQ(take_shown(), list_main);
    EXPECT_EQ(main_menu.cursor, 3);
    EXPECT_EQ(list_library->update(nullptr, nullptr), 0);
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(press(list_library, 0x4), 0);
    input_key.pressed = 0x200;
    EXPECT_EQ(list_library->input(&list_screen, list_library), 0); /* no event */
}

TEST_F(list_library_browser, plays_a_chosen_track)
{
    two_bands();
    enter("track", "Tracks");
    EXPECT_EQ(choose_row("Champions", 0), 0);
    EXPECT_EQ(the_seen.begun, texts{"/q/champions.mp3"});
    EXPECT_EQ(the_seen.selected, (std::vector<view *>{view_play}));
    EXPECT_EQ(queued_names(), texts{"Champions (Queen)"});
    EXPECT_EQ(read_file("current.m3u"), "/q/champions.mp3\r\n");
}

TEST_F(list_library_browser, queues_everything_in_title_order)
{
    two_bands();
    (void)list_cur_playlist_add("/a/dancing.mp3", nullptr, nullptr);
    enter("track", "Tracks");
    EXPECT_EQ(choose(list_library, 0, 1), 0);
    EXPECT_EQ(queued_names(), (texts{"Dancing (ABBA)", "alive (Queen)", "bohemian (Queen)",
                                     "Champions (Queen)", "Waterloo (ABBA)"}));
    EXPECT_EQ(the_seen.begun, texts{"/q/alive.mp3"});
    EXPECT_EQ(list_cur_playlist->count, 5u);
}

TEST_F(list_library_browser, queues_a_row_in_mode_two_without_opening_it)
{
    two_bands();
    enter("artist", "Artists");
    EXPECT_EQ(choose_row("Queen", 2), 0);
    EXPECT_EQ(queued_paths(), (texts{"/q/alive.mp3", "/q/rhapsody.mp3", "/q/champions.mp3"}));
    EXPECT_EQ(the_seen.begun, texts{"/q/alive.mp3"});
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_STREQ(list_library->title, "Artists");

    EXPECT_EQ(choose(list_library, 0, 2), 0); /* "all" artists */
    EXPECT_EQ(queued_paths().size(), 5u);
}

TEST_F(list_library_browser, queues_all_of_a_genre_through_four_levels)
{
    two_bands();
    enter("genre", "Genres");
    EXPECT_EQ(choose_row("Rock", 0), 0);
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(queued_paths(),
              (texts{"/q/alive.mp3", "/q/rhapsody.mp3", "/q/champions.mp3", "/a/waterloo.mp3"}));
}

TEST_F(list_library_browser, plays_the_first_track_that_opens)
{
    add_track("/broken/1.mp3", "1", "A", "B", "G");
    add_track("/broken/2.mp3", "2", "A", "B", "G");
    add_track("/fine/3.mp3", "3", "A", "B", "G");
    enter("track", "Tracks");
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(the_seen.begun, (texts{"/broken/1.mp3", "/broken/2.mp3", "/fine/3.mp3"}));
    EXPECT_EQ(the_seen.selected.size(), 1u);

    the_seen = {};
    EXPECT_EQ(choose(list_library, 0, 2), 0); /* in the background only the first is tried */
    EXPECT_EQ(the_seen.begun, texts{"/broken/1.mp3"});
}

TEST_F(list_library_browser, stays_when_no_track_opens)
{
    add_track("/broken/1.mp3", "1", "A", "B", "G");
    enter("track", "Tracks");
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_TRUE(the_seen.selected.empty());
    EXPECT_EQ(queued_paths(), texts{"/broken/1.mp3"});
}

TEST_F(list_library_browser, ignores_mode_three_and_rows_it_does_not_have)
{
    two_bands();
    enter("artist", "Artists");
    for (int32_t row = -1; row < 4; row++)
        EXPECT_EQ(choose(list_library, row, 3), 0);
    for (const int32_t row : {3, 4, -2, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(list_library, row, 0), 0);
    EXPECT_STREQ(list_library->title, "Artists");
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(list_library_browser, opens_nothing_below_an_unknown_category)
{
    two_bands();
    sql("INSERT INTO zervp_years(name) VALUES('1975');");
    sql("UPDATE zervp_tracks SET year=1;");
    enter("year", "Years");
    EXPECT_EQ(rows(), (texts{"All Years (1 曲目)", "1975"}));
    list_library->cursor = 1;
    EXPECT_EQ(choose(list_library, 1, 0), 0);
    EXPECT_STREQ(list_library->title, "Years");
    EXPECT_EQ(list_library->cursor, 0);
}

TEST_F(list_library_browser, shows_an_empty_level_when_the_question_fails)
{
    two_bands();
    enter("nonsense", "Nonsense");
    EXPECT_EQ(list_library->count, 0u);
    EXPECT_STREQ(list_library->title, "Nonsense");
    EXPECT_EQ(choose(list_library, 0, 0), 0);

    enter("artist", "Artists");
    EXPECT_EQ(library_close(), 0);
    EXPECT_EQ(choose(list_library, 1, 2), 0); /* the tracks cannot be asked for: nothing changes */
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_EQ(list_library->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_library->count, 0u);
}

TEST_F(list_library_browser, shows_only_the_heading_row_of_an_empty_library)
{
    enter("artist", "Artists");
    EXPECT_EQ(rows(), texts{"All Artists (0 曲目)"});
    EXPECT_EQ(choose(list_library, 0, 2), 0);
    EXPECT_TRUE(the_seen.begun.empty());
    EXPECT_EQ(choose(list_library, 0, 0), 0);
    EXPECT_EQ(rows(), texts{"All Albums (0 曲目)"});
}

TEST_F(list_library_browser, cuts_long_texts)
{
    const std::string artist(150, 'a');
    add_track("/x.mp3", "T", artist, "Album", "G");
    EXPECT_EQ(list_library_reset_conds(), 0);
    EXPECT_EQ(list_library_add_cond_key("artist", std::string(150, 't').c_str()), 0);
    EXPECT_EQ(list_library->title, std::string(99, 't'));
    EXPECT_EQ(rows()[0], "All " + std::string(99, 't') + " (1 曲目)");
    EXPECT_EQ(rows()[1], artist); /* rows are whole */
    EXPECT_EQ(choose(list_library, 1, 0), 0);
    EXPECT_EQ(list_library->subtitle, std::string(99, 'a'));
    EXPECT_EQ(choose(list_library, 1, 0), 0);
    EXPECT_EQ(list_library->subtitle, std::string(99, 'a'));
}

TEST_F(list_library_browser, takes_names_with_quotes_and_percent_signs_as_they_are)
{
    add_track("/x.mp3", "T", "100%s ''n'' %n", "it''s", "G"); /* quotes doubled for SQL */
    enter("artist", "Artists");
    EXPECT_EQ(rows()[1], "100%s 'n' %n");
    EXPECT_EQ(choose(list_library, 1, 0), 0);
    EXPECT_STREQ(list_library->subtitle, "100%s 'n' %n");
    EXPECT_EQ(rows()[1], "it's");
    EXPECT_EQ(choose(list_library, 1, 2), 0);
    EXPECT_EQ(queued_names(), texts{"T (100%s 'n' %n)"});
}

TEST_F(list_library_browser, survives_a_library_that_changed_under_it)
{
    two_bands();
    enter("artist", "Artists");
    sql("DELETE FROM zervp_tracks;");
    sql("DELETE FROM zervp_artists;");
    EXPECT_EQ(choose_row("Queen", 0), 0);
    EXPECT_EQ(rows(), texts{"All Albums (0 曲目)"});
    EXPECT_EQ(choose(list_library, -1, 1), 0);
    EXPECT_EQ(rows(), texts{"All Artists (0 曲目)"});
    EXPECT_EQ(list_library->cursor, 0); /* the row it came from is gone */
}

/* Walks through everything that is shown, and queues what can be queued. */
static void use_everything()
{
    for (const char *key : {"artist", "album", "genre", "track"}) {
        (void)list_library_reset_conds();
        (void)list_library_add_cond_key(key, "Title");
        for (int32_t row = 0; row < 3; row++)
            (void)choose(list_library, row, row == 2 ? 2 : 0);
        (void)choose(list_library, -1, 1);
    }
    (void)list_playlists->update(nullptr, nullptr);
    (void)choose(list_playlists, 0, 0);
}

TEST_F(list_library_browser, survives_a_damaged_database)
{
    two_bands();
    sql("INSERT INTO zervp_playlists(path) VALUES('/m/a.m3u');");
    ASSERT_EQ(library_close(), 0);
    const std::string whole = read_file("library.db");
    unsigned seed = seed_or(2024);
    int opened = 0;
    for (int run = 0; run < 150; run++) {
        std::string damaged = whole;
        const int changes = 1 + rand_r(&seed) % 8;
        for (int i = 0; i < changes; i++)
            damaged[static_cast<unsigned>(rand_r(&seed)) % damaged.size()] =
                static_cast<char>(rand_r(&seed));
        if (run % 10 == 0)
            damaged.resize(static_cast<unsigned>(rand_r(&seed)) % damaged.size());
        write_file("library.db", damaged);
        opened += library_open() == 0;
        use_everything(); /* also when it was refused: the handle may be open */
        ASSERT_EQ(library_close(), 0);
        use_everything();
    }
    EXPECT_GT(opened, 50);
    EXPECT_EQ(list_playlists->exit(), 0);
    view_list_free(list_playlists);
    write_file("library.db", whole);
    ASSERT_EQ(library_open(), 0);
    enter("artist", "Artists");
    EXPECT_EQ(rows(), (texts{"All Artists (2 曲目)", "ABBA", "Queen"}));
}

TEST_F(list_library_browser, takes_columns_that_are_null_or_no_text)
{
    ASSERT_EQ(library_close(), 0);
    ASSERT_EQ(unlink("library.db"), 0);
    db_handle *made = db_open("library.db");
    ASSERT_NE(made, nullptr);
    ASSERT_EQ(db_exec(made,
                      "CREATE TABLE zervp_version(version); INSERT INTO zervp_version VALUES(1);"
                      "CREATE TABLE zervp_artists(id, name);"
                      "CREATE TABLE zervp_albums(id, name, artist);"
                      "CREATE TABLE zervp_urls(id, path);"
                      "CREATE TABLE zervp_tracks(id, name, artist, album, url);"
                      "CREATE TABLE zervp_playlists(path);"
                      "INSERT INTO zervp_artists VALUES(NULL, NULL), (1, NULL), ('x', 2.5);"
                      "INSERT INTO zervp_albums VALUES(7, NULL, 1), (8, x'00', 'x');"
                      "INSERT INTO zervp_urls VALUES(1, NULL), (2, x'ff00ff');"
                      "INSERT INTO zervp_tracks VALUES(1, NULL, 1, 7, 1), (NULL, 3, 'x', 8, 2);"
                      "INSERT INTO zervp_playlists VALUES(NULL), (x'');",
                      nullptr),
              0);
    ASSERT_EQ(db_close(made), 0);
    ASSERT_EQ(library_open(), 0);
    enter("artist", "Artists");
    EXPECT_EQ(rows(), (texts{"All Artists (2 曲目)", "", "2.5"}));
    enter("album", "Albums");
    EXPECT_EQ(rows(), (texts{"All Albums (2 曲目)", " ()", " (2.5)"}));
    EXPECT_EQ(choose(list_library, 0, 2), 0);
    EXPECT_EQ(queued_paths(), texts{"\xff"}); /* what is no path is left out */
    EXPECT_EQ(list_playlists->update(nullptr, nullptr), 0);
    EXPECT_EQ(list_playlists->count, 2u);
    EXPECT_EQ(choose(list_playlists, 0, 0), 0);
    use_everything();
    EXPECT_EQ(list_playlists->exit(), 0);
    view_list_free(list_playlists);
}

TEST_F(list_library_browser, serves_fifty_thousand_tracks)
{
    sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000) INSERT "
        "INTO zervp_urls(id, path) SELECT i, '/media/music/artist ' || (i / 100) || '/album/' || "
        "i || '.mp3' FROM n;");
    sql("INSERT INTO zervp_artists(name) SELECT DISTINCT 'artist ' || (id / 100) FROM zervp_urls;");
    sql("INSERT INTO zervp_albums(name, artist) VALUES('album', 1);");
    sql("INSERT INTO zervp_tracks(name, url, artist, album) SELECT 'title ' || (id * 7919 % 50000)"
        ", id, 1 + id / 100, 1 FROM zervp_urls;");
    enter("track", "Tracks");
    EXPECT_EQ(list_library->count, 50001u);
    EXPECT_EQ(choose(list_library, 0, 2), 0);
    EXPECT_EQ(list_cur_playlist->count, 50000u);
}
