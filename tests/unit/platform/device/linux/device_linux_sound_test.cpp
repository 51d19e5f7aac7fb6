/* The speaker of the bare device: a card of the test's own, and the library's without a card. */
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/linux/device_linux.h"
#include "platform/sound/sound.h"
#include "support/wait_for.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <vector>

constexpr int32_t period = 960;
constexpr int32_t size = 5 * period;

/* A card that plays what it holds, by a clock that the test moves: each wait lets it run on to its
 * next wake-up. Sound thread, but for the atomics. */
struct test_card {
    std::atomic<int64_t> heard{0}; /* frames */
    std::atomic<int> underruns{0}, drops{0}, opened{0}, closed{0}, waits{0}, full_waits{0},
        starts{0};
    std::atomic<bool> swallow{false}, broken{false}, asleep{false};
    std::atomic<int32_t> late{0}; /* frames played on before the thread gets to run */
    std::atomic<int> open_result{0};
    int64_t limit = INT64_MAX; /* frames after which the card stops its clock */
    bool playing = false, stopped = false;
    int32_t held = 0;
    std::vector<int16_t> took; /* left channel */
};
static test_card card;

static void run_on(int32_t frames)
{
    const int32_t played = std::min(frames, card.held);
    card.held -= played;
    card.heard += played;
    if (card.held > 0)
        return;
    card.playing = false;
    card.stopped = true;
    card.underruns++;
}

static bool stop_is_due(int stop, int32_t ms)
{
    pollfd each = {.fd = stop, .events = POLLIN, .revents = 0};
    return poll(&each, 1, ms) > 0;
}

static bool card_wait(int stop, int32_t ms)
{
    card.waits++;
    card.full_waits += card.held == size;
    if (!card.playing || card.asleep || card.heard >= card.limit)
        return stop_is_due(stop, ms);
    if (stop_is_due(stop, 0))
        return true;
    run_on(2 * period + card.late);
    return true;
}

static int32_t card_write(const int16_t *samples, uint32_t frames)
{
    if (card.stopped || card.broken)
        return -1;
    const int32_t taken =
        std::min(static_cast<int32_t>(frames), size - (card.swallow ? 0 : card.held));
    for (int32_t i = 0; i < taken; i++)
        card.took.push_back(samples[i * 2]);
    card.held += card.swallow ? 0 : taken;
    return taken;
}

static int card_recover()
{
    card.stopped = card.playing = false;
    card.held = 0;
    return card.broken ? -1 : 0;
}

static int card_start()
{
    card.starts += !card.playing;
    card.playing = true;
    return 0;
}

static const linux_card fake = {
    .open =
        [] {
            card.opened++;
            card.stopped = card.playing = false;
            card.held = 0;
            return card.open_result.load();
        },
    .close = [] { card.closed++; },
    .room = [] { return card.stopped || card.broken ? -1 : size - card.held; },
    .size = [] { return size; },
    .period = [] { return period; },
    .delay = [] { return card.held; },
    .write = card_write,
    .recover = card_recover,
    .start = card_start,
    .drop =
        [] {
            card.drops++;
            card.stopped = true;
        },
    .wait = card_wait,
};

static std::atomic<bool> has_track{true};
static std::atomic<uint32_t> track_frames{UINT32_MAX};
static std::atomic<uint32_t> asked{0};

/* A ramp, so that a lost or doubled sample shows. */
static void on_sound(void *, void *buffer, uint32_t length)
{
    const uint32_t left = track_frames - asked;
    const uint32_t frames = std::min(length / sound_frame_bytes, left);
    if (!has_track || frames == 0) {
        clock_msleep(1);
        return;
    }
    int16_t *to = static_cast<int16_t *>(buffer);
    for (uint32_t i = 0; i < frames; i++)
        to[i * 2] = to[i * 2 + 1] = static_cast<int16_t>(asked++ % 30000 + 1);
}

static void expect_ramp(const std::vector<int16_t> &samples)
{
    for (size_t i = 0; i < samples.size(); i++)
        ASSERT_EQ(samples[i], static_cast<int16_t>(i % 30000 + 1)) << "frame " << i;
}

