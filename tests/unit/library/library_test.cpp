#include "library/library.h"

#include "library_rows.h"
#include "platform/base/fault.h"
#include "platform/db/db.h"
#include "support/scratch.h"

struct library : testing::Test {
    scratch folder;

    void TearDown() override
    {
        EXPECT_EQ(library_close(), 0);
        EXPECT_EQ(library_db, nullptr);
        fault_set(nullptr);
    }
};

TEST_F(library, makes_nine_tables_sixteen_indexes_and_one_version)
{
    ASSERT_EQ(library_open(), 0);
    ASSERT_NE(library_db, nullptr);
    EXPECT_EQ(library_rows("SELECT type, count(*) FROM sqlite_master GROUP BY type ORDER BY type"),
              (rows{"index|16", "table|9"}));
    EXPECT_EQ(library_rows("SELECT * FROM zervp_version"), rows{"1"});
}

TEST_F(library, has_exactly_the_columns_and_indexes_that_others_rely_on)
{
    ASSERT_EQ(library_open(), 0);
    EXPECT_EQ(
        library_rows("SELECT m.name, p.name, p.type, p.\"notnull\", p.pk FROM sqlite_master m,"
                     " pragma_table_info(m.name) p WHERE m.type = 'table' ORDER BY m.rowid, "
                     "p.cid"),
        (rows{"zervp_tracks|id|INTEGER|0|1",      "zervp_tracks|name|TEXT|1|0",
              "zervp_tracks|comment|TEXT|0|0",    "zervp_tracks|track_no|INTEGER|0|0",
              "zervp_tracks|disc_no|INTEGER|0|0", "zervp_tracks|length|INTEGER|0|0",
              "zervp_tracks|url|INTEGER|0|0",     "zervp_tracks|artist|INTEGER|0|0",
              "zervp_tracks|album|INTEGER|0|0",   "zervp_tracks|genre|INTEGER|0|0",
              "zervp_tracks|year|INTEGER|0|0",    "zervp_urls|id|INTEGER|0|1",
              "zervp_urls|path|TEXT|1|0",         "zervp_urls|dir|INTEGER|0|0",
              "zervp_dirs|id|INTEGER|0|1",        "zervp_dirs|path|TEXT|1|0",
              "zervp_dirs|mtime|INTEGER|1|0",     "zervp_artists|id|INTEGER|0|1",
              "zervp_artists|name|TEXT|1|0",      "zervp_albums|id|INTEGER|0|1",
              "zervp_albums|name|TEXT|1|0",       "zervp_albums|artist|INTEGER|0|0",
              "zervp_genres|id|INTEGER|0|1",      "zervp_genres|name|TEXT|1|0",
              "zervp_years|id|INTEGER|0|1",       "zervp_years|name|TEXT|1|0",
              "zervp_playlists|id|INTEGER|0|1",   "zervp_playlists|path|TEXT|1|0",
              "zervp_version|version|INTEGER|0|0"}));
    EXPECT_EQ(
        library_rows("SELECT m.name, m.tbl_name, l.\"unique\", (SELECT group_concat(name) FROM "
                     "pragma_index_info(m.name)), (SELECT group_concat(coll) FROM "
                     "pragma_index_xinfo(m.name) WHERE key) FROM sqlite_master m, "
                     "pragma_index_list(m.tbl_name) l WHERE m.type = 'index' AND l.name = m.name "
                     "ORDER BY m.name"),
        (rows{"zervp_albums_artist|zervp_albums|0|artist|BINARY",
              "zervp_albums_name|zervp_albums|0|name|NOCASE",
              "zervp_albums_name_artist|zervp_albums|1|name,artist|NOCASE,BINARY",
              "zervp_artists_name|zervp_artists|1|name|NOCASE",
              "zervp_dirs_path|zervp_dirs|1|path|BINARY",
              "zervp_genres_name|zervp_genres|1|name|NOCASE",
              "zervp_playlists_path|zervp_playlists|1|path|BINARY",
              "zervp_tracks_album|zervp_tracks|0|album|BINARY",
              "zervp_tracks_artist|zervp_tracks|0|artist|BINARY",
              "zervp_tracks_genre|zervp_tracks|0|genre|BINARY",
              "zervp_tracks_length|zervp_tracks|0|length|BINARY",
              "zervp_tracks_name|zervp_tracks|0|name|NOCASE",
              "zervp_tracks_url|zervp_tracks|1|url|BINARY",
              "zervp_tracks_year|zervp_tracks|0|year|BINARY",
              "zervp_urls_path|zervp_urls|1|path|BINARY",
              "zervp_years_name|zervp_years|1|name|NOCASE"}));
}

TEST_F(library, changes_nothing_the_second_time)
{
    ASSERT_EQ(library_open(), 0);
    ASSERT_EQ(library_close(), 0);
    const std::string before = scratch_read("library.db");
    ASSERT_EQ(library_open(), 0);
    EXPECT_EQ(library_init_schema(), 0);
    ASSERT_EQ(library_close(), 0);
    EXPECT_TRUE(scratch_read("library.db") == before);
}

