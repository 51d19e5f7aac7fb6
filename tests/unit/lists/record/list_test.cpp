#include "lists/record/list.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>

static char **make_rows(uint32_t count)
{
    char **rows = list_items_new(count);
    for (uint32_t i = 0; i < count; i++)
        rows[i] = strdup("row");
    return rows;
}

TEST(list, items_are_made_empty)
{
    char **rows = list_items_new(3);
    ASSERT_NE(rows, nullptr);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(rows[i], nullptr);
    free(rows);
    EXPECT_EQ(list_items_new(0), nullptr);
}

TEST(list, setting_rows_frees_the_old_ones)
{
    list one = {};
    list_set_rows(&one, make_rows(3), 3);
    char **second = make_rows(2);
    list_set_rows(&one, second, 2); /* the leak checker sees the first three go */
    {
        sys_guard guard(list_lock);
        EXPECT_EQ(one.items, second);
    }
    EXPECT_EQ(list_count(&one), 2u);
    EXPECT_EQ(view_list_free(&one), 0);
}

TEST(list, freeing_leaves_the_count_alone)
{
    list one = {};
    list_set_rows(&one, make_rows(3), 3);
    EXPECT_EQ(view_list_free(&one), 0);
    {
        sys_guard guard(list_lock);
        EXPECT_EQ(one.items, nullptr);
    }
    EXPECT_EQ(list_count(&one), 3u);
    EXPECT_EQ(view_list_free(&one), 0); /* a stale count is not walked */
}

TEST(list, row_that_memory_was_short_for_is_no_trouble)
{
    list one = {};
    char **rows = make_rows(3);
    free(rows[1]);
    rows[1] = nullptr;
    list_set_rows(&one, rows, 3);
    EXPECT_EQ(view_list_free(&one), 0);
}

static list shared = {};
static std::atomic<bool> reading{true};

static void *read_rows(void *)
{
    size_t characters = 0;
    while (reading) {
        sys_guard guard(list_lock);
        for (uint32_t i = 0; shared.items && i < shared.count; i++)
            characters += strlen(shared.items[i]);
    }
    return reinterpret_cast<void *>(characters);
}

TEST(list, rows_are_swapped_under_the_lock_that_readers_hold)
{
    pthread_t reader;
    ASSERT_EQ(pthread_create(&reader, nullptr, read_rows, nullptr), 0);
    for (uint32_t i = 0; i < 5000; i++)
        list_set_rows(&shared, make_rows(i % 7), i % 7);
    reading = false;
    pthread_join(reader, nullptr);
    EXPECT_EQ(list_count(&shared), 4999u % 7);
    view_list_free(&shared);
}

TEST(list, lent_rows_stay_their_owners)
{
    char first[] = "first", second[] = "second", third[] = "third";
    const sys_guard guard(list_lock);
    list one = {};
    char **rows = list_items_new(3);
    rows[0] = first;
    rows[1] = second;
    rows[2] = third;
    list_lend_rows(&one, rows, 3);
    list_drop_lent_row(&one, 3); /* there is none */
    list_drop_lent_row(&one, 1);
    ASSERT_EQ(one.count, 2u);
    EXPECT_EQ(one.items[0], first);
    EXPECT_EQ(one.items[1], third);
    list_drop_lent_row(&one, 1);
    list_drop_lent_row(&one, 0);
    EXPECT_EQ(one.count, 0u);
    EXPECT_EQ(one.items, nullptr);
    list_set_rows(&one, make_rows(2), 2);
    list_drop_lent_row(&one, 0); /* these are the list's own */
    EXPECT_EQ(one.count, 2u);
    EXPECT_EQ(view_list_free(&one), 0);
}
