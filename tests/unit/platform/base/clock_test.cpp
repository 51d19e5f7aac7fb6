/* Time: its edges, and how long the main thread sleeps. */
#include "platform/base/clock.h"
#include "unit/platform/manual_device.h"

#include <gtest/gtest.h>
#include <thread>

class clock_of_device : public testing::Test
{
  protected:
    void SetUp() override
    {
        device_current = &manual_device;
        manual_ms = 1000000;
        manual_slept_ms = manual_waited_ms = -1;
        (void)clock_take_look(); /* of the test before */
    }
    void TearDown() override { device_current = nullptr; }
};

constexpr int64_t msec_wrap = int64_t{1} << 31; /* 24 days of uptime are possible */

TEST(clock_of_machine, moves_forward_without_a_device)
{
    device_current = nullptr;
    const int64_t before = clock_real_msec();
    clock_msleep(5); /* never shorter; how much longer is the machine's business */
    EXPECT_GE(clock_real_msec() - before, 5);
    /* Each reading lies between two of what it stands for. */
    const int64_t wall_before = time(nullptr);
    const int64_t wall = clock_wall();
    EXPECT_LE(wall_before, wall);
    EXPECT_LE(wall, int64_t{time(nullptr)});
    const int64_t real_before = clock_real_msec();
    const int64_t msec = clock_msec() & INT32_MAX, sec = clock_sec();
    const int64_t real_after = clock_real_msec();
    EXPECT_LE(real_before % msec_wrap, msec);
    EXPECT_LE(msec, real_after % msec_wrap);
    EXPECT_LE(real_before / 1000, sec);
    EXPECT_LE(sec, real_after / 1000);
}

TEST(clock_of_machine, tells_a_moment_to_wait_for)
{
    for (int32_t ms : {0, 1, 999, 1000, 1001, 61999}) {
        const timespec now = clock_real_after(-1), then = clock_real_after(ms);
        EXPECT_GE(then.tv_nsec, 0) << ms;
        EXPECT_LT(then.tv_nsec, 1000000000) << ms;
        const int64_t ahead = (static_cast<int64_t>(then.tv_sec) - now.tv_sec) * 1000000000 +
                              then.tv_nsec - now.tv_nsec;
        EXPECT_GE(ahead, static_cast<int64_t>(ms) * 1000000) << ms;
    }
}

TEST_F(clock_of_device, counts_seconds_and_milliseconds_from_one_base)
{
    manual_ms = 1234567;
    EXPECT_EQ(clock_msec(), 1234567);
    EXPECT_EQ(clock_sec(), 1234);
    EXPECT_EQ(clock_wall(), 1234);
}

TEST_F(clock_of_device, is_never_zero)
{
    manual_ms = 0;
    EXPECT_EQ(clock_msec(), 1);
    manual_ms = INT64_C(1) << 32;
    EXPECT_EQ(clock_msec(), 1);
}

TEST_F(clock_of_device, wraps_milliseconds_and_not_seconds)
{
    manual_ms = int64_t{INT32_MAX} + 1;
    EXPECT_EQ(clock_msec(), INT32_MIN);
    EXPECT_EQ(clock_sec(), 2147483);
}

TEST_F(clock_of_device, the_earliest_moment_asked_for_counts_once)
{
    EXPECT_EQ(clock_take_look(), INT32_MAX) << "nobody asked";
    clock_look_in(700);
    clock_look_in(300);
    clock_look_in(500);
    manual_ms += 100; /* a pass takes its time */
    EXPECT_EQ(clock_take_look(), 200);
    EXPECT_EQ(clock_take_look(), INT32_MAX);
    clock_look_in(0);
    manual_ms += 5;
    EXPECT_EQ(clock_take_look(), 0) << "past";
    clock_look_in(INT32_MAX);
    EXPECT_EQ(clock_take_look(), INT32_MAX);
}

TEST_F(clock_of_device, the_next_second_is_the_one_that_clock_sec_counts)
{
    for (const int64_t ms : {int64_t{5000}, int64_t{5001}, int64_t{5999}, (int64_t{1} << 32) + 7}) {
        manual_ms = ms;
        const int32_t second = clock_sec();
        clock_look_next_second();
        const int32_t look_ms = clock_take_look();
        manual_ms += look_ms - 1;
        EXPECT_EQ(clock_sec(), second) << ms;
        manual_ms += 1;
        EXPECT_EQ(clock_sec(), second + 1) << ms;
    }
}

static int64_t fraction_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_nsec / 1000000;
}

/* The fraction of the second is the machine's. */
TEST_F(clock_of_device, the_next_minute_is_looked_at_just_after_it_has_begun)
{
    for (const int64_t second : {int64_t{0}, int64_t{1}, int64_t{30}, int64_t{58}}) {
        int64_t before = 1, after = 0;
        int32_t look_ms = 0;
        while (before > after) { /* until it lies in one second */
            manual_ms = (600 + second) * 1000;
            before = fraction_ms();
            clock_look_next_minute();
            after = fraction_ms();
            look_ms = clock_take_look();
        }
        EXPECT_GE(look_ms, (60 - second) * 1000 - after + 20) << second;
        EXPECT_LE(look_ms, (60 - second) * 1000 - before + 20) << second;
    }
    manual_ms = 659 * 1000;
    clock_look_next_minute();
    EXPECT_LE(clock_take_look(), 1020);
}

TEST_F(clock_of_device, one_sleep_is_stretched_and_none_shortened)
{
    clock_stretch(300);
    clock_msleep(1);
    EXPECT_EQ(manual_waited_ms, 300);
    clock_msleep(1);
    EXPECT_EQ(manual_waited_ms, 1);
    clock_stretch(20);
    clock_msleep(50);
    EXPECT_EQ(manual_waited_ms, 50);
    EXPECT_EQ(manual_slept_ms, -1);
}

TEST_F(clock_of_device, other_threads_sleep_as_long_as_they_ask)
{
    clock_stretch(500);
    std::thread([] { clock_msleep(3); }).join();
    EXPECT_EQ(manual_slept_ms, 3);
    EXPECT_EQ(manual_waited_ms, -1);
    clock_stretch(0);
}

TEST_F(clock_of_device, tells_instead_of_sleeping_where_asked)
{
    bool noted = false;
    clock_note_sleeps(&noted);
    clock_msleep(1);
    clock_note_sleeps(nullptr);
    EXPECT_TRUE(noted);
    EXPECT_EQ(manual_waited_ms, -1);
    EXPECT_EQ(manual_slept_ms, -1);
    clock_msleep(1);
    EXPECT_GE(manual_waited_ms, 1);
}
