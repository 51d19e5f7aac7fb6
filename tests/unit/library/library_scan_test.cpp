#include "library/library_scan.h"

#include "config/cfg.h"
#include "library/library.h"
#include "library_rows.h"
#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/base/fault.h"
#include "platform/base/thread.h"
#include "platform/db/db.h"
#include "support/scratch.h"

#include <atomic>
#include <cstring>
#include <thread>

struct scan : testing::Test {
    scratch folder;
    std::string music; /* the music folder */

    void SetUp() override
    {
        ASSERT_EQ(audio_init(), 0);
        music = folder.path + "/m";
        ASSERT_EQ(mkdir("m", 0755), 0);
        snprintf(cfg_library_path, sizeof(cfg_library_path), "%s", music.c_str());
        ASSERT_EQ(library_open(), 0);
    }
    void TearDown() override
    {
        fault_set(nullptr);
        EXPECT_EQ(library_close(), 0);
        EXPECT_EQ(thread_settle(10000), 0);
    }
    void make(const std::string &name, const std::string &title, const std::string &artist = "A",
              const std::string &album = "B")
    {
        maker_file file;
        file.seconds = 0.05;
        file.title = title;
        file.artist = artist;
        file.album = album;
        file.year = "1999";
        file.genre = "Rock";
        ASSERT_EQ(maker_track("m/" + name, file), 0);
    }
    /* A file without a word in it. */
    void make_bare(const std::string &name)
    {
        maker_file file;
        file.seconds = 0.05;
        file.id3.version = 0;
        ASSERT_EQ(maker_track("m/" + name, file), 0);
    }
    std::string scan_errors(int expected)
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(library_scan(), expected);
        return testing::internal::GetCapturedStderr();
    }
    rows titles() { return library_rows("SELECT name FROM zervp_tracks ORDER BY id"); }
};

TEST_F(scan, makes_a_row_of_every_field)
{
    make("a.mp3", "Title", "Artist", "Album");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_rows("SELECT * FROM zervp_tracks"),
              rows{"1|Title|(null)|(null)|(null)|(null)|1|1|1|1|1"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_urls"), rows{"1|" + music + "/a.mp3|1"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_dirs"), rows{"1|" + music + "|0"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_artists"), rows{"1|Artist"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_albums"), (rows{"1|Album|1"}));
    EXPECT_EQ(library_rows("SELECT * FROM zervp_genres"), rows{"1|Rock"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_years"), rows{"1|1999"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_playlists"), rows{});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_version"), rows{"1"});
}

TEST_F(scan, adds_the_files_of_a_folder_before_its_subfolders)
{
    ASSERT_EQ(system("mkdir -p m/2/a m/10 m/B"), 0);
    for (const char *name :
         {"z.mp3", "2/y.OGG", "2/a/x.Flac", "10/w.mp3", "B/v.mp3", "a10.mp3", "a9.mp3"})
        make(name, name);
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(),
              (rows{"a9.mp3", "a10.mp3", "z.mp3", "2/y.OGG", "2/a/x.Flac", "10/w.mp3", "B/v.mp3"}));
    EXPECT_EQ(library_rows("SELECT path FROM zervp_dirs ORDER BY id"),
              (rows{music, music + "/2", music + "/2/a", music + "/10", music + "/B"}));
}

