#include "support/wait_for.h"
#include "update/update_unpack.h"

#include "makers/maker_zip.h"
#include "platform/base/fault.h"
#include "support/refused_calls.h"
#include "support/scratch.h"
#include "support/traced.h"

#include <cerrno>
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
    static int unpack_closed()
    {
        return update_extract("_tmp/update.zip", [] { return true; }) == 0
                   ? update_place("_tmp/update.zip")
                   : -1;
    }
    int unpack()
    {
        EXPECT_EQ(maker_zip_close(zip), 0);
        return unpack_closed();
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
        return wait_for([&] {
            char target[4096] = "";
            return readlink(link.c_str(), target, sizeof target - 1) > 0 &&
                   std::string(target).ends_with("/player");
        });
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
    EXPECT_EQ(scratch_as_nobody([] { return unpack_closed() == 0 ? 0 : 1; }), 0);
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
    EXPECT_EQ(scratch_as_nobody([] { return unpack_closed() == 0 ? 0 : 1; }), 0);
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
    EXPECT_EQ(scratch_as_nobody([] { return unpack_closed() == -1 ? 0 : 1; }), 0);
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

TEST_F(update_unpack_test, replaces_nothing_when_a_name_leaves_the_folder)
{
    scratch_write("before", "old");
    add("before", "new");
    add("../outside", "new");
    EXPECT_EQ(unpack(), -1);
    EXPECT_EQ(scratch_read("before"), "old");
    EXPECT_FALSE(scratch_exists("../outside"));
}

TEST_F(update_unpack_test, leaves_nothing_extracted_when_it_gives_up)
{
    static int asked;
    for (int i = 0; i < 600; i++)
        add(("file" + std::to_string(i)).c_str(), "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    asked = 0;
    EXPECT_EQ(update_extract("_tmp/update.zip", [] { return ++asked < 550; }), -1);
    EXPECT_EQ(asked, 550);
    EXPECT_EQ(scratch_names("_tmp"), std::vector<std::string>{"update.zip"});
    EXPECT_EQ(scratch_names("."), std::vector<std::string>{"_tmp"});
    EXPECT_EQ(unpack_closed(), 0);
    EXPECT_EQ(scratch_read("file599"), "new");
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
        _exit(unpack_closed() == -1 ? 0 : 1);
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
            const int result = unpack_closed();
            fault_set(nullptr);
            const std::string player = scratch_read("player");
            EXPECT_TRUE(player == "new" || player == "old") << operation << nth << player;
            if (result == 0) {
                EXPECT_EQ(player, "new");
                EXPECT_EQ(scratch_read("bin/data"), "new");
            }
        }
    }
    EXPECT_EQ(unpack_closed(), 0);
}

/* A kill at any system call: every file is whole, old or new, and new once the last was placed. */
TEST_F(update_unpack_test, leaves_whole_files_when_it_is_killed)
{
    if (!traced_possible())
        GTEST_SKIP() << "an emulator stops no program at its calls";
    const std::string old(5000, 'o'), fresh(9000, 'n');
    const std::vector<std::string> names = {"a", "b", "c", "d"};
    for (const std::string &name : names)
        add(name.c_str(), fresh);
    ASSERT_EQ(maker_zip_close(zip), 0);
    int seen_old = 0, seen_new = 0, seen_both = 0;
    for (int stops = 1;; stops += 3) {
        for (const std::string &name : names)
            scratch_write(name, old);
        const traced_end end = traced_kill([] { return unpack_closed() == 0 ? 0 : 1; }, stops);
        int count_old = 0, count_new = 0;
        for (const std::string &name : names) {
            const std::string content = scratch_read(name);
            ASSERT_TRUE(content == old || content == fresh) << content.size() << " at " << stops;
            count_old += content == old;
            count_new += content == fresh;
        }
        seen_old += count_new == 0;
        seen_new += count_old == 0;
        seen_both += count_old > 0 && count_new > 0;
        if (end == traced_end::ended)
            break;
        ASSERT_EQ(end, traced_end::killed);
    }
    EXPECT_GT(seen_old, 0);
    EXPECT_GT(seen_both, 0);
    EXPECT_GT(seen_new, 0);
}

