#include "core/steps.h"

#include "platform/base/fault.h"
#include "platform/base/str.h"

#include <gtest/gtest.h>
#include <string>

static std::string ran;

static int good(const char *name)
{
    ran += name;
    return 0;
}

static int bad(const char *name)
{
    ran += name;
    return -1;
}

static const program_step all_good[] = {
    {.name = "one", .message = "one falied", .run = [] { return good("1"); }, .asks_fault = true},
    {.name = "two", .message = "two failed", .run = [] { return good("2"); }},
    {.name = "three", .message = nullptr, .run = [] { return bad("3"); }},
    {.name = "four", .message = "four failed", .run = [] { return good("4"); }, .asks_fault = true},
};

static const program_step two_bad[] = {
    {.name = "one", .message = "one falied", .run = [] { return good("1"); }},
    {.name = "two", .message = "two failed", .run = [] { return bad("2"); }},
    {.name = "three", .message = "three falied", .run = [] { return bad("3"); }},
    {.name = "four", .message = "four failed", .run = [] { return good("4"); }},
};

static void name_a_file(step_subject &to)
{
    (void)str_copy(to, "some.file: gone");
}

static const program_step with_subject[] = {
    {.name = "one",
     .message = "one failed",
     .run = [] { return bad("1"); },
     .subject = name_a_file},
};

static const program_step without_words[] = {
    {.name = "one",
     .message = "one failed",
     .run = [] { return bad("1"); },
     .subject = [](step_subject &) {}},
};

class steps : public testing::Test
{
  protected:
    void SetUp() override
    {
        ran.clear();
        fault_set("");
        testing::internal::CaptureStderr();
        listening = true;
    }
    void TearDown() override
    {
        if (listening) {
            EXPECT_EQ(printed(), "");
        }
        fault_set("");
    }
    /* What went to standard error since the start. */
    std::string printed()
    {
        listening = false;
        return testing::internal::GetCapturedStderr();
    }

  private:
    bool listening = false;
};

TEST_F(steps, start_runs_all_in_order)
{
    EXPECT_EQ(steps_start(all_good, 4), 0);
    EXPECT_EQ(ran, "1234");
    EXPECT_EQ(printed(), "");
}

TEST_F(steps, start_stops_at_the_first_failure)
{
    EXPECT_EQ(steps_start(two_bad, 4), -1);
    EXPECT_EQ(ran, "12");
    EXPECT_EQ(printed(), "two failed\n");
}

TEST_F(steps, failure_names_what_it_failed_on_in_a_line_of_its_own)
{
    EXPECT_EQ(steps_start(with_subject, 1), -1);
    EXPECT_EQ(printed(), "one failed\nsome.file: gone\n");
}

TEST_F(steps, failure_with_nothing_to_name_prints_no_empty_line)
{
    EXPECT_EQ(steps_start(without_words, 1), -1);
    EXPECT_EQ(printed(), "one failed\n");
}

TEST_F(steps, stop_runs_all_and_reports_each_failure)
{
    EXPECT_EQ(steps_stop(two_bad, 4), -1);
    EXPECT_EQ(ran, "1234");
    EXPECT_EQ(printed(), "two failed\nthree falied\n");
}

TEST_F(steps, step_without_message_fails_nothing)
{
    EXPECT_EQ(steps_stop(all_good, 4), 0);
    EXPECT_EQ(printed(), "");
}

TEST_F(steps, fault_at_the_start_keeps_the_step_from_running)
{
    fault_set("four");
    EXPECT_EQ(steps_start(all_good, 4), -1);
    EXPECT_EQ(ran, "123");
    EXPECT_EQ(printed(), "four failed\n");
}

TEST_F(steps, fault_at_the_end_comes_after_the_step_did_its_work)
{
    fault_set("one");
    EXPECT_EQ(steps_stop(all_good, 4), -1);
    EXPECT_EQ(ran, "1234");
    EXPECT_EQ(printed(), "one falied\n");
}

TEST_F(steps, fault_of_a_step_that_asks_for_itself_is_left_to_it)
{
    fault_set("two:1");
    EXPECT_EQ(steps_start(all_good, 4), 0);
    EXPECT_TRUE(fault_hit("two")); /* still the first time anybody asks */
}
