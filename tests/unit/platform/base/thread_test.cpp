/* Workers. */
#include "platform/base/clock.h"
#include "platform/base/fault.h"
#include "platform/base/thread.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>

static std::atomic<bool> gate{false};
static std::atomic<int> finished{0};

static void wait_at_gate(void *)
{
    while (!gate)
        clock_real_msleep(1);
    finished++;
}

class thread_workers : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        gate = false;
        finished = 0;
    }
    void TearDown() override
    {
        gate = true;
        EXPECT_EQ(thread_settle(10000), 0);
    }
};

TEST_F(thread_workers, are_counted_until_they_return)
{
    EXPECT_EQ(thread_running(), 0);
    ASSERT_EQ(thread_start("one", wait_at_gate, nullptr), 0);
    ASSERT_EQ(thread_start("two", wait_at_gate, nullptr), 0);
    EXPECT_EQ(thread_running(), 2);
    gate = true;
    EXPECT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(thread_running(), 0);
    EXPECT_EQ(finished, 2);
}

TEST_F(thread_workers, settle_gives_up_when_the_time_is_over)
{
    ASSERT_EQ(thread_start("slow", wait_at_gate, nullptr), 0);
    EXPECT_EQ(thread_settle(0), -1);
    EXPECT_EQ(thread_settle(20), -1);
    EXPECT_EQ(thread_settle(-5), -1);
    gate = true;
    EXPECT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(thread_settle(0), 0);
}

TEST_F(thread_workers, settle_may_leave_some_running)
{
    ASSERT_EQ(thread_start("slow", wait_at_gate, nullptr), 0);
    ASSERT_EQ(thread_start(
                  "quick", [](void *) { clock_real_msleep(20); }, nullptr),
              0);
    EXPECT_EQ(thread_settle_to(1, 10000), 0);
    EXPECT_EQ(thread_running(), 1);
    EXPECT_EQ(thread_settle_to(0, 10), -1);
}

TEST_F(thread_workers, own_their_job_and_carry_their_name)
{
    struct job {
        std::atomic<bool> done{false};
        std::string name;
        bool blocked = false;
    } work;
    ASSERT_EQ(thread_start(
                  "a name that is much too long",
                  [](void *given) {
                      job *self = static_cast<job *>(given);
                      char name[16] = "";
                      pthread_getname_np(pthread_self(), name, sizeof name);
                      self->name = name;
                      sigset_t set;
                      pthread_sigmask(SIG_SETMASK, nullptr, &set);
                      self->blocked = sigismember(&set, SIGTERM) == 1;
                  },
                  &work),
              0);
    EXPECT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(work.name, "a name that is ");
    EXPECT_TRUE(work.blocked) << "a signal must find the main thread";
}

TEST_F(thread_workers, have_a_stack_for_real_work)
{
    static std::atomic<int> sum{0};
    ASSERT_EQ(thread_start(
                  "deep",
                  [](void *) {
                      volatile char room[160 * 1024];
                      for (size_t i = 0; i < sizeof room; i += 1024)
                          room[i] = 1;
                      sum = room[1024];
                  },
                  nullptr),
              0);
    EXPECT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(sum, 1);
}

TEST_F(thread_workers, a_fault_leaves_none_running)
{
    fault_set("thread_start");
    EXPECT_EQ(thread_start("none", wait_at_gate, nullptr), -1);
    EXPECT_EQ(thread_running(), 0);
    fault_set("");
}

TEST_F(thread_workers, leave_the_signals_of_their_starter_as_they_were)
{
    sigset_t one, after;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &one, nullptr), 0);
    ASSERT_EQ(thread_start("one", wait_at_gate, nullptr), 0);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &after), 0);
    for (const int number : {SIGTERM, SIGINT, SIGALRM})
        EXPECT_EQ(sigismember(&after, number), 0) << number;
    EXPECT_EQ(sigismember(&after, SIGUSR1), 1);
    sigemptyset(&one);
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &one, nullptr), 0);
}

TEST_F(thread_workers, come_and_go_many_times)
{
    gate = true;
    for (int round = 0; round < 50; round++) {
        for (int i = 0; i < 4; i++)
            ASSERT_EQ(thread_start("many", wait_at_gate, nullptr), 0);
        ASSERT_EQ(thread_settle(10000), 0);
    }
    EXPECT_EQ(finished, 200);
}
