#include "platform/file/file.h"

#include "support/scratch.h"

#include <climits>

TEST(file_keep, takes_nine_names_and_then_none)
{
    const scratch folder;
    for (int number = 1; number <= 10; number++) {
        scratch_write("a", std::to_string(number));
        EXPECT_EQ(file_keep_old("a"), number <= 9 ? 0 : -1) << number;
        EXPECT_EQ(scratch_read("a"), std::to_string(number)) << "it stays in its place";
    }
    EXPECT_EQ(scratch_read("a"), "10");
    EXPECT_EQ(scratch_read("a.old"), "1");
    for (int number = 2; number <= 9; number++)
        EXPECT_EQ(scratch_read("a.old" + std::to_string(number)), std::to_string(number));
    EXPECT_FALSE(scratch_exists("a.old10"));
}

TEST(file_keep, moves_what_cannot_be_read_and_keeps_no_folder)
{
    const scratch folder;
    ASSERT_EQ(mkdir("open", 0777), 0);
    ASSERT_EQ(chmod("open", 0777), 0);
    scratch_write("open/a", "mine");
    ASSERT_EQ(chmod("open/a", 0), 0);
    EXPECT_EQ(scratch_as_nobody([] { return file_keep_old("open/a") == 0 ? 0 : 1; }), 0);
    EXPECT_FALSE(scratch_exists("open/a"));
    ASSERT_EQ(chmod("open/a.old", 0600), 0);
    EXPECT_EQ(scratch_read("open/a.old"), "mine");
    EXPECT_EQ(file_keep_old("open"), 0) << "nothing is to be kept of it";
    EXPECT_EQ(file_keep_old("none"), 0);
    EXPECT_EQ(file_keep_old("open/a.old/none"), -1);
    EXPECT_EQ(file_keep_old(nullptr), -1);
}

TEST(file_keep, refuses_a_name_that_cannot_grow)
{
    const scratch folder;
    const std::string longest(NAME_MAX, 'n'), fits(NAME_MAX - 4, 'n');
    scratch_write(longest, "mine");
    EXPECT_EQ(file_keep_old(longest.c_str()), -1);
    EXPECT_EQ(scratch_read(longest), "mine");
    scratch_write(fits, "mine");
    EXPECT_EQ(file_keep_old(fits.c_str()), 0);
    EXPECT_EQ(scratch_read(fits + ".old"), "mine");
    EXPECT_EQ(file_keep_old(std::string(PATH_MAX, 'p').c_str()), -1);
}

TEST(file_replace_all, writes_all_or_leaves_the_old)
{
    const scratch folder;
    EXPECT_EQ(file_replace_all("a", "content", 7), 0);
    EXPECT_EQ(scratch_read("a"), "content");
    EXPECT_EQ(file_replace_all("a", nullptr, 0), 0);
    EXPECT_EQ(scratch_read("a"), "");
    EXPECT_EQ(file_replace_all("missing/a", "content", 7), -1);
    EXPECT_FALSE(scratch_exists("missing"));
}
