#include "update/update_unpack.h"

#include "makers/maker_zip.h"
#include "support/scratch.h"
#include "support/synced.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

using texts = std::vector<std::string>;

/* A package with a file beside the program and one in a folder. */
struct update_sync_test : testing::Test {
    void SetUp() override
    {
        char path[PATH_MAX];
        ASSERT_NE(realpath(folder.path.c_str(), path), nullptr);
        root = path;
        ASSERT_EQ(mkdir("_tmp", 0755), 0);
        ASSERT_EQ(mkdir("bin", 0755), 0);
        maker_zip *zip = maker_zip_open("_tmp/update.zip");
        for (const char *name : {"player", "bin/data"})
            ASSERT_EQ(maker_zip_add(zip, name, "new", 3, maker_zip_deflate), 0);
        ASSERT_EQ(maker_zip_close(zip), 0);
        scratch_write("player", "old");
        (void)synced_take();
    }

    void TearDown() override
    {
        synced_fails_at = 0;
        synced_error = EIO;
        synced_fs_error = 0;
    }

    static int extract()
    {
        return update_extract("_tmp/update.zip", [] { return true; });
    }
    static int place() { return update_place("_tmp/update.zip"); }

    scratch folder;
    std::string root;
};

/* The names go with the whole disk, too: a memory card writes with a folder only that there is such
 * a name, and with a file where it lies. */
TEST_F(update_sync_test, contents_reach_the_disk_before_their_names)
{
    ASSERT_EQ(extract(), 0);
    EXPECT_EQ(synced_take(), texts{"syncfs " + root + "/_tmp"});
    ASSERT_EQ(place(), 0);
    EXPECT_EQ(synced_take(), (texts{"rename _tmp/new0/0 ./player", "rename _tmp/new0/1 ./bin/data",
                                    "syncfs " + root, "sync " + root, "sync " + root + "/bin"}));
}

TEST_F(update_sync_test, contents_that_do_not_reach_the_disk_are_given_up)
{
    synced_fs_error = EIO;
    EXPECT_EQ(extract(), -1);
    EXPECT_EQ(scratch_names("_tmp"), texts{"update.zip"});
    EXPECT_EQ(scratch_read("player"), "old");
}

TEST_F(update_sync_test, a_kernel_that_syncs_no_single_disk_syncs_all)
{
    synced_fs_error = ENOSYS;
    EXPECT_EQ(extract(), 0);
    EXPECT_EQ(synced_take(), texts{"sync all"});
}

TEST_F(update_sync_test, names_that_cannot_be_synced_keep_the_new_files)
{
    ASSERT_EQ(extract(), 0);
    synced_fs_error = EIO;
    synced_fails_at = 1;
    EXPECT_EQ(place(), 0);
    EXPECT_EQ(synced_fails_at, 0);
    EXPECT_EQ(scratch_read("player"), "new");
    EXPECT_EQ(scratch_read("bin/data"), "new");
}

TEST_F(update_sync_test, a_file_that_is_written_over_is_synced_itself)
{
    ASSERT_EQ(rename("player", "elsewhere"), 0);
    ASSERT_EQ(symlink("elsewhere", "player"), 0);
    ASSERT_EQ(extract(), 0);
    (void)synced_take();
    ASSERT_EQ(place(), 0);
    const texts steps = synced_take();
    EXPECT_EQ(std::count(steps.begin(), steps.end(), "sync " + root + "/elsewhere"), 1);
    EXPECT_EQ(scratch_read("elsewhere"), "new");

    ASSERT_EQ(extract(), 0);
    synced_fails_at = 1;
    EXPECT_EQ(place(), -1) << "what is not on the disk counts as installed";
    for (const int error : {EINVAL, ENOSYS}) {
        ASSERT_EQ(extract(), 0);
        synced_fails_at = 1;
        synced_error = error;
        EXPECT_EQ(place(), 0) << "a pipe has nothing to lose";
        EXPECT_EQ(synced_fails_at, 0);
    }
}
