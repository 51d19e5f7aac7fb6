#include "update/update_unpack.h"

#include "makers/maker_zip.h"
#include "platform/base/fault.h"
#include "support/scratch.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>

struct update_unpack_test : testing::Test {
    void SetUp() override
    {
        ASSERT_EQ(mkdir("_tmp", 0755), 0);
        zip = maker_zip_open("_tmp/update.zip");
    }
    void TearDown() override { fault_set(nullptr); }

    void add(const char *name, const std::string &content)
    {
        ASSERT_EQ(maker_zip_add(zip, name, content.data(), content.size(), maker_zip_deflate), 0);
    }
    int unpack()
    {
        EXPECT_EQ(maker_zip_close(zip), 0);
        return update_unpack("_tmp/update.zip");
    }
    static mode_t mode_of(const char *path)
    {
        struct stat state = {};
        EXPECT_EQ(stat(path, &state), 0) << path;
        return state.st_mode & 07777;
    }

    static bool wait_until_it_runs(pid_t child)
    {
        const std::string link = "/proc/" + std::to_string(child) + "/exe";
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end) {
            char target[4096] = "";
            if (readlink(link.c_str(), target, sizeof target - 1) > 0 &&
                std::string(target).ends_with("/player"))
                return true;
        }
        return false;
    }

    scratch folder;
    maker_zip *zip = nullptr;
};

TEST_F(update_unpack_test, writes_files_and_folders)
{
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/player", "new program");
    add("font", std::string(100000, 'f'));
    add("empty", "");
    EXPECT_EQ(unpack(), 0);
    EXPECT_EQ(scratch_read("bin/player"), "new program");
    EXPECT_EQ(scratch_read("font"), std::string(100000, 'f'));
    EXPECT_EQ(scratch_read("empty"), "");
}

TEST_F(update_unpack_test, replaces_files_and_leaves_others)
{
    scratch_write("player", "old");
    scratch_write("config.txt", "mine");
    add("player", "new");
    EXPECT_EQ(unpack(), 0);
    EXPECT_EQ(scratch_read("player"), "new");
    EXPECT_EQ(scratch_read("config.txt"), "mine");
    EXPECT_FALSE(scratch_exists("_tmp/player.0")) << "what can be written is not parked";
    EXPECT_FALSE(scratch_exists("_tmp/.new"));
}

TEST_F(update_unpack_test, keeps_executables_executable)
{
    scratch_write("player", "old");
    ASSERT_EQ(chmod("player", 0755), 0);
    scratch_write("data", "old");
    ASSERT_EQ(chmod("data", 0640), 0);
    add("player", "new");
    add("data", "new");
    add("fresh", "new");
    EXPECT_EQ(unpack(), 0);
    EXPECT_EQ(mode_of("player") & 0111, 0111u);
    EXPECT_EQ(mode_of("data") & 0111, 0u);
    EXPECT_EQ(mode_of("fresh") & 0600, 0600u);
    EXPECT_EQ(mode_of("fresh") & 0111, 0u);
}

TEST_F(update_unpack_test, parks_a_program_that_runs)
{
    ASSERT_EQ(system("cp /bin/sleep player"), 0);
    const std::string old = scratch_read("player");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        execl("./player", "./player", "60", nullptr);
        _exit(127);
    }
    ASSERT_TRUE(wait_until_it_runs(child));
    add("first", "1");
    add("second", "2");
    add("third", "3");
    add("player", "new program");
    EXPECT_EQ(unpack(), 0);
    EXPECT_EQ(scratch_read("player"), "new program");
    EXPECT_EQ(scratch_read("_tmp/player.3"), old);
    EXPECT_EQ(mode_of("player") & 0111, 0111u);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
}

