#include "platform/file/file.h"
#include "support/scratch.h"
#include "support/synced.h"

using texts = std::vector<std::string>;

static int replace(const char *path, const std::string &content)
{
    file_replacement *replacement = file_replace_open(path);
    if (!replacement)
        return -1;
    fwrite(content.data(), 1, content.size(), file_replace_stream(replacement));
    return file_replace_commit(replacement);
}

/* The step that syncs `path`, -1 when none does. */
static int step_of(const texts &steps, const std::string &what)
{
    for (size_t i = 0; i < steps.size(); i++)
        if (steps[i] == what)
            return static_cast<int>(i);
    return -1;
}

/* Twice the file: a memory card keeps where a file lies under its name, and writes it there with
 * the file, not with the folder. */
TEST(file_sync, bytes_reach_the_disk_before_the_name_and_the_name_with_file_and_folder)
{
    const scratch folder;
    char real[4096];
    ASSERT_NE(realpath(folder.path.c_str(), real), nullptr);
    const std::string path = std::string(real) + "/a";
    for (const char *content : {"made", "replaced"}) {
        (void)synced_take();
        ASSERT_EQ(replace(path.c_str(), content), 0);
        const texts steps = synced_take();
        ASSERT_EQ(steps.size(), 4u) << content;
        const std::string beside = steps[0].substr(5);
        EXPECT_EQ(steps[0].rfind("sync " + std::string(real) + "/", 0), 0u);
        EXPECT_EQ(steps[1], "rename " + beside + " " + path);
        EXPECT_EQ(steps[2], "sync " + path);
        EXPECT_EQ(steps[3], "sync " + std::string(real));
    }
}

TEST(file_sync, leaves_nothing_open)
{
    const scratch folder;
    const auto open_now = [] { return scratch_names("/proc/self/fd").size(); };
    const size_t before = open_now();
    ASSERT_EQ(replace("a", "new"), 0);
    EXPECT_EQ(open_now(), before);
    ASSERT_EQ(symlink("a", "link"), 0);
    ASSERT_EQ(replace("link", "newer"), 0);
    EXPECT_EQ(open_now(), before);
}

TEST(file_sync, what_does_not_reach_the_disk_does_not_take_the_name)
{
    const scratch folder;
    scratch_write("a", "old");
    synced_fails_at = 1;
    EXPECT_EQ(replace("a", "new"), -1);
    EXPECT_EQ(synced_fails_at, 0);
    EXPECT_EQ(scratch_read("a"), "old");
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

TEST(file_sync, a_name_that_cannot_be_synced_keeps_the_new_file)
{
    const scratch folder;
    for (const int n : {2, 3}) {
        scratch_write("a", "old");
        synced_fails_at = n;
        EXPECT_EQ(replace("a", "new"), 0);
        EXPECT_EQ(synced_fails_at, 0);
        EXPECT_EQ(scratch_read("a"), "new");
    }
}

/* 0 when replacing `path` syncs the file itself, and fails when that fails. */
static int synced_itself(const char *path)
{
    char real[4096];
    (void)synced_take();
    if (!realpath(path, real) || replace(path, "new") != 0)
        return 1;
    if (step_of(synced_take(), std::string("sync ") + real) < 0)
        return 2;
    /* The last one is the file itself, after what was collected beside it. */
    for (int n = 1; n < 4; n++) {
        synced_fails_at = n;
        const int result = replace(path, "newer");
        if (synced_fails_at != 0)
            return result == 0 ? 0 : 3;
        if (result == 0)
            return 4;
    }
    return 5;
}

TEST(file_sync, a_file_that_is_written_in_place_is_synced)
{
    const scratch folder;
    ASSERT_EQ(mkdir("closed", 0755), 0);
    scratch_write("closed/a", "a longer old content");
    ASSERT_EQ(chmod("closed/a", 0666), 0);
    ASSERT_EQ(chmod("closed", 0555), 0);
    EXPECT_EQ(scratch_as_nobody([] { return synced_itself("closed/a"); }), 0);
}

TEST(file_sync, a_file_that_is_copied_over_is_synced)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can make a file of another user";
    const scratch folder;
    ASSERT_EQ(mkdir("sticky", 0755), 0);
    ASSERT_EQ(chmod("sticky", 01777), 0);
    scratch_write("sticky/a", "a longer old content");
    ASSERT_EQ(chmod("sticky/a", 0666), 0);
    EXPECT_EQ(scratch_as_nobody([] { return synced_itself("sticky/a"); }), 0);
}