TEST_F(scan, calls_what_has_no_name_unknown)
{
    make_bare("a.mp3");
    make("b.ogg", "  ", "\t", " \n ");
    make_bare("c.flac");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), (rows{"未知", "未知", "未知"}));
    EXPECT_EQ(library_rows("SELECT * FROM zervp_artists"), rows{"1|未知"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_albums"), rows{"1|未知|1"});
    EXPECT_EQ(library_rows("SELECT name FROM zervp_years ORDER BY id"), (rows{"未知", "1999"}));
}

/* Makes the comments of a FLAC file claim a vendor longer than the file. */
static void damage_comments(const std::string &path)
{
    std::string bytes = scratch_read(path);
    size_t at = 4; /* behind the mark; each block has a kind and three bytes of size */
    while ((bytes.at(at) & 0x7f) != 4)
        at += 4 + (static_cast<unsigned char>(bytes.at(at + 1)) << 16 |
                   static_cast<unsigned char>(bytes.at(at + 2)) << 8 |
                   static_cast<unsigned char>(bytes.at(at + 3)));
    bytes.replace(at + 4, 4, "\xff\xff\xff\x7f");
    scratch_write(path, bytes);
}

TEST_F(scan, makes_a_track_without_names_of_a_file_that_plays_though_its_tags_cannot_be_read)
{
    make("a.flac", "lost");
    damage_comments("m/a.flac");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), rows{"未知"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_artists"), rows{"1|未知"});
}

TEST_F(scan, makes_no_track_of_a_file_that_neither_plays_nor_has_tags_that_can_be_read)
{
    make("a.flac", "lost");
    damage_comments("m/a.flac");
    const std::string bytes = scratch_read("m/a.flac");
    scratch_write("m/a.flac", bytes.substr(0, bytes.find("TITLE=") + 4));
    make("b.flac", "kept");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_rows("SELECT path FROM zervp_urls ORDER BY id"),
              (rows{music + "/a.flac", music + "/b.flac"}));
    EXPECT_EQ(library_rows("SELECT path FROM zervp_dirs"), rows{music});
    EXPECT_EQ(titles(), rows{"kept"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_artists"), rows{"1|A"});
    EXPECT_EQ(library_rows("SELECT u.path FROM zervp_tracks t JOIN zervp_urls u ON u.id = t.url"),
              rows{music + "/b.flac"});
}

TEST_F(scan, joins_names_that_differ_in_case_only)
{
    make("1.mp3", "t1", "ABBA", "Gold");
    make("2.mp3", "t2", "abba", "gold");
    make("3.mp3", "t3", "Queen", "Gold");
    make("4.mp3", "t4", "Ä", "x");
    make("5.mp3", "t5", "ä", "x");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_rows("SELECT name FROM zervp_artists ORDER BY id"),
              (rows{"ABBA", "Queen", "Ä", "ä"}));
    EXPECT_EQ(library_rows("SELECT b.name, a.name FROM zervp_albums b JOIN zervp_artists a ON "
                           "a.id = b.artist ORDER BY b.id"),
              (rows{"Gold|ABBA", "Gold|Queen", "x|Ä", "x|ä"}));
    EXPECT_EQ(library_rows("SELECT t.name, a.name, b.name FROM zervp_tracks t JOIN zervp_artists a "
                           "ON a.id = t.artist JOIN zervp_albums b ON b.id = t.album ORDER BY t.id "
                           "LIMIT 2"),
              (rows{"t1|ABBA|Gold", "t2|ABBA|Gold"}));
}

TEST_F(scan, cuts_a_field_before_it_is_stripped)
{
    make("a.flac", std::string(1023, ' ') + "x");
    make("b.flac", std::string(1022, ' ') + "xy");
    make("c.flac", " " + std::string(1100, 'z'));
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), (rows{"未知", "x", std::string(1022, 'z')}));
}

TEST_F(scan, keeps_playlists_apart_and_does_not_open_them)
{
    scratch_write("m/b.M3U", "anything");
    scratch_write("m/a.m3u", "");
    ASSERT_EQ(chmod("m/a.m3u", 0), 0);
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_rows("SELECT * FROM zervp_playlists ORDER BY id"),
              (rows{"1|" + music + "/a.m3u", "2|" + music + "/b.M3U"}));
    EXPECT_EQ(library_rows("SELECT * FROM zervp_urls"), rows{});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_dirs"), rows{});
}

TEST_F(scan, says_which_file_it_could_not_read_and_goes_on)
{
    scratch_write("m/broken.flac", "no music");
    scratch_write("m/empty.ogg", "");
    make("good.mp3", "good");
    EXPECT_EQ(scan_errors(0), "error scanning file: " + music + "/broken.flac\n" +
                                  "error scanning file: " + music + "/empty.ogg\n");
    EXPECT_EQ(titles(), rows{"good"});
    EXPECT_EQ(library_rows("SELECT path FROM zervp_urls"), rows{music + "/good.mp3"});
}

TEST_F(scan, says_what_the_database_said)
{
    make("a.mp3", "a");
    make("b.mp3", "b");
    library_run(
        "CREATE TRIGGER no_b BEFORE INSERT ON zervp_tracks WHEN new.name = 'a' BEGIN SELECT "
        "RAISE(ABORT, 'not this one'); END;");
    EXPECT_EQ(scan_errors(0),
              "database error: not this one\nerror scanning file: " + music + "/a.mp3\n");
    EXPECT_EQ(titles(), rows{"b"});
    EXPECT_EQ(library_rows("SELECT count(*) FROM zervp_urls"), rows{"2"})
        << "what was written before the failure stays";
}

