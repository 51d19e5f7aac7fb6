#include "lists/playlist/list_cur_playlist_entries.h"

#include "support/allocations.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using texts = std::vector<std::string>;

/* Each test holds the playlist's lock as the playlist does. */
class list_cur_playlist_entries : public testing::Test
{
  protected:
    void SetUp() override
    {
        const sys_guard guard(list_cur_playlist_lock);
        ASSERT_EQ(list_cur_playlist_entries_init_locked(), 0);
    }
    void TearDown() override
    {
        const sys_guard guard(list_cur_playlist_lock);
        list_cur_playlist_entries_free_locked();
    }

    static int append(const char *name, const char *path)
    {
        const sys_guard guard(list_cur_playlist_lock);
        return list_cur_playlist_entries_append_locked(name, path);
    }
    static int remove(uint32_t index)
    {
        const sys_guard guard(list_cur_playlist_lock);
        return list_cur_playlist_entries_remove_locked(index);
    }
    static int32_t find(const char *path)
    {
        const sys_guard guard(list_cur_playlist_lock);
        const int32_t found = list_cur_playlist_entries_find_locked(path);
        EXPECT_EQ(list_cur_playlist_entries_has_locked(path), found >= 0) << path;
        return found;
    }
    /* "NAME PATH" of all. */
    static texts all()
    {
        const sys_guard guard(list_cur_playlist_lock);
        texts found;
        for (uint32_t i = 0; const auto *entry = list_cur_playlist_entries_at_locked(i); i++)
            found.push_back(std::string(entry->name) + " " + entry->path);
        EXPECT_EQ(found.size(), list_cur_playlist_cur.count);
        return found;
    }
};

TEST_F(list_cur_playlist_entries, keep_their_order_and_each_path_once)
{
    EXPECT_EQ(append("One", "/a/1.mp3"), 0);
    EXPECT_EQ(append("2.mp3", "/a/2.mp3"), 0);
    EXPECT_EQ(append("Other", "/a/1.mp3"), -1);
    EXPECT_EQ(append("", "/a/3.mp3"), 0);
    EXPECT_EQ(all(), (texts{"One /a/1.mp3", "2.mp3 /a/2.mp3", " /a/3.mp3"}));
    EXPECT_EQ(find("/a/2.mp3"), 1);
    EXPECT_EQ(find("/a/4.mp3"), -1);
    EXPECT_EQ(find(""), -1);
}

TEST_F(list_cur_playlist_entries, past_the_end_are_none)
{
    EXPECT_EQ(remove(0), -1);
    EXPECT_EQ(append("One", "1"), 0);
    EXPECT_EQ(append("Two", "2"), 0);
    EXPECT_EQ(remove(2), -1);
    EXPECT_EQ(remove(UINT32_MAX), -1);
    EXPECT_EQ(remove(0), 0);
    EXPECT_EQ(all(), texts{"Two 2"});
    EXPECT_EQ(find("1"), -1);
    EXPECT_EQ(find("2"), 0);
    EXPECT_EQ(append("One", "1"), 0) << "a path that was removed may come back";
    EXPECT_EQ(find("1"), 1);
}

TEST_F(list_cur_playlist_entries, are_named_anew)
{
    EXPECT_EQ(append("1.mp3", "/a/1.mp3"), 0);
    {
        const sys_guard guard(list_cur_playlist_lock);
        for (const char *name : {"A longer title", "mp3", "", "/a/1.mp3", "x/a/1.mp3"}) {
            EXPECT_EQ(list_cur_playlist_entries_name_locked(0, name), 0);
            EXPECT_STREQ(list_cur_playlist_entries_at_locked(0)->name, name);
        }
    }
    EXPECT_EQ(find("/a/1.mp3"), 0);
}

TEST_F(list_cur_playlist_entries, can_be_emptied_and_begun_again)
{
    EXPECT_EQ(append("One", "1"), 0);
    {
        const sys_guard guard(list_cur_playlist_lock);
        list_cur_playlist_entries_clear_locked();
    }
    EXPECT_EQ(all(), texts{});
    EXPECT_EQ(find("1"), -1);
    EXPECT_EQ(append("Two", "2"), 0);
    {
        const sys_guard guard(list_cur_playlist_lock);
        ASSERT_EQ(list_cur_playlist_entries_init_locked(), 0); /* frees what stood there */
    }
    EXPECT_EQ(all(), texts{});
    EXPECT_EQ(find("2"), -1);
    {
        const sys_guard guard(list_cur_playlist_lock);
        list_cur_playlist_entries_free_locked();
    }
    EXPECT_EQ(find("2"), -1) << "entries can be looked for in a playlist that has ended";
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(list_cur_playlist_entries, stay_as_they_are_when_memory_runs_out)
{
    for (int i = 0; i < 300; i++) {
        const std::string path = std::to_string(i);
        int n = 1;
        for (;; n++) {
            allocation_to_fail = n;
            const int result = append("Title", path.c_str());
            const bool failed = allocation_to_fail == 0;
            allocation_to_fail = 0;
            if (!failed) {
                ASSERT_EQ(result, 0) << i;
                break;
            }
            ASSERT_EQ(result, -1) << i;
            ASSERT_EQ(find(path.c_str()), -1) << i;
        }
        ASSERT_GT(n, 1) << "an entry has memory of its own";
        ASSERT_EQ(find(path.c_str()), i);
    }
    const sys_guard guard(list_cur_playlist_lock);
    allocation_to_fail = 1;
    EXPECT_EQ(list_cur_playlist_entries_name_locked(0, "Another"), -1);
    EXPECT_STREQ(list_cur_playlist_entries_at_locked(0)->name, "Title");
}
#endif
