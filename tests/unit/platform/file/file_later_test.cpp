#include "platform/file/file_later.h"

#include "platform/base/fault.h"
#include "platform/base/thread.h"
#include "support/scratch.h"

#include <atomic>
#include <semaphore>
#include <thread>

static std::atomic<int> saves{0};
static std::atomic<pid_t> saved_by{0};
static std::binary_semaphore begun{0}, may_end{0};
static std::atomic<bool> held_up{false};

static int save()
{
    saved_by = gettid();
    saves++;
    if (held_up) {
        begun.release();
        may_end.acquire();
    }
    return 0;
}

static constinit file_later kept = {.save = save};
static constinit file_later other = {.save = save};

struct file_later_test : testing::Test {
    void SetUp() override
    {
        saves = 0;
        held_up = false;
    }
    void TearDown() override
    {
        fault_set(nullptr);
        file_later_end();
        EXPECT_EQ(thread_settle(10000), 0);
    }
};

TEST_F(file_later_test, saves_at_once_before_it_has_begun_and_after_it_has_ended)
{
    file_later_want(&kept);
    EXPECT_EQ(saves, 1);
    EXPECT_EQ(saved_by, gettid());
    file_later_begin();
    file_later_end();
    file_later_want(&kept);
    EXPECT_EQ(saves, 2);
    EXPECT_EQ(saved_by, gettid());
}

TEST_F(file_later_test, keeps_nobody_waiting_and_makes_one_of_many)
{
    held_up = true;
    file_later_begin();
    file_later_want(&kept);
    begun.acquire(); /* the disk is busy now */
    for (int i = 0; i < 100; i++)
        file_later_want(&kept);
    EXPECT_EQ(saves, 1);
    held_up = false;
    may_end.release();
    file_later_settle();
    EXPECT_EQ(saves, 2) << "the newest content, once";
    EXPECT_NE(saved_by, gettid());
}

TEST_F(file_later_test, saves_each_file)
{
    file_later_begin();
    file_later_want(&kept);
    file_later_want(&other);
    file_later_want(&kept);
    file_later_settle();
    EXPECT_EQ(saves, 2);
    file_later_settle(); /* nothing to wait for */
    EXPECT_EQ(saves, 2);
}

TEST_F(file_later_test, ends_when_everything_is_saved)
{
    file_later_begin();
    file_later_want(&kept);
    file_later_end();
    EXPECT_EQ(saves, 1);
    EXPECT_EQ(thread_settle(10000), 0) << "no thread is left";
}

TEST_F(file_later_test, saves_without_a_thread_of_its_own)
{
    file_later_begin();
    fault_set("thread_start");
    file_later_want(&kept);
    EXPECT_EQ(saves, 1);
    EXPECT_EQ(saved_by, gettid());
    fault_set(nullptr);
    file_later_want(&kept);
    file_later_settle();
    EXPECT_EQ(saves, 2);
}

TEST_F(file_later_test, is_wanted_and_waited_for_by_many_threads)
{
    file_later_begin();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([] {
            for (int i = 0; i < 50; i++) {
                file_later_want(i % 2 ? &kept : &other);
                const int before = saves;
                file_later_settle();
                EXPECT_GE(saves, before);
            }
        });
    for (std::thread &each : threads)
        each.join();
    const int all = saves;
    EXPECT_GE(all, 2);
    EXPECT_LE(all, 200);
}
