/* The queue between the callback and the speaker: what it holds, drops, and how loud it leaves. */
#include "platform/base/clock.h"
#include "platform/base/fault.h"
#include "platform/sound/sound.h"
#include "support/scratch.h"
#include "support/wait_for.h"
#include "unit/platform/sound/sound_fixture.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

TEST_F(sound, asks_for_nothing_before_it_is_open_and_after_it_is_closed)
{
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
    EXPECT_EQ(sound_reset(), 0);
    sound_wake();
    sound_step();
    EXPECT_EQ(sound_close(), 0);
    open();
    sound_step();
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(speaker_closed, 1);
    const int before = calls;
    sound_step();
    EXPECT_EQ(calls, before);
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
}

TEST_F(sound, queues_60_to_110_ms)
{
    open();
    sound_step();
    EXPECT_GE(sound_get_buffer_remaining(), 98);
    EXPECT_LE(sound_get_buffer_remaining(), 110);
    int rounds = 0;
    for (int ms = 0; ms < 10000; ms++) {
        const int before = calls;
        sound_step();
        rounds += calls > before;
        pull(ms % 10 ? 44 : 45);
        ASSERT_GE(sound_get_buffer_remaining(), 60);
        ASSERT_LE(sound_get_buffer_remaining(), 110);
    }
    EXPECT_LE(rounds, 250) << "at most 25 wake-ups a second";
}

TEST_F(sound, counts_what_the_speaker_holds)
{
    open();
    speaker_pending = 2205;
    sound_step();
    EXPECT_GE(sound_get_buffer_remaining(), 98);
    EXPECT_LE(sound_get_buffer_remaining(), 110);
    speaker_pending = 0;
    EXPECT_LE(sound_get_buffer_remaining(), 60);
}

TEST_F(sound, leaves_in_order_and_unchanged_at_full_volume)
{
    open();
    uint32_t at = 0;
    for (int i = 0; i < 1000; i++) {
        sound_step();
        const std::vector<int16_t> samples = pull(441);
        for (uint32_t frame = 0; frame < 441; frame++, at++) {
            ASSERT_EQ(samples[frame * 2], static_cast<int16_t>(at % 20000 + 1));
            ASSERT_EQ(samples[frame * 2 + 1], -static_cast<int16_t>(at % 20000 + 1));
        }
    }
}

TEST_F(sound, an_empty_queue_gives_silence)
{
    open();
    sound_step();
    const uint32_t queued = static_cast<uint32_t>(calls) * sound_period_frames;
    const std::vector<int16_t> samples = pull(queued + 100);
    EXPECT_NE(samples[(queued - 1) * 2], 0);
    for (size_t i = queued * 2; i < samples.size(); i++)
        ASSERT_EQ(samples[i], 0);
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
}

TEST_F(sound, queues_nothing_while_the_callback_has_nothing_to_play)
{
    play = play_nothing;
    open();
    sound_step();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
    play = play_ramp;
    sound_wake();
    sound_step();
    EXPECT_GE(sound_get_buffer_remaining(), 98);
}

TEST_F(sound, a_callback_with_nothing_to_play_is_asked_again_when_somebody_wakes_it)
{
    play = play_nothing;
    open();
    for (int i = 0; i < 20000; i++)
        sound_step();
    EXPECT_EQ(calls, 1);
    sound_wake();
    for (int i = 0; i < 20000; i++)
        sound_step();
    EXPECT_EQ(calls, 2);
    sound_reset();
    for (int i = 0; i < 20000; i++)
        sound_step();
    EXPECT_EQ(calls, 3);
}

TEST_F(sound, silence_of_a_track_is_sound)
{
    play = [](int16_t *, uint32_t) {};
    open();
    sound_step();
    EXPECT_GE(sound_get_buffer_remaining(), 98);
}

TEST_F(sound, the_last_words_of_a_track_are_played_even_when_the_callback_then_sleeps)
{
    play = [](int16_t *samples, uint32_t) {
        samples[0] = 7;
        clock_msleep(1);
        play = play_nothing;
    };
    open();
    sound_step();
    EXPECT_EQ(pull(1)[0], 7);
}