TEST_F(update_unpack_test, parks_a_file_without_permission)
{
    scratch_write("data", "old");
    ASSERT_EQ(chmod("data", 0444), 0);
    add("data", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    ASSERT_EQ(chmod(".", 0777), 0);
    ASSERT_EQ(chmod("_tmp", 0777), 0);
    EXPECT_EQ(scratch_as_nobody([] { return update_unpack("_tmp/update.zip") == 0 ? 0 : 1; }), 0);
    EXPECT_EQ(scratch_read("data"), "new");
    EXPECT_EQ(scratch_read("_tmp/data.0"), "old");
}

TEST_F(update_unpack_test, writes_in_place_where_nothing_can_be_made)
{
    ASSERT_EQ(mkdir("closed", 0755), 0);
    scratch_write("closed/data", "an old and longer text");
    ASSERT_EQ(chmod("closed/data", 0666), 0);
    ASSERT_EQ(chmod("closed", 0555), 0);
    ASSERT_EQ(chmod(".", 0777), 0);
    ASSERT_EQ(chmod("_tmp", 0777), 0);
    add("closed/data", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(scratch_as_nobody([] { return update_unpack("_tmp/update.zip") == 0 ? 0 : 1; }), 0);
    EXPECT_EQ(scratch_read("closed/data"), "new");
}

TEST_F(update_unpack_test, stops_at_a_file_that_nobody_can_replace)
{
    ASSERT_EQ(mkdir("closed", 0755), 0);
    scratch_write("closed/data", "old");
    ASSERT_EQ(chmod("closed/data", 0444), 0);
    ASSERT_EQ(chmod("closed", 0555), 0);
    ASSERT_EQ(chmod(".", 0777), 0);
    ASSERT_EQ(chmod("_tmp", 0777), 0);
    add("before", "new");
    add("closed/data", "new");
    add("after", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(scratch_as_nobody([] { return update_unpack("_tmp/update.zip") == -1 ? 0 : 1; }), 0);
    EXPECT_EQ(scratch_read("before"), "new") << "what was placed stays";
    EXPECT_EQ(scratch_read("closed/data"), "old");
    EXPECT_FALSE(scratch_exists("after"));
}

TEST_F(update_unpack_test, writes_through_a_link_that_somebody_made)
{
    scratch_write("elsewhere", "old");
    ASSERT_EQ(symlink("elsewhere", "data"), 0);
    add("data", "new");
    EXPECT_EQ(unpack(), 0);
    EXPECT_EQ(scratch_read("elsewhere"), "new");
    struct stat state = {};
    ASSERT_EQ(lstat("data", &state), 0);
    EXPECT_TRUE(S_ISLNK(state.st_mode));
}

TEST_F(update_unpack_test, never_moves_a_folder)
{
    ASSERT_EQ(mkdir("music", 0755), 0);
    scratch_write("music/song", "dear");
    add("music", "new");
    EXPECT_EQ(unpack(), -1);
    EXPECT_EQ(scratch_read("music/song"), "dear");
}

TEST_F(update_unpack_test, stops_at_a_name_that_leaves_the_folder)
{
    add("before", "new");
    add("../outside", "new");
    EXPECT_EQ(unpack(), -1);
    EXPECT_EQ(scratch_read("before"), "new");
    EXPECT_FALSE(scratch_exists("../outside"));
}

TEST_F(update_unpack_test, replaces_nothing_by_damaged_data)
{
    scratch_write("player", "old");
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "player", "12345", 5), 0);
    EXPECT_EQ(unpack(), -1);
    EXPECT_EQ(scratch_read("player"), "old");
}

TEST_F(update_unpack_test, replaces_nothing_when_the_disk_is_full)
{
    scratch_write("player", "old");
    add("player", std::string(300000, 'n'));
    ASSERT_EQ(maker_zip_close(zip), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        (void)signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100000, 100000};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            _exit(2);
        _exit(update_unpack("_tmp/update.zip") == -1 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(scratch_read("player"), "old");
}

TEST_F(update_unpack_test, fails_cleanly_at_every_file_operation)
{
    add("player", "new");
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/data", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    for (const char *operation : {"file_fopen", "file_rename"}) {
        for (int nth = 1; nth < 20; nth++) {
            scratch_write("player", "old");
            fault_set((std::string(operation) + ":" + std::to_string(nth)).c_str());
            const int result = update_unpack("_tmp/update.zip");
            fault_set(nullptr);
            const std::string player = scratch_read("player");
            EXPECT_TRUE(player == "new" || player == "old") << operation << nth << player;
            if (result == 0) {
                EXPECT_EQ(player, "new");
                EXPECT_EQ(scratch_read("bin/data"), "new");
            }
        }
    }
    EXPECT_EQ(update_unpack("_tmp/update.zip"), 0);
}

/* A kill at any moment: every file is whole, old or new. */
TEST_F(update_unpack_test, leaves_whole_files_when_it_is_killed)
{
    for (int i = 0; i < 8; i++) {
        const std::string name = "file" + std::to_string(i);
        add(name.c_str(), std::string(400000, 'n'));
    }
    ASSERT_EQ(maker_zip_close(zip), 0);
    const std::string old(300000, 'o'), fresh(400000, 'n');
    int seen_old = 0, seen_new = 0;
    for (int round = 0; round < 40; round++) {
        for (int i = 0; i < 8; i++)
            scratch_write("file" + std::to_string(i), old);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            _exit(update_unpack("_tmp/update.zip") == 0 ? 0 : 1);
        /* Another moment in each round, by how far it has come. */
        const std::string watched = "file" + std::to_string(round % 8);
        struct stat state = {};
        const auto until = [&](off_t size) {
            while (waitpid(child, nullptr, WNOHANG) == 0)
                if (stat(watched.c_str(), &state) == 0 && state.st_size == size)
                    return true;
            return false;
        };
        if (until(400000)) {
            (void)kill(child, SIGKILL);
            (void)waitpid(child, nullptr, 0);
        }
        for (int i = 0; i < 8; i++) {
            const std::string content = scratch_read("file" + std::to_string(i));
            EXPECT_TRUE(content == old || content == fresh) << content.size();
            seen_old += content == old;
            seen_new += content == fresh;
        }
    }
    EXPECT_GT(seen_old, 0);
    EXPECT_GT(seen_new, 0);
}
