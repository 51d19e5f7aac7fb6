/* A scan that is killed leaves the old library whole. */
#include "library/library_scan.h"

#include "config/cfg.h"
#include "library/library.h"
#include "library_rows.h"
#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/db/db.h"
#include "support/scratch.h"
#include "support/seed.h"
#include "support/traced.h"

#include <sys/resource.h>

static void make_music(const std::string &dir, int count)
{
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    for (int i = 0; i < count; i++) {
        maker_file file;
        file.seconds = 0.05;
        file.title = "title " + std::to_string(i) + std::string(300, 't');
        file.artist = "artist " + std::to_string(i / 10);
        file.album = "album " + std::to_string(i / 5);
        ASSERT_EQ(maker_track(dir + "/" + std::to_string(i) + (i % 2 ? ".mp3" : ".ogg"), file), 0);
    }
}

static int scan(const std::string &dir)
{
    snprintf(cfg_library_path, sizeof(cfg_library_path), "%s", dir.c_str());
    if (library_open() != 0)
        return -1;
    const int result = library_scan();
    return library_close() == 0 ? result : -1;
}

TEST(library_kill, leaves_the_old_library_or_a_whole_new_one)
{
    if (!traced_possible())
        GTEST_SKIP() << "an emulator stops no program at its calls";
    const scratch folder;
    ASSERT_EQ(audio_init(), 0);
    make_music("old", 100);
    make_music("new", 200);
    const auto work = [] { return scan("new"); };
    const int range = traced_stops(work);
    ASSERT_GT(range, 1000);
    const auto new_tables = library_tables();
    ASSERT_EQ(scan("old"), 0);
    const auto old_tables = library_tables();
    ASSERT_NE(old_tables, new_tables);
    unsigned seed = seed_or(4711);
    int kept = 0;
    int interrupted = 0;
    for (int round = 0; round < 50; round++) {
        ASSERT_EQ(scan("old"), 0);
        const int stops = rand_r(&seed) % range;
        const traced_end end = traced_kill(work, stops);
        ASSERT_NE(end, traced_end::failed) << "the scan failed by itself";
        interrupted += scratch_exists("library.db-journal");
        const auto tables = library_tables();
        ASSERT_TRUE(tables == old_tables || tables == new_tables) << "stop " << stops;
        ASSERT_EQ(library_rows("PRAGMA integrity_check"), rows{"ok"});
        kept += tables == old_tables;
    }
    EXPECT_GT(kept, 5) << "killed too late to interrupt anything";
    EXPECT_GT(interrupted, 5) << "no scan was in the middle of its transaction";
}

/* Files may not grow beyond `bytes`, as on a disk that is full.
 *   pages  of memory before the scan writes to the disk */
static int scan_on_full_disk(const std::string &dir, rlim_t bytes, const char *pages)
{
    signal(SIGXFSZ, SIG_IGN);
    snprintf(cfg_library_path, sizeof(cfg_library_path), "%s", dir.c_str());
    if (library_open() != 0 || db_exec(library_db, pages, nullptr) != 0)
        return 1;
    const rlimit limit = {bytes, bytes};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 2;
    if (library_scan() != -1)
        return 3;
    return library_close() == 0 ? 0 : 4;
}

TEST(library_kill, leaves_the_old_library_on_a_full_disk)
{
    const scratch folder;
    ASSERT_EQ(audio_init(), 0);
    make_music("old", 100);
    make_music("new", 400);
    ASSERT_EQ(scan("old"), 0);
    const auto old_tables = library_tables();
    struct stat file;
    ASSERT_EQ(stat("library.db", &file), 0);
    const rlim_t room = static_cast<rlim_t>(file.st_size) + 20000;
    for (const char *pages : {"PRAGMA cache_size=4000;", "PRAGMA cache_size=10;"}) {
        const int errors = open("errors", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        const pid_t child = fork();
        if (child == 0) {
            dup2(errors, 2);
            _exit(scan_on_full_disk("new", room, pages));
        }
        close(errors);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << WEXITSTATUS(status);
        EXPECT_TRUE(library_tables() == old_tables) << pages;
        /* The scan ends with its transaction: not every file of the rest is named. */
        EXPECT_LT(scratch_read("errors").size(), 2000u) << scratch_read("errors").substr(0, 1000);
    }
    ASSERT_EQ(scan("new"), 0);
    EXPECT_EQ(library_rows("SELECT count(*) FROM zervp_tracks"), rows{"400"});
}