class linux_sound_of : public testing::Test
{
  protected:
    void SetUp() override
    {
        kept_card = linux_card_current;
        linux_card_current = &fake;
        device_current = &device_linux;
        card.heard = 0;
        card.underruns = card.drops = card.opened = card.closed = card.waits = card.full_waits =
            card.starts = 0;
        card.swallow = card.broken = card.asleep = false;
        card.late = card.open_result = card.held = 0;
        card.limit = INT64_MAX;
        card.playing = card.stopped = false;
        card.took.clear();
        has_track = true;
        track_frames = UINT32_MAX;
        asked = 0;
    }
    void TearDown() override
    {
        sound_close();
        linux_card_current = kept_card;
    }
    void open() { ASSERT_EQ(sound_open(on_sound, nullptr), 0); }

    const linux_card *kept_card = nullptr;
};

TEST_F(linux_sound_of, a_card_is_closed_while_nothing_plays_and_opened_for_a_track)
{
    track_frames = 3 * sound_rate;
    open();
    ASSERT_TRUE(wait_for([] { return card.closed == 1; }));
    EXPECT_EQ(card.opened, 1);
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
    track_frames = UINT32_MAX;
    sound_wake();
    ASSERT_TRUE(wait_for([] { return card.heard > 4 * sound_rate; }));
    EXPECT_EQ(card.opened, 2);
    sound_close();
    std::erase(card.took, 0); /* behind the end of the first track */
    expect_ramp(card.took);
}

/* ---- How much lies in a card, and when it wakes us ---- */

TEST(linux_card, is_filled_to_110_ms_and_wakes_at_most_25_times_a_second)
{
    const linux_card_plan plan = linux_card_plan_of(size, period);
    EXPECT_EQ(plan.fill, size);
    EXPECT_EQ(plan.wake_room, 2 * period);
    for (int32_t each : {64, 128, 441, 512, 940, 960, 1024, 1200, 1764, 2048}) {
        for (int32_t periods : {4, 5, 8, 16, 64}) {
            const int32_t all = each * periods;
            const linux_card_plan made = linux_card_plan_of(all, each);
            EXPECT_LE(made.fill, std::max(4851, 2 * each));
            EXPECT_LE(made.fill, all);
            if (made.fill >= 4800) {
                EXPECT_GE(made.wake_room - (all - made.fill), 1764) << each << " " << all;
                EXPECT_LE(made.wake_room - (all - made.fill), made.fill / 2 + each);
            }
        }
    }
}

TEST(linux_card, of_odd_measures_is_never_filled_beyond_its_size_nor_waited_for_when_empty)
{
    for (int32_t all : {1, 64, 100, 1024, 2048, 4096, 16384, 65536}) {
        for (int32_t each : {1, 64, 100, 1024, 4096, 16384}) {
            if (each > all)
                continue;
            const linux_card_plan made = linux_card_plan_of(all, each);
            EXPECT_GE(made.fill, 1);
            EXPECT_LE(made.fill, all);
            EXPECT_GE(made.wake_room, 1);
            EXPECT_LE(made.wake_room, all);
        }
    }
}

/* ---- Playing ---- */

TEST_F(linux_sound_of, the_card_is_full_whenever_the_thread_waits_for_it)
{
    open();
    EXPECT_TRUE(wait_for([] { return card.heard > 20 * 44100; })) << "its own clock paces";
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(card.underruns, 0);
    EXPECT_EQ(card.starts, 1);
    EXPECT_GE(card.waits, 20 * 44100 / (2 * period));
    EXPECT_GE(card.full_waits, card.waits - 1);
    EXPECT_EQ(card.closed, 1);
    expect_ramp(card.took);
}

TEST_F(linux_sound_of, a_thread_that_comes_60_ms_late_is_not_heard)
{
    card.late = 60 * 44100 / 1000;
    open();
    EXPECT_TRUE(wait_for([] { return card.heard > 5 * 44100; }));
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(card.underruns, 0);
    expect_ramp(card.took);
}

TEST_F(linux_sound_of, an_underrun_is_followed_by_the_next_sample)
{
    card.late = 100 * 44100 / 1000;
    open();
    EXPECT_TRUE(wait_for([] { return card.underruns > 20; }));
    EXPECT_EQ(sound_close(), 0);
    EXPECT_GT(card.starts, 20);
    expect_ramp(card.took);
}

