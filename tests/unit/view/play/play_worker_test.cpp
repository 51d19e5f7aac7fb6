#include "support/wait_for.h"
#include "view/play/play_worker.h"

#include "platform/base/fault.h"
#include "platform/base/thread.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <vector>

struct numbered_job {
    int number;
};

static std::mutex seen_lock;
static std::vector<int> ran, dropped;
static std::atomic<int> inside{0}, inside_most{0};
static std::atomic<bool> gate_open{false};

static void body(void *argument)
{
    auto *job = static_cast<numbered_job *>(argument);
    const int now = ++inside;
    inside_most = std::max(inside_most.load(), now);
    while (!gate_open)
        std::this_thread::yield();
    --inside;
    const std::lock_guard<std::mutex> guard(seen_lock);
    ran.push_back(job->number);
    delete job;
}

static void drop(void *argument)
{
    auto *job = static_cast<numbered_job *>(argument);
    const std::lock_guard<std::mutex> guard(seen_lock);
    dropped.push_back(job->number);
    delete job;
}

struct play_worker_test : testing::Test {
    void SetUp() override
    {
        ran.clear();
        dropped.clear();
        inside_most = 0;
        gate_open = false;
    }
    void TearDown() override
    {
        fault_set(nullptr);
        gate_open = true;
        EXPECT_EQ(thread_settle(10000), 0);
        const sys_guard guard(play_worker_lock);
        EXPECT_EQ(worker.waiting, nullptr);
        EXPECT_EQ(worker.running, 0u);
    }
    int give(int number) { return play_worker_give(&worker, new numbered_job{number}); }

    play_worker worker = {.name = "test", .body = body, .drop = drop, .limit = 1};
};

TEST_F(play_worker_test, runs_a_job)
{
    gate_open = true;
    EXPECT_EQ(give(1), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(ran, std::vector<int>{1});
}

TEST_F(play_worker_test, runs_only_the_newest_of_those_that_wait)
{
    EXPECT_EQ(give(1), 0);
    ASSERT_TRUE(wait_for([] { return inside == 1; }));
    for (int i = 2; i <= 200; i++)
        EXPECT_EQ(give(i), 0);
    EXPECT_EQ(thread_running(), 1);
    EXPECT_TRUE(play_worker_is_wanted(&worker));
    gate_open = true;
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(ran, (std::vector<int>{1, 200}));
    EXPECT_EQ(dropped.size(), 198u);
    EXPECT_FALSE(play_worker_is_wanted(&worker));
}

TEST_F(play_worker_test, never_runs_more_than_its_limit)
{
    worker.limit = 3;
    for (int i = 1; i <= 3; i++) {
        EXPECT_EQ(give(i), 0);
        ASSERT_TRUE(wait_for([i] { return inside == i; }));
    }
    EXPECT_FALSE(play_worker_is_wanted(&worker));
    EXPECT_EQ(give(4), 0);
    EXPECT_EQ(give(5), 0);
    EXPECT_EQ(thread_running(), 3);
    gate_open = true;
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_LE(inside_most, 3);
    std::sort(ran.begin(), ran.end());
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3, 5}));
}

TEST_F(play_worker_test, drops_the_job_when_no_thread_starts)
{
    fault_set("thread_start");
    EXPECT_EQ(give(1), -1);
    EXPECT_EQ(dropped, std::vector<int>{1});
    fault_set(nullptr);
    gate_open = true;
    EXPECT_EQ(give(2), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(ran, std::vector<int>{2});
}

TEST_F(play_worker_test, leaves_the_job_to_a_running_thread_when_no_other_starts)
{
    worker.limit = 2;
    EXPECT_EQ(give(1), 0);
    ASSERT_TRUE(wait_for([] { return inside == 1; }));
    fault_set("thread_start");
    EXPECT_EQ(give(2), 0);
    gate_open = true;
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

TEST_F(play_worker_test, takes_jobs_from_several_threads)
{
    gate_open = true;
    worker.limit = 3;
    std::vector<std::thread> givers;
    for (int t = 0; t < 4; t++)
        givers.emplace_back([this, t] {
            for (int i = 0; i < 250; i++)
                EXPECT_EQ(give(t * 1000 + i), 0);
        });
    for (std::thread &giver : givers)
        giver.join();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(ran.size() + dropped.size(), 1000u);
    EXPECT_LE(inside_most, 3);
}