TEST_F(sound, reset_drops_what_is_queued)
{
    open();
    sound_step();
    EXPECT_EQ(sound_reset(), 0);
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
    EXPECT_EQ(pull(10)[0], 0);
    const uint32_t at = counter;
    sound_step();
    EXPECT_EQ(speaker_dropped, 1);
    EXPECT_EQ(pull(1)[0], static_cast<int16_t>(at % 20000 + 1));
}

TEST_F(sound, reset_from_inside_the_callback_keeps_what_is_queued)
{
    play = [](int16_t *samples, uint32_t frames) {
        play_ramp(samples, frames);
        sound_reset();
    };
    open();
    sound_step();
    EXPECT_GE(sound_get_buffer_remaining(), 98);
    const std::vector<int16_t> samples = pull(4000);
    for (uint32_t frame = 0; frame < 4000; frame++)
        ASSERT_EQ(samples[frame * 2], static_cast<int16_t>(frame + 1));
    EXPECT_EQ(speaker_dropped, 0);
}

TEST_F(sound, reset_from_another_thread_drops_the_period_being_filled)
{
    play = [](int16_t *samples, uint32_t frames) {
        play_ramp(samples, frames);
        if (calls == 3)
            std::thread([] { sound_reset(); }).join();
    };
    open();
    sound_step();
    EXPECT_EQ(pull(1)[0], static_cast<int16_t>(3 * sound_period_frames + 1));
}

TEST_F(sound, reset_waits_for_nobody)
{
    static std::atomic<bool> inside{false}, go_on{false};
    inside = go_on = false;
    manual_speaker = &timed;
    play = [](int16_t *, uint32_t) {
        inside = true;
        while (!go_on)
            std::this_thread::yield();
    };
    open();
    ASSERT_TRUE(wait_for([] { return inside.load(); }));
    EXPECT_EQ(sound_reset(), 0);
    EXPECT_EQ(sound_get_buffer_remaining(), 0);
    sound_wake();
    go_on = true;
}

TEST_F(sound, volume_comes_back_exactly_and_is_clamped)
{
    for (int32_t volume = 0; volume <= 100; volume++) {
        int32_t left = volume, right = 100 - volume;
        EXPECT_EQ(sound_set_volume(&left, &right), 0);
        int32_t got_left = -1, got_right = -1;
        EXPECT_EQ(sound_get_volume(&got_left, &got_right), 0);
        EXPECT_EQ(got_left, volume);
        EXPECT_EQ(got_right, 100 - volume);
    }
    int32_t both = 105;
    EXPECT_EQ(sound_set_volume(&both, &both), 0);
    EXPECT_EQ(both, 100);
    both = INT32_MIN;
    EXPECT_EQ(sound_set_volume(&both, &both), 0);
    EXPECT_EQ(both, 0);
    both = 77;
    EXPECT_EQ(sound_get_volume(&both, &both), 0);
    EXPECT_EQ(both, 0);
}

TEST_F(sound, volume_follows_loudness)
{
    play = [](int16_t *samples, uint32_t frames) {
        std::fill(samples, samples + frames * 2, static_cast<int16_t>(20000));
    };
    int16_t before = -1;
    for (int32_t volume = 0; volume <= 100; volume += 5) {
        set_volume(volume, volume);
        open();
        sound_step();
        const int16_t now = pull(10)[0];
        EXPECT_GT(now, before) << "each step of the volume keys is heard";
        before = now;
        if (volume == 0) {
            EXPECT_EQ(now, 0);
        } else if (volume == 50) { /* half as loud: 10 dB */
            EXPECT_NEAR(20 * log10(now / 20000.0), -10, 0.1);
        } else if (volume == 100) {
            EXPECT_EQ(now, 20000);
        }
        sound_close();
    }
}

/* Every sample with gains of all kinds, in pieces of every length: the quick way gives what the obvious
 * one does. */
