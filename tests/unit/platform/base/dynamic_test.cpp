#include "platform/base/dynamic.h"

#include "support/allocations.h"

#include <gtest/gtest.h>

struct pair {
    const char *name;
    const char *path;
};

static const pair &at(const dynamic &array, uint32_t index)
{
    return static_cast<const pair *>(array.data)[index];
}

static void add(dynamic *array, const char *name)
{
    const pair element = {name, "path"};
    ASSERT_EQ(dynamic_add(array, &element), 0);
}

TEST(dynamic, keeps_elements_in_the_order_added)
{
    dynamic array;
    ASSERT_EQ(dynamic_init(&array, sizeof(pair)), 0);
    EXPECT_EQ(array.count, 0u);
    static const char *const names[] = {"a", "b", "c"};
    for (int i = 0; i < 3000; i++)
        add(&array, names[i % 3]);
    ASSERT_EQ(array.count, 3000u);
    for (uint32_t i = 0; i < 3000; i++)
        ASSERT_STREQ(at(array, i).name, names[i % 3]);
    EXPECT_EQ(dynamic_free(&array), 0);
    EXPECT_EQ(array.count, 0u);
}

TEST(dynamic, removes_from_anywhere_and_keeps_the_order)
{
    dynamic array;
    ASSERT_EQ(dynamic_init(&array, sizeof(pair)), 0);
    for (const char *name : {"a", "b", "c", "d"})
        add(&array, name);
    EXPECT_EQ(dynamic_remove(&array, 1), 0);
    EXPECT_STREQ(at(array, 1).name, "c");
    EXPECT_EQ(dynamic_remove(&array, 2), 0);
    EXPECT_EQ(dynamic_remove(&array, 0), 0);
    ASSERT_EQ(array.count, 1u);
    EXPECT_STREQ(at(array, 0).name, "c");
    EXPECT_EQ(dynamic_remove(&array, 1), -1);
    EXPECT_EQ(dynamic_remove(&array, UINT32_MAX), -1);
    EXPECT_EQ(array.count, 1u);
    dynamic_free(&array);
}

TEST(dynamic, can_be_filled_again_after_a_clear)
{
    dynamic array;
    ASSERT_EQ(dynamic_init(&array, sizeof(pair)), 0);
    add(&array, "a");
    EXPECT_EQ(dynamic_clear(&array), 0);
    EXPECT_EQ(array.count, 0u);
    add(&array, "b");
    EXPECT_STREQ(at(array, 0).name, "b");
    dynamic_free(&array);
}

TEST(dynamic, refuses_what_it_cannot_do_and_stays_as_it_was)
{
    dynamic array = {};
    const pair element = {"a", "b"};
    EXPECT_EQ(dynamic_init(&array, 0), -1);
    EXPECT_EQ(dynamic_add(&array, &element), -1);
    EXPECT_EQ(dynamic_free(&array), 0);
    EXPECT_EQ(dynamic_free(&array), 0);
    EXPECT_EQ(dynamic_free(nullptr), 0);
}

TEST(dynamic, fails_to_grow_without_losing_elements)
{
    dynamic array;
    ASSERT_EQ(dynamic_init(&array, sizeof(pair)), 0);
    for (int i = 0; i < 8; i++)
        add(&array, "a");
    ASSERT_EQ(array.count, array.capacity);
    const dynamic before = array;
    array.capacity = array.count = UINT32_MAX / 2 + 1;
    const pair element = {"x", "y"};
    EXPECT_EQ(dynamic_add(&array, &element), -1);
    EXPECT_EQ(array.data, before.data);
    array = before;
    dynamic_free(&array);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(dynamic, stays_as_it_was_when_memory_runs_out)
{
    dynamic array;
    ASSERT_EQ(dynamic_init(&array, sizeof(pair)), 0);
    const pair element = {"x", "y"};
    allocation_to_fail = 1;
    EXPECT_EQ(dynamic_add(&array, &element), -1);
    EXPECT_EQ(array.count, 0u);
    for (int i = 0; i < 8; i++)
        add(&array, "a");
    const dynamic before = array;
    allocation_to_fail = 1;
    EXPECT_EQ(dynamic_add(&array, &element), -1);
    EXPECT_EQ(array.data, before.data);
    EXPECT_EQ(array.count, 8u);
    EXPECT_EQ(array.capacity, before.capacity);
    add(&array, "b");
    EXPECT_STREQ(at(array, 8).name, "b");
    dynamic_free(&array);
}
#endif