TEST_F(linux_sound_of, the_shown_time_is_what_the_card_still_holds)
{
    card.asleep = true;
    open();
    EXPECT_TRUE(wait_for([] { return card.waits > 0; }));
    EXPECT_GT(sound_get_buffer_remaining(), 0);
    EXPECT_LE(sound_get_buffer_remaining(), size * 1000 / 44100);
    has_track = false;
    EXPECT_EQ(sound_reset(), 0);
    EXPECT_TRUE(wait_for([] { return card.drops > 0; }));
    EXPECT_TRUE(wait_for([] { return sound_get_buffer_remaining() == 0; }));
}

TEST_F(linux_sound_of, a_card_that_plays_seldom_or_never_lets_go_at_once)
{
    card.asleep = true;
    open();
    EXPECT_TRUE(wait_for([] { return card.waits > 0; }));
    const uint32_t before = asked;
    EXPECT_EQ(sound_reset(), 0);
    EXPECT_TRUE(wait_for([=] { return asked > before && card.drops > 0; }));
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(card.closed, 1);
}

TEST_F(linux_sound_of, a_card_that_does_not_wake_us_is_started_again)
{
    card.asleep = true;
    open();
    EXPECT_TRUE(wait_for([] { return card.starts >= 2; }));
    card.asleep = false;
    EXPECT_TRUE(wait_for([] { return card.heard > 44100; }));
}

TEST_F(linux_sound_of, a_sound_shorter_than_the_card_is_played)
{
    track_frames = 1000;
    open();
    EXPECT_TRUE(wait_for([] { return card.starts == 1; }));
    EXPECT_EQ(sound_close(), 0);
    ASSERT_EQ(card.took.size(), 1024u) << "two periods, the second with silence at its end";
    EXPECT_EQ(card.took[999], 1000);
    EXPECT_EQ(card.took[1000], 0);
}

TEST_F(linux_sound_of, plays_again_after_silence_and_after_a_reset)
{
    open();
    EXPECT_TRUE(wait_for([] { return card.heard > 4410; }));
    has_track = false;
    EXPECT_TRUE(wait_for([] { return sound_get_buffer_remaining() == 0; }));
    const int64_t before = card.heard;
    has_track = true;
    sound_wake();
    EXPECT_TRUE(wait_for([=] { return card.heard > before + 44100; }));
    EXPECT_EQ(sound_reset(), 0);
    EXPECT_TRUE(wait_for([] { return card.drops > 0; }));
    const int64_t after = card.heard;
    EXPECT_TRUE(wait_for([=] { return card.heard > after + 44100; }));
}

/* ---- Cards that do not play ---- */

TEST_F(linux_sound_of, a_card_that_swallows_does_not_race_through_the_playlist)
{
    card.swallow = true;
    testing::internal::CaptureStderr();
    open();
    const int64_t started = clock_real_msec();
    EXPECT_TRUE(wait_for([] { return asked > 44100; }));
    EXPECT_GE(clock_real_msec() - started, 700) << "a few periods are given away, no more";
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "the sound card does not keep time: playing to a silent clock\n");
}

TEST_F(linux_sound_of, a_card_that_is_pulled_out_leaves_a_silent_clock)
{
    open();
    EXPECT_TRUE(wait_for([] { return card.heard > 4410; }));
    card.broken = true;
    EXPECT_TRUE(wait_for([] { return card.waits > 0; }));
    const uint32_t before = asked;
    const int64_t started = clock_real_msec();
    EXPECT_TRUE(wait_for([=] { return asked > before + 44100 / 2; }));
    EXPECT_GE(clock_real_msec() - started, 300);
}

TEST_F(linux_sound_of, a_card_that_is_plugged_in_again_is_heard_again)
{
    linux_card_look_again_ms = 20;
    open();
    EXPECT_TRUE(wait_for([] { return card.heard > 4410; }));
    const int opened = card.opened;
    card.broken = true;
    card.open_result = -1;
    EXPECT_TRUE(wait_for([=] { return card.opened > opened + 2; })) << "it goes on looking";
    const int64_t heard = card.heard;
    card.broken = false;
    card.open_result = 0;
    EXPECT_TRUE(wait_for([=] { return card.heard > heard + 4410; }));
    const int found = card.opened;
    const uint32_t before = asked;
    EXPECT_TRUE(wait_for([=] { return asked > before + 44100 / 4; }));
    EXPECT_EQ(card.opened, found) << "and looks no more";
    linux_card_look_again_ms = 5000;
}

