#include "platform/base/linked.h"

#include <gtest/gtest.h>

#include <string>

static char letters[] = "abcdef";

static std::string forward(const linked &list)
{
    std::string text;
    for (const linked_node *node = list.head; node; node = node->next)
        text += *static_cast<char *>(node->data);
    return text;
}

static std::string backward(const linked &list)
{
    std::string text;
    for (const linked_node *node = list.tail; node; node = node->prev)
        text += *static_cast<char *>(node->data);
    return text;
}

struct linked_list : testing::Test {
    linked list;
    linked_node *nodes[4];

    void SetUp() override
    {
        ASSERT_EQ(linked_init(&list), 0);
        for (int i = 0; i < 4; i++)
            ASSERT_NE(nodes[i] = linked_add(&list, &letters[i]), nullptr);
    }
    void TearDown() override { linked_clear(&list); }
    void expect(const std::string &order)
    {
        EXPECT_EQ(forward(list), order);
        EXPECT_EQ(backward(list), std::string(order.rbegin(), order.rend()));
        EXPECT_EQ(list.count, order.size());
    }
};

TEST_F(linked_list, appends_at_the_tail)
{
    expect("abcd");
}

TEST_F(linked_list, removes_head_middle_and_tail)
{
    EXPECT_EQ(linked_remove(&list, nodes[1]), 0);
    expect("acd");
    EXPECT_EQ(linked_remove(&list, nodes[0]), 0);
    expect("cd");
    EXPECT_EQ(linked_remove(&list, nodes[3]), 0);
    expect("c");
    EXPECT_EQ(linked_remove(&list, nodes[2]), 0);
    expect("");
    EXPECT_EQ(list.head, nullptr);
    EXPECT_EQ(list.tail, nullptr);
}

TEST_F(linked_list, can_be_used_again_after_a_clear)
{
    EXPECT_EQ(linked_clear(&list), 0);
    expect("");
    ASSERT_NE(linked_add(&list, &letters[5]), nullptr);
    expect("f");
}

TEST_F(linked_list, survives_removal_while_walking)
{
    for (linked_node *node = list.head, *next = nullptr; node; node = next) {
        next = node->next;
        if (*static_cast<char *>(node->data) != 'c')
            linked_remove(&list, node);
    }
    expect("c");
}

TEST_F(linked_list, refuses_null)
{
    EXPECT_EQ(linked_remove(&list, nullptr), -1);
    EXPECT_EQ(linked_add(nullptr, letters), nullptr);
    EXPECT_EQ(linked_clear(nullptr), 0);
    expect("abcd");
}

#if defined(NDEBUG) && (defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__))
#error "a build with sanitizers evaluates what our own code promises"
#endif

#ifndef NDEBUG
TEST(linked_death_test, a_node_of_another_list_is_the_callers_mistake)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    linked list = {}, other = {};
    int data = 0;
    ASSERT_NE(linked_add(&list, &data), nullptr);
    linked_node *node = linked_add(&other, &data);
    ASSERT_NE(node, nullptr);
    EXPECT_DEATH((void)linked_remove(&list, node), "list->head");
    EXPECT_EQ(linked_remove(&other, node), 0);
    EXPECT_EQ(linked_clear(&list), 0);
}
#endif