/* A memory card knows neither modes nor second names. */
TEST_F(update_unpack_test, goes_on_where_a_card_refuses)
{
    if (!can_refuse_calls())
        GTEST_SKIP() << "an emulator refuses no calls";
    scratch_write("player", "old");
    add("player", "new");
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/data", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    for (const int error : {EPERM, ENOSYS, EOPNOTSUPP}) {
        scratch_write("player", "old");
        const auto work = [error] {
            refuse_calls({SYS_fchmod, SYS_fchmodat, SYS_fchown, SYS_link, SYS_linkat, SYS_symlink,
                          SYS_symlinkat, SYS_utimensat},
                         error);
            return unpack_closed() == 0 ? 0 : 1;
        };
        EXPECT_EQ(scratch_in_child(work), 0) << error;
        EXPECT_EQ(scratch_read("player"), "new");
        EXPECT_EQ(scratch_read("bin/data"), "new");
    }
}

TEST_F(update_unpack_test, leaves_out_what_a_card_has_no_name_for)
{
    if (!can_refuse_calls())
        GTEST_SKIP() << "an emulator refuses no calls";
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/data", "new");
    add("player", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    const auto work = [] {
        if (!freopen("said", "w", stderr) ||
            update_extract("_tmp/update.zip", [] { return true; }) != 0)
            return 2;
        refuse_creating(EINVAL);
        refuse_calls({SYS_mkdir, SYS_mkdirat, SYS_rename, SYS_renameat, SYS_renameat2}, EINVAL);
        const int result = update_place("_tmp/update.zip");
        return fflush(stderr) != 0 ? 3 : -result;
    };
    EXPECT_EQ(scratch_in_child(work), 0);
    const std::string said = scratch_read("said");
    EXPECT_NE(said.find("left out bin/data,"), std::string::npos) << said;
    EXPECT_NE(said.find("left out player,"), std::string::npos) << said;
    EXPECT_FALSE(scratch_exists("player"));
    /* What has a name already is no such case. */
    scratch_write("player", "old");
    EXPECT_EQ(scratch_in_child(work), 1);
    EXPECT_EQ(scratch_read("player"), "old");
}

TEST_F(update_unpack_test, knows_each_way_in_which_a_card_refuses_a_name)
{
    if (!can_refuse_calls())
        GTEST_SKIP() << "an emulator refuses no calls";
    add("player", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    for (const int error : {EINVAL, EILSEQ, ENAMETOOLONG, EIO, EACCES}) {
        const auto work = [error] {
            if (!freopen("said", "w", stderr) ||
                update_extract("_tmp/update.zip", [] { return true; }) != 0)
                return 2;
            refuse_creating(error);
            refuse_calls({SYS_mkdir, SYS_mkdirat, SYS_rename, SYS_renameat, SYS_renameat2}, error);
            return -update_place("_tmp/update.zip");
        };
        EXPECT_EQ(scratch_in_child(work), error == EIO || error == EACCES ? 1 : 0) << error;
        EXPECT_FALSE(scratch_exists("player"));
    }
}

/* The look for a name that a disk refuses makes a folder of that name. */
TEST_F(update_unpack_test, leaves_nothing_behind_where_a_name_is_none_of_the_reasons)
{
    if (!can_refuse_calls())
        GTEST_SKIP() << "an emulator refuses no calls";
    add("player", "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    const auto work = [] {
        if (update_extract("_tmp/update.zip", [] { return true; }) != 0)
            return 2;
        refuse_creating(EIO);
        refuse_calls({SYS_rename, SYS_renameat, SYS_renameat2}, EIO);
        return -update_place("_tmp/update.zip");
    };
    EXPECT_EQ(scratch_in_child(work), 1);
    EXPECT_FALSE(scratch_exists("player"));
}

/* Some thousand files reach the disk with one sync, and their names with another: a memory card
 * writes with each file where it lies, with the folders only that there is such a name. */
TEST_F(update_unpack_test, syncs_not_each_file)
{
    if (!traced_possible())
        GTEST_SKIP() << "an emulator stops no program at its calls";
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    for (int i = 0; i < 50; i++)
        add(("bin/file" + std::to_string(i)).c_str(), "new");
    ASSERT_EQ(maker_zip_close(zip), 0);
    const auto count = [](std::initializer_list<long> numbers) {
        return traced_count([] { return unpack_closed() == 0 ? 0 : 1; }, numbers);
    };
    EXPECT_EQ(count({SYS_syncfs}), 2);
    EXPECT_EQ(count({SYS_fsync, SYS_fdatasync}), 2);
}
