/* Folders listed while memory runs out: all of it or nothing. */
#include "platform/file/file.h"
#include "support/allocations.h"
#include "support/scratch.h"

#include <string>

#ifdef ALLOCATIONS_ARE_COUNTED
static void list_with_each_allocation_failing(const char *dir, uint32_t count)
{
    int listed = 0;
    const int failed = fail_each_allocation([&] {
        const int64_t before = allocated_bytes;
        file_listing listing = {};
        const int result = file_list_dir(&listing, dir, nullptr);
        if (result == 0) {
            listed++;
            EXPECT_EQ(listing.count, count);
        } else {
            EXPECT_EQ(errno, ENOMEM);
            EXPECT_EQ(listing.count, 0u);
            EXPECT_EQ(listing.names, nullptr);
            EXPECT_EQ(listing.paths, nullptr);
        }
        EXPECT_EQ(file_free_dir(&listing), 0);
        EXPECT_EQ(allocated_bytes, before) << "nothing stays behind";
    });
    EXPECT_EQ(listed, 1) << "the last time, when none failed";
    EXPECT_GT(failed, static_cast<int>(count)) << "a name each, and what holds them";
}

TEST(file_list_memory, a_folder_is_listed_whole_or_not_at_all)
{
    const scratch folder;
    for (int i = 0; i < 70; i++) /* more than the first room holds */
        scratch_write(std::to_string(i), "");
    list_with_each_allocation_failing(".", 71);
    list_with_each_allocation_failing(folder.path.c_str(), 71);
}
#endif