TEST_F(sound, volume_multiplies_and_rounds_every_sample)
{
    for (const int32_t volume : {0, 1, 33, 50, 65, 66, 67, 80, 99, 100}) {
        set_volume(volume, 100 - volume);
        const double gains[] = {lround(65536 * pow(volume / 100.0, 5.0 / 3.0)) / 65536.0,
                                lround(65536 * pow((100 - volume) / 100.0, 5.0 / 3.0)) / 65536.0};
        std::vector<int16_t> samples(2 * 65536);
        for (size_t i = 0; i < samples.size(); i++)
            samples[i] = static_cast<int16_t>(static_cast<int>(i / 2) - 32768);
        sound_volume_rest();
        for (uint32_t at = 0, frames = 0; at < 65536; at += frames, frames = (frames + 1) % 50)
            sound_volume_apply(samples.data() + 2 * at, std::min(frames, 65536 - at));
        for (size_t i = 0; i < samples.size(); i++) {
            const double exact = (static_cast<int>(i / 2) - 32768) * gains[i % 2];
            ASSERT_EQ(samples[i], static_cast<int16_t>(floor(exact + 0.5))) << volume << " " << i;
        }
    }
}

TEST_F(sound, volume_is_heard_at_once_and_does_not_click)
{
    play = [](int16_t *samples, uint32_t frames) {
        std::fill(samples, samples + frames * 2, static_cast<int16_t>(32767));
    };
    open();
    sound_step();
    EXPECT_EQ(pull(100)[0], 32767);
    set_volume(0, 100);
    const std::vector<int16_t> samples = pull(512);
    for (uint32_t frame = 1; frame < 512; frame++)
        ASSERT_LE(samples[frame * 2 - 2] - samples[frame * 2], 200);
    EXPECT_EQ(samples[511 * 2], 0) << "what was queued before is soft too";
    EXPECT_EQ(samples[511 * 2 + 1], 32767);
}

TEST_F(sound, extremes_do_not_overflow)
{
    play = [](int16_t *samples, uint32_t frames) {
        for (uint32_t i = 0; i < frames * 2; i++)
            samples[i] = i % 2 ? INT16_MIN : INT16_MAX;
    };
    open();
    for (int32_t volume : {100, 99, 1}) {
        set_volume(volume, volume);
        sound_step();
        const std::vector<int16_t> samples = pull(1000);
        EXPECT_GE(samples[1998], 0);
        EXPECT_LE(samples[1999], 0);
    }
}

/* The id of our thread of that name, 0 without such a thread. */
static int thread_of(const std::string &wanted)
{
    for (const std::string &id : scratch_names("/proc/self/task"))
        if (scratch_read("/proc/self/task/" + id + "/comm") == wanted + "\n")
            return std::stoi(id);
    return 0;
}

TEST_F(sound, its_thread_goes_before_programs_that_keep_the_processor_busy)
{
    const int before = getpriority(PRIO_PROCESS, 0);
    if (setpriority(PRIO_PROCESS, 0, before - 1) != 0)
        GTEST_SKIP() << "we may not";
    ASSERT_EQ(setpriority(PRIO_PROCESS, 0, before), 0);
    manual_speaker = &timed;
    open();
    EXPECT_TRUE(wait_for([] {
        const int id = thread_of("sound");
        return id && getpriority(PRIO_PROCESS, static_cast<id_t>(id)) == -11;
    }));
}

TEST_F(sound, its_thread_leaves_all_signals_to_the_main_thread)
{
    open();
    int id = 0;
    ASSERT_TRUE(wait_for([&id] { return (id = thread_of("sound")) != 0; }));
    const std::string status = scratch_read("/proc/self/task/" + std::to_string(id) + "/status");
    const size_t at = status.find("SigBlk:");
    ASSERT_NE(at, std::string::npos);
    const uint64_t blocked = strtoull(status.c_str() + at + 7, nullptr, 16);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGCHLD, SIGALRM})
        EXPECT_TRUE(blocked >> (number - 1) & 1) << number;
    sigset_t ours;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &ours), 0);
    EXPECT_FALSE(sigismember(&ours, SIGTERM)) << "the main thread gets them still";
}

TEST_F(sound, says_once_that_there_is_no_card_and_plays_in_real_time)
{
    speaker_result = -1;
    testing::internal::CaptureStderr();
    const auto started = std::chrono::steady_clock::now();
    open();
    EXPECT_TRUE(wait_for([] { return counter > sound_rate / 2; }));
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
            .count();
    EXPECT_GE(ms, 350) << "a track must not race by";
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "there is no sound card: playing to a silent clock\n");
}