TEST_F(scan, gives_a_file_up_at_whichever_statement_fails)
{
    make("a.mp3", "a");
    scratch_write("m/l.m3u", "");
    for (const char *table : {"dirs", "urls", "artists", "albums", "genres", "years", "tracks"}) {
        const std::string name = std::string("zervp_") + table;
        library_run("CREATE TRIGGER no BEFORE INSERT ON " + name +
                    " BEGIN SELECT RAISE(ABORT, 'not here'); END;");
        EXPECT_EQ(scan_errors(0),
                  "database error: not here\nerror scanning file: " + music + "/a.mp3\n")
            << table;
        EXPECT_EQ(titles(), rows{}) << table;
        EXPECT_EQ(library_rows("SELECT path FROM zervp_playlists"), rows{music + "/l.m3u"});
        library_run("DROP TRIGGER no;");
    }
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), rows{"a"});
}

TEST_F(scan, replaces_everything_that_was_there)
{
    make("a.mp3", "old", "Old artist");
    scratch_write("m/old.m3u", "");
    EXPECT_EQ(scan_errors(0), "");
    ASSERT_EQ(system("rm m/*"), 0);
    make("b.mp3", "new", "New artist");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), rows{"new"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_artists"), rows{"1|New artist"});
    EXPECT_EQ(library_rows("SELECT * FROM zervp_playlists"), rows{});
}

TEST_F(scan, of_a_folder_that_is_not_there_succeeds_with_an_empty_library)
{
    make("a.mp3", "a");
    EXPECT_EQ(scan_errors(0), "");
    for (const std::string &path :
         {folder.path + "/missing", std::string(), music + "/a.mp3", std::string(511, 'x')}) {
        snprintf(cfg_library_path, sizeof(cfg_library_path), "%s", path.c_str());
        EXPECT_EQ(scan_errors(0), "");
        EXPECT_EQ(titles(), rows{}) << path;
    }
}

TEST_F(scan, keeps_the_old_library_when_the_folder_cannot_be_read)
{
    make("a.mp3", "a");
    ASSERT_EQ(mkdir("m/sub", 0755), 0);
    make("sub/b.mp3", "b");
    EXPECT_EQ(scan_errors(0), "");
    const auto before = library_tables();
    for (const char *gone : {"file_list_dir", "file_list_dir:2,file_list_dir:3"}) {
        fault_set(gone);
        EXPECT_EQ(scan_errors(-1), "");
        fault_set(nullptr);
        EXPECT_EQ(library_tables(), before) << gone;
    }
    /* One bad subfolder is no reason to keep the rest from the library. */
    fault_set("file_list_dir:2");
    EXPECT_EQ(scan_errors(0), "");
    fault_set(nullptr);
    EXPECT_EQ(titles(), rows{"a"});
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_tables(), before);
}

TEST_F(scan, makes_a_relative_folder_absolute)
{
    make("a.mp3", "a");
    snprintf(cfg_library_path, sizeof(cfg_library_path), "./x/../m/");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_rows("SELECT path FROM zervp_urls"), rows{music + "/a.mp3"});
}

TEST_F(scan, enters_a_folder_that_is_reached_through_itself_once)
{
    ASSERT_EQ(system("mkdir -p m/a/b && ln -s .. m/a/up && ln -s ../../../m m/a/b/top && "
                     "ln -s . m/self && ln -s b m/a/twin && ln -s nowhere m/broken"),
              0);
    make("a/b/x.mp3", "x");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_rows("SELECT path FROM zervp_urls ORDER BY id"),
              (rows{music + "/a/b/x.mp3", music + "/a/twin/x.mp3"}));
}

TEST_F(scan, ends_with_links_that_cross)
{
    ASSERT_EQ(system("mkdir m/a m/b && ln -s ../b m/a/b && ln -s ../a m/b/a"), 0);
    make("a/x.mp3", "x");
    make("b/y.mp3", "y");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(
        library_rows("SELECT path FROM zervp_urls ORDER BY id"),
        (rows{music + "/a/x.mp3", music + "/a/b/y.mp3", music + "/b/y.mp3", music + "/b/a/x.mp3"}));
}