TEST_F(library, refuses_other_versions_and_leaves_the_file_alone)
{
    for (const char *version : {"'2'", "'1x'", "2147483648", "'x'", "-1", "NULL"}) {
        ASSERT_EQ(library_open(), 0);
        ASSERT_EQ(library_close(), 0);
        library_run("UPDATE zervp_version SET version = " + std::string(version));
        const std::string before = scratch_read("library.db");
        EXPECT_EQ(library_open(), -1) << version;
        EXPECT_NE(library_db, nullptr) << "the handle stays open";
        ASSERT_EQ(library_close(), 0);
        EXPECT_TRUE(scratch_read("library.db") == before) << version;
        ASSERT_EQ(unlink("library.db"), 0);
    }
}

TEST_F(library, accepts_a_version_that_is_a_text)
{
    library_run("CREATE TABLE zervp_version(version TEXT); INSERT INTO zervp_version VALUES('1');");
    EXPECT_EQ(library_open(), 0);
    EXPECT_EQ(library_rows("SELECT count(*) FROM sqlite_master"), rows{"1"}) << "nothing was made";
}

TEST_F(library, refuses_tables_that_stand_without_their_version)
{
    ASSERT_EQ(library_open(), 0);
    ASSERT_EQ(library_close(), 0);
    library_run("UPDATE zervp_version SET version = 0");
    EXPECT_EQ(library_open(), -1);
    ASSERT_EQ(library_close(), 0);
    library_run("DROP TABLE zervp_version; INSERT INTO zervp_genres(name) VALUES('kept')");
    EXPECT_EQ(library_open(), -1);
    EXPECT_EQ(library_rows("SELECT name FROM zervp_genres"), rows{"kept"});
    EXPECT_EQ(library_rows("SELECT count(*) FROM sqlite_master WHERE type = 'table'"), rows{"8"});
}

TEST_F(library, writes_its_version_into_a_table_that_is_there)
{
    for (const char *version : {"0", "''"}) {
        library_run("CREATE TABLE zervp_version(version); INSERT INTO zervp_version VALUES(" +
                    std::string(version) + ");");
        EXPECT_EQ(library_open(), 0) << version;
        EXPECT_EQ(library_rows("SELECT version FROM zervp_version"), rows{"1"});
        ASSERT_EQ(library_close(), 0);
        ASSERT_EQ(unlink("library.db"), 0);
    }
}

TEST_F(library, keeps_what_was_made_before_a_failure)
{
    library_run("CREATE TABLE zervp_genres(other)");
    EXPECT_EQ(library_open(), -1);
    EXPECT_EQ(library_rows("SELECT group_concat(name) FROM (SELECT name FROM sqlite_master WHERE "
                           "type = 'table' ORDER BY rowid)"),
              rows{"zervp_genres,zervp_tracks,zervp_urls,zervp_dirs,zervp_artists,zervp_albums"});
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(library_open(), -1) << "it stops at the first table from then on";
}

TEST_F(library, makes_anew_what_a_failure_left_unfinished)
{
    for (int n = 5; n < 31; n++) {
        fault_set(("db_exec:" + std::to_string(n)).c_str());
        EXPECT_EQ(library_open(), -1) << n;
        fault_set(nullptr);
        ASSERT_EQ(library_close(), 0);
        EXPECT_EQ(library_open(), 0) << n;
        EXPECT_EQ(library_rows("SELECT count(*) FROM sqlite_master"), rows{"25"}) << n;
        ASSERT_EQ(library_close(), 0);
        ASSERT_EQ(unlink("library.db"), 0);
    }
}

TEST_F(library, stops_at_every_statement_that_fails)
{
    /* Two for the file, one look, one beginning, then the statements, the end behind them. */
    int failed = 0;
    for (int n = 3; n < 100; n++) {
        fault_set(("db_exec:" + std::to_string(n)).c_str());
        const int result = library_open();
        fault_set(nullptr);
        ASSERT_EQ(library_close(), 0);
        if (result == 0 && n > 4)
            break;
        failed += result != 0;
        (void)unlink("library.db");
    }
    /* Eight tables and their indexes, the table of the version (whose stand-in, an UPDATE, finds no
     * table then), its row, and the end. */
    EXPECT_EQ(failed, 8 + 16 + 1 + 1 + 1);
}

TEST_F(library, refuses_a_file_that_is_no_database)
{
    scratch_write("library.db", std::string(10000, 'x'));
    EXPECT_EQ(library_open(), -1);
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(scratch_read("library.db"), std::string(10000, 'x'));
}

TEST_F(library, fails_where_no_file_can_be_made)
{
    ASSERT_EQ(mkdir("library.db", 0755), 0);
    EXPECT_EQ(library_open(), -1);
    EXPECT_EQ(library_db, nullptr);
}

TEST_F(library, can_be_closed_without_having_been_opened)
{
    EXPECT_EQ(library_close(), 0);
    EXPECT_EQ(library_close(), 0);
}