TEST_F(sound, wakes_at_most_25_times_a_second)
{
    static std::atomic<int> rounds{0};
    static long last_sleeps = 0;
    rounds = 0;
    speaker_result = -1;
    testing::internal::CaptureStderr();
    play = [](int16_t *samples, uint32_t frames) {
        rusage used = {};
        EXPECT_EQ(getrusage(RUSAGE_THREAD, &used), 0);
        rounds += used.ru_nvcsw != last_sleeps; /* calls of one wake-up have no sleep between */
        last_sleeps = used.ru_nvcsw;
        play_ramp(samples, frames);
    };
    open();
    EXPECT_TRUE(wait_for([] { return counter > 2 * sound_rate; }));
    sound_close();
    testing::internal::GetCapturedStderr();
    EXPECT_LE(rounds, 80) << "a wait for a lock splits some; a wake-up a period would be 172";
    EXPECT_GE(rounds, 20);
}

TEST_F(sound, an_idle_callback_is_called_once_a_wake_and_starts_when_there_is_a_track)
{
    has_track = false;
    manual_speaker = &timed;
    play = play_track_if_any;
    open();
    ASSERT_TRUE(wait_for([] { return calls == 1; }));
    for (int i = 2; i < 50; i++) {
        sound_wake();
        ASSERT_TRUE(wait_for([=] { return calls == i; }));
    }
    has_track = true;
    sound_wake();
    ASSERT_TRUE(wait_for([] { return sound_get_buffer_remaining() > 0; }));
}

TEST_F(sound, a_wake_while_the_callback_finds_nothing_is_not_lost)
{
    manual_speaker = &timed;
    for (int round = 0; round < 200; round++) {
        has_track = false;
        play = [](int16_t *samples, uint32_t frames) {
            const bool found = has_track.exchange(true); /* it comes just after the look */
            sound_wake();
            if (found)
                play_ramp(samples, frames);
            else
                clock_msleep(1);
        };
        open();
        ASSERT_TRUE(wait_for([] { return sound_get_buffer_remaining() > 0; })) << round;
        ASSERT_EQ(sound_close(), 0);
    }
}

TEST_F(sound, resets_pulls_and_wakes_from_all_sides_do_no_harm)
{
    manual_speaker = &timed;
    open();
    std::atomic<bool> stop{false};
    std::thread puller([&] {
        while (!stop)
            pull(300);
    });
    std::thread resetter([&] {
        while (!stop) {
            sound_reset();
            sound_wake();
            EXPECT_GE(sound_get_buffer_remaining(), 0);
            EXPECT_LE(sound_get_buffer_remaining(), 110);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 200; i++) {
        set_volume(i % 101, 100 - i % 101);
        EXPECT_TRUE(wait_for([=] { return calls > i * 5; }));
    }
    stop = true;
    puller.join();
    resetter.join();
}

TEST_F(sound, closing_ends_a_long_wait)
{
    manual_speaker = &timed;
    play = play_nothing;
    for (int i = 0; i < 20; i++) {
        open();
        EXPECT_EQ(sound_close(), 0); /* the wait itself would never end */
    }
}

TEST_F(sound, opens_only_once)
{
    open();
    EXPECT_EQ(sound_open(on_sound, &calls), -1);
    sound_step();
    EXPECT_GT(calls, 0);
}

TEST_F(sound, faults_are_reported_after_the_real_work)
{
    open();
    fault_set("sound_close,sound_get_volume,sound_set_volume");
    int32_t volume = 33;
    EXPECT_EQ(sound_get_volume(&volume, &volume), -1);
    EXPECT_EQ(sound_set_volume(&volume, &volume), -1);
    EXPECT_EQ(volume, 33);
    EXPECT_EQ(sound_close(), -1);
    EXPECT_EQ(speaker_closed, 1);
    fault_set("sound_open");
    EXPECT_EQ(sound_open(on_sound, &calls), -1);
    fault_set("");
    EXPECT_EQ(sound_volume_now(), 100);
}