TEST_F(scan, is_not_held_up_by_a_pipe)
{
    ASSERT_EQ(mkfifo("m/x.mp3", 0644), 0);
    make("y.mp3", "y");
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), rows{"y"});
}

TEST_F(scan, passes_over_closed_folders_and_names_closed_files)
{
    ASSERT_EQ(mkdir("m/closed", 0755), 0);
    make("closed/x.mp3", "x");
    make("y.mp3", "y");
    make("z.mp3", "z");
    ASSERT_EQ(chmod("m/closed", 0), 0);
    ASSERT_EQ(chmod("m/y.mp3", 0), 0);
    ASSERT_EQ(library_close(), 0);
    ASSERT_EQ(chmod("library.db", 0666), 0);
    ASSERT_EQ(chmod(folder.path.c_str(), 0777), 0);
    const int result = scratch_as_nobody([&] {
        const int errors = open("errors", O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (library_open() != 0 || dup2(errors, 2) < 0)
            return 1;
        return library_scan() == 0 && library_close() == 0 ? 0 : 2;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(scratch_read("errors"), "error scanning file: " + music + "/y.mp3\n");
    EXPECT_EQ(titles(), rows{"z"});
    ASSERT_EQ(library_open(), 0);
}

TEST_F(scan, goes_down_as_deep_as_a_path_may_be_long)
{
    std::string path = music;
    ASSERT_EQ(chdir("m"), 0);
    int depth = 0;
    for (; path.size() < 3900; depth++) {
        ASSERT_EQ(mkdir("d", 0755), 0);
        ASSERT_EQ(chdir("d"), 0);
        path += "/d";
    }
    ASSERT_GT(depth, 1900);
    maker_file deep;
    deep.title = "deep";
    ASSERT_EQ(maker_track("deep.mp3", deep), 0);
    ASSERT_EQ(chdir(folder.path.c_str()), 0);
    /* On a worker, whose stack is small. */
    static std::atomic<int> result;
    result = 1;
    ASSERT_EQ(thread_start(
                  "scan", [](void *) { result = library_scan(); }, nullptr),
              0);
    ASSERT_EQ(thread_settle(60000), 0);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(titles(), rows{"deep"});
}

TEST_F(scan, stays_in_its_transaction_when_a_statement_of_the_frame_fails)
{
    make("a.mp3", "a");
    EXPECT_EQ(scan_errors(0), "");
    make("b.mp3", "b");
    /* A reader keeps the last statement from succeeding. */
    sqlite3 *reader = nullptr;
    ASSERT_EQ(sqlite3_open("library.db", &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT * FROM zervp_urls;", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(scan_errors(-1), "");
    ASSERT_EQ(sqlite3_exec(reader, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(reader);
    EXPECT_EQ(scan_errors(-1), "") << "the next one cannot begin";
    EXPECT_STREQ(db_err_msg(library_db), "cannot start a transaction within a transaction");
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(titles(), rows{"a"}) << "the old library is back";
    ASSERT_EQ(library_open(), 0);
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(titles(), (rows{"a", "b"}));
}

TEST_F(scan, ends_at_the_first_statement_that_fails)
{
    for (int n = 1; n <= 9; n++) {
        fault_set(("db_exec:" + std::to_string(n)).c_str());
        EXPECT_EQ(library_scan(), -1) << n;
        fault_set(nullptr);
        ASSERT_EQ(library_close(), 0);
        ASSERT_EQ(library_open(), 0);
    }
    fault_set("db_exec:10");
    EXPECT_EQ(library_scan(), -1) << "the commit";
}

TEST_F(scan, fails_without_a_database)
{
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(library_scan(), -1);
    EXPECT_EQ(library_scan_dir(music.c_str()), 0);
}

TEST_F(scan, lets_one_of_two_at_once_fail)
{
    for (int i = 0; i < 300; i++)
        make(std::to_string(i) + ".mp3", "t");
    std::atomic<int> sum = 0;
    std::thread one([&] { sum += library_scan(); });
    std::thread two([&] { sum += library_scan(); });
    one.join();
    two.join();
    /* Where the second began after the first had ended, both succeed. */
    EXPECT_TRUE(sum == -1 || sum == 0);
    EXPECT_EQ(titles().size(), 300u);
}

TEST_F(scan, ends_soon_when_the_library_is_closed_under_it)
{
    make("old.mp3", "old");
    EXPECT_EQ(scan_errors(0), "");
    for (int i = 0; i < 1500; i++)
        make(std::to_string(i) + ".ogg", "t");
    testing::internal::CaptureStderr();
    std::atomic<int> result = 1;
    std::thread worker([&] { result = library_scan(); });
    while (library_rows("SELECT 1").empty() || thread_running() == 0)
        std::this_thread::yield();
    EXPECT_EQ(library_close(), 0);
    worker.join();
    EXPECT_EQ(result, -1);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_LT(errors.size(), 500u) << "at most the file at hand is named:\n" << errors;
    EXPECT_EQ(titles(), rows{"old"});
    ASSERT_EQ(library_open(), 0);
}

TEST_F(scan, reads_every_file_without_threads_of_its_own)
{
    for (int i = 0; i < 200; i++)
        make(std::to_string(i) + ".mp3", std::to_string(i));
    fault_set("thread_start");
    EXPECT_EQ(scan_errors(0), "");
    fault_set(nullptr);
    const auto alone = library_tables();
    EXPECT_EQ(alone.at("tracks").size(), 200u);
    EXPECT_EQ(scan_errors(0), "");
    EXPECT_EQ(library_tables(), alone);
}

TEST_F(scan, adds_single_files_and_folders)
{
    make("a.mp3", "a");
    make("b.mp3", "b");
    EXPECT_EQ(library_add_file((music + "/a.mp3").c_str(), music.c_str()), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(library_add_file((music + "/a.mp3").c_str(), music.c_str()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "database error: UNIQUE constraint failed: zervp_urls.path\n");
    EXPECT_EQ(library_add_file((music + "/missing.mp3").c_str(), music.c_str()), -1);
    EXPECT_EQ(library_add_file((music + "/a.txt").c_str(), music.c_str()), -1);
    EXPECT_EQ(library_add_file((music + "/l.m3u").c_str(), music.c_str()), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(library_add_file((music + "/l.m3u").c_str(), music.c_str()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "database error: UNIQUE constraint failed: zervp_playlists.path\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(library_scan_dir(music.c_str()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "database error: UNIQUE constraint failed: zervp_urls.path\n"
              "error scanning file: " +
                  music + "/a.mp3\n");
    EXPECT_EQ(titles(), (rows{"a", "b"}));
}

static long memory_kib(const char *field)
{
    const std::string status = scratch_read("/proc/self/status");
    const size_t at = status.find(field);
    return at == std::string::npos ? 0
                                   : strtol(status.c_str() + at + strlen(field) + 1, nullptr, 10);
}

/* An ID3 block that says it is 255 MiB long, in a file of `size` bytes without anything else; its
 * one frame says it is a title of 200 MiB. */
static void make_huge_claim(const std::string &path, off_t size)
{
    const std::string head = std::string("ID3\3\0\0\x7f\x7f\x7f\x7f", 10) +
                             std::string("TIT2\x0c\x80\0\0\0\0\0", 11) + std::string(5000, 't');
    scratch_write(path, head);
    ASSERT_EQ(truncate(path.c_str(), size), 0);
}

TEST_F(scan, takes_little_memory_whatever_a_tag_claims)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer's shadow memory counts as ours; the plain build measures";
#endif
    for (int i = 0; i < 8; i++) {
        make_huge_claim("m/short" + std::to_string(i) + ".mp3", 6000);
        make_huge_claim("m/long" + std::to_string(i) + ".mp3", 300 << 20);
    }
    for (int i = 0; i < 1000; i++)
        make("x" + std::to_string(i) + ".flac", std::string(1500, 't') + std::to_string(i));
    scratch_write("/proc/self/clear_refs", "5"); /* the peak starts here */
    const long before = memory_kib("VmRSS:");
    testing::internal::CaptureStderr();
    EXPECT_EQ(library_scan(), 0);
    (void)testing::internal::GetCapturedStderr();
    EXPECT_LT(memory_kib("VmHWM:") - before, 20 * 1024);
    EXPECT_GE(titles().size(), 1000u);
}
