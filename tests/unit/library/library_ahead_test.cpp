/* Tags that are read ahead come in order, and nothing is left of them when they are not wanted. */
#include "library/library_ahead.h"

#include "makers/maker_audio.h"
#include "platform/base/thread.h"
#include "support/allocations.h"
#include "support/scratch.h"

#include <memory>
#include <string>
#include <vector>

static std::vector<std::string> handed;
static size_t wanted = 0;

static int take(void *, const char *path, const char *dir, const library_tags *tags)
{
    EXPECT_STREQ(dir, "dir");
    EXPECT_EQ(tags->kind, library_file_kind::tagged);
    EXPECT_STREQ(tags->title, "Title");
    handed.emplace_back(path);
    return handed.size() < wanted ? 0 : -1;
}

/* The names are the file's, told apart by the slashes in front. */
static std::string path_of(size_t number)
{
    return "." + std::string(number + 1, '/') + "a.mp3";
}

/* How many were added until nothing more was wanted. */
static size_t read_ahead(size_t count, size_t enough)
{
    const auto ahead = std::make_unique<library_ahead>();
    handed.clear();
    wanted = enough;
    library_ahead_begin(ahead.get(), take, nullptr);
    size_t added = 0;
    while (added < count && library_ahead_add(ahead.get(), path_of(added).c_str(), "dir") == 0)
        added++;
    library_ahead_end(ahead.get());
    EXPECT_EQ(thread_settle(10000), 0);
    return added;
}

static void expect_in_order(size_t count)
{
    ASSERT_EQ(handed.size(), count);
    for (size_t i = 0; i < count; i++)
        ASSERT_EQ(handed[i], path_of(i));
}

TEST(library_ahead, all_come_in_order)
{
    const scratch folder;
    ASSERT_EQ(maker_track("a.mp3", {.title = "Title"}), 0);
    for (const size_t count : {0, 1, 16, 17, 64, 65, 130}) {
        EXPECT_EQ(read_ahead(count, SIZE_MAX), count);
        expect_in_order(count);
    }
}

TEST(library_ahead, none_come_once_no_more_are_wanted)
{
    const scratch folder;
    ASSERT_EQ(maker_track("a.mp3", {.title = "Title"}), 0);
    EXPECT_EQ(read_ahead(200, 10), 64u + 9) << "the tenth goes when the window is full again";
    expect_in_order(11); /* the end asks once more */
    EXPECT_EQ(read_ahead(30, 10), 30u) << "they go at the end";
    expect_in_order(10);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(library_ahead, what_is_not_wanted_leaves_nothing_behind)
{
    const scratch folder;
    ASSERT_EQ(maker_track("a.mp3", {.title = "Title"}), 0);
    (void)read_ahead(200, 10); /* threads and texts take theirs */
    const int64_t before = allocated_bytes;
    for (int i = 0; i < 5; i++)
        (void)read_ahead(200, 10);
    EXPECT_LT(allocated_bytes - before, 5 * 1024) << "54 files each time";
}
#endif