TEST_F(linux_sound_of, after_a_sleep_a_lost_card_is_looked_for_at_once)
{
    linux_card_look_again_ms = 1000000000;
    open();
    EXPECT_TRUE(wait_for([] { return card.heard > 4410; }));
    const int opened = card.opened;
    card.open_result = -1;
    card.broken = true;
    EXPECT_TRUE(wait_for([=] { return card.opened > opened; }));
    card.open_result = 0;
    card.broken = false;
    const int64_t heard = card.heard;
    linux_speaker_look();
    EXPECT_TRUE(wait_for([=] { return card.heard > heard + 4410; }));
    linux_card_look_again_ms = 5000;
}

TEST_F(linux_sound_of, a_card_that_is_plugged_in_after_the_start_is_found)
{
    linux_card_look_again_ms = 20;
    card.open_result = -1;
    testing::internal::CaptureStderr();
    open();
    EXPECT_TRUE(wait_for([] { return asked > 4410; }));
    card.open_result = 0;
    EXPECT_TRUE(wait_for([] { return card.heard > 4410; }));
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "there is no sound card: playing to a silent clock\n");
    linux_card_look_again_ms = 5000;
}

TEST_F(linux_sound_of, a_machine_without_a_card_says_so_once)
{
    card.open_result = -1;
    testing::internal::CaptureStderr();
    open();
    EXPECT_TRUE(wait_for([] { return asked > 4410; }));
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "there is no sound card: playing to a silent clock\n");
}

/* ---- The library ---- */

TEST_F(linux_sound_of, the_library_without_a_card_says_why)
{
    linux_card_current = kept_card;
    setenv("ALSA_CONFIG_PATH", "/no/such/file", 1);
    testing::internal::CaptureStderr();
    open();
    EXPECT_TRUE(wait_for([] { return asked > 4410; }));
    EXPECT_EQ(sound_close(), 0);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("no sound from default: No such file or directory"), std::string::npos)
        << said;
    EXPECT_NE(said.find("/no/such/file"), std::string::npos) << "the library's own words: " << said;
    EXPECT_NE(said.find("no sound from plughw:0,0: "), std::string::npos) << said;
    const std::string last = "there is no sound card: playing to a silent clock\n";
    EXPECT_EQ(said.substr(said.size() - std::min(said.size(), last.size())), last);
    unsetenv("ALSA_CONFIG_PATH");
}

static void configure(const char *text)
{
    FILE *config = fopen("asound.conf", "w");
    ASSERT_NE(config, nullptr);
    fputs(text, config);
    ASSERT_EQ(fclose(config), 0);
    setenv("ALSA_CONFIG_PATH", "asound.conf", 1);
}

static void expect_played_to_file()
{
    FILE *played = fopen("played.raw", "rb");
    ASSERT_NE(played, nullptr);
    int16_t frame[2] = {};
    for (int16_t i = 1; i <= 4 * 512; i++) { /* what is given away before it is noticed */
        ASSERT_EQ(fread(frame, sizeof frame, 1, played), 1u) << "frame " << i;
        ASSERT_EQ(frame[0], i);
        ASSERT_EQ(frame[1], i);
    }
    fclose(played);
}

TEST_F(linux_sound_of, the_library_plays_into_a_file_at_the_pace_of_the_clock)
{
    configure("pcm.nothing { type null }\n"
              "pcm.!default { type file slave.pcm nothing file played.raw format raw }\n");
    linux_card_current = kept_card;
    testing::internal::CaptureStderr();
    open();
    const int64_t started = clock_real_msec();
    EXPECT_TRUE(wait_for([] { return asked > 44100; }));
    EXPECT_GE(clock_real_msec() - started, 700);
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "the sound card does not keep time: playing to a silent clock\n");
    unsetenv("ALSA_CONFIG_PATH");
    expect_played_to_file();
}

TEST_F(linux_sound_of, the_first_card_is_tried_where_the_default_does_not_open)
{
    configure(
        "pcm.nothing { type null }\n"
        "pcm.!default { type hw card 77 }\n"
        "pcm.!plughw { @args [ CARD DEV ] @args.CARD { type string } "
        "@args.DEV { type string } type file slave.pcm nothing file played.raw format raw }\n");
    linux_card_current = kept_card;
    testing::internal::CaptureStderr();
    open();
    EXPECT_TRUE(wait_for([] { return asked > 44100; }));
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "the sound card does not keep time: playing to a silent clock\n");
    unsetenv("ALSA_CONFIG_PATH");
    expect_played_to_file();
}
