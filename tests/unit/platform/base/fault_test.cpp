/* Faults on request. */
#include "platform/base/fault.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

TEST(fault, reads_the_environment_at_the_first_question)
{
    setenv("ZERV_FAULT", "touch_close,file_fopen:3", 1);
    EXPECT_TRUE(fault_hit("touch_close"));
    EXPECT_TRUE(fault_hit("touch_close"));
    EXPECT_FALSE(fault_hit("file_fopen"));
    EXPECT_FALSE(fault_hit("file_fopen"));
    EXPECT_TRUE(fault_hit("file_fopen"));
    EXPECT_FALSE(fault_hit("file_fopen"));
}

TEST(fault, names_match_whole)
{
    fault_set("touch_close");
    EXPECT_FALSE(fault_hit("touch"));
    EXPECT_FALSE(fault_hit("touch_close_all"));
}

TEST(fault, nothing_fails_when_cleared)
{
    fault_set("a");
    EXPECT_TRUE(fault_hit("a"));
    fault_set("");
    EXPECT_FALSE(fault_hit("a"));
    fault_set("a");
    fault_set(nullptr);
    EXPECT_FALSE(fault_hit("a"));
}

TEST(fault, setting_again_counts_anew)
{
    fault_set("a:2");
    EXPECT_FALSE(fault_hit("a"));
    fault_set("a:2");
    EXPECT_FALSE(fault_hit("a"));
    EXPECT_TRUE(fault_hit("a"));
}

TEST(fault, one_operation_may_fail_twice)
{
    fault_set("a:1,a:3");
    EXPECT_TRUE(fault_hit("a"));
    EXPECT_FALSE(fault_hit("a"));
    EXPECT_TRUE(fault_hit("a"));
}

TEST(fault, says_what_it_cannot_use)
{
    testing::internal::CaptureStderr();
    fault_set("a:x,:3,b:0,c,");
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("a:x"), std::string::npos);
    EXPECT_NE(said.find("b:0"), std::string::npos);
    EXPECT_FALSE(fault_hit("a"));
    EXPECT_FALSE(fault_hit("b"));
    EXPECT_TRUE(fault_hit("c"));
}

TEST(fault, survives_a_list_beyond_its_room)
{
    std::string list;
    for (int i = 0; i < 1000; i++)
        list += "name" + std::to_string(i) + ",";
    list += std::string(10000, 'x');
    testing::internal::CaptureStderr();
    fault_set(list.c_str());
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(fault_hit("name0"));
    EXPECT_TRUE(fault_hit("name63"));
    EXPECT_FALSE(fault_hit("name64"));
    EXPECT_FALSE(fault_hit("name999"));
    fault_set("");
}
