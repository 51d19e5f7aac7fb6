/* The scripted clock may begin anywhere, also right before one of its words wraps. */
#include "device_virtual_fixture.h"

#include <algorithm>
#include <climits>

class device_virtual_clock : public device_virtual_script
{
  protected:
    void TearDown() override
    {
        unsetenv("ZERV_VIRTUAL_CLOCK");
        device_virtual_script::TearDown();
    }

    string run_from(const char *first_ms, const string &script)
    {
        setenv("ZERV_VIRTUAL_CLOCK", first_ms, 1);
        return run(script);
    }
};

TEST_F(device_virtual_clock, begins_where_it_is_told)
{
    (void)run_from("5000", "advance 3\n");
    ASSERT_FALSE(passes.empty());
    EXPECT_EQ(passes.front().ms, 5001);
    EXPECT_EQ(passes.back().ms, 5003);
}

TEST_F(device_virtual_clock, passes_both_wraps_of_its_milliseconds)
{
    (void)run_from("2147483646", "advance 3\n");
    EXPECT_EQ(passes.front().ms, INT_MAX);
    EXPECT_EQ(passes.back().ms, INT_MIN + 1);
    (void)run_from("4294967294", "advance 3\n");
    EXPECT_EQ(passes.front().ms, -1);
    EXPECT_EQ(passes.back().ms, 1);
}

TEST_F(device_virtual_clock, passes_both_wraps_of_its_seconds)
{
    int32_t seconds = 0;
    on_pass = [&](const pass_seen &) { seconds = clock_sec(); };
    (void)run_from("2147483647999", "advance 1\n");
    EXPECT_EQ(seconds, INT_MIN);
    (void)run_from("4294967295999", "advance 1\n");
    EXPECT_EQ(seconds, 0);
}

TEST_F(device_virtual_clock, plays_the_same_number_of_samples_wherever_it_begins)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    for (const char *first : {"1000000", "2147483000", "4294967000", "2147483647000"}) {
        (void)run_from(first, "advance 1000\n");
        EXPECT_EQ(read_file("sound.wav").size(), 44u + 44100 * 4) << first;
    }
}

TEST_F(device_virtual_clock, refuses_what_is_no_time)
{
    write_file("script.txt", "");
    for (const char *word : {"soon", "1x", "-1", "99999999999999999999"}) {
        setenv("ZERV_VIRTUAL_CLOCK", word, 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(sys_init(), -1) << word;
        EXPECT_NE(testing::internal::GetCapturedStderr().find(word), string::npos);
    }
}

TEST_F(device_virtual_clock, a_wall_clock_of_the_whole_world_has_no_hour_twice)
{
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    std::vector<time_t> seen;
    on_pass = [&](const pass_seen &) { seen.push_back(clock_wall()); };
    (void)run("wall 2027-10-31T00:30:00Z\nadvance 1\nwall 2027-10-31T01:30:00Z\nadvance 1\n");
    unsetenv("TZ");
    tzset();
    ASSERT_GE(seen.size(), 2u);
    EXPECT_EQ(seen[0], 1824942600); /* 02:30 summer time */
    EXPECT_EQ(seen[1], 1824946200); /* 02:30 again */
}

TEST_F(device_virtual_clock, seconds_go_on_behind_31_bits)
{
    static_assert(sizeof(time_t) == 8);
    std::vector<time_t> seen;
    on_pass = [&](const pass_seen &) { seen.push_back(clock_wall()); };
    (void)run("wall 2038-01-19T03:14:07Z\nadvance 2000\nwall 2039-02-03T04:05:06Z\nadvance 1\n");
    ASSERT_GE(seen.size(), 3u);
    EXPECT_EQ(seen.front(), 2147483647);
    EXPECT_NE(std::find(seen.begin(), seen.end(), 2147483649), seen.end());
    EXPECT_EQ(seen.back(), 2180318706);
}
