/* When the sound thread may wait at a speaker that says itself when it wants more. */
#include "platform/base/clock.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "support/wait_for.h"
#include "unit/platform/manual_device.h"

#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <semaphore>

static std::atomic<int32_t> room{0};           /* frames that the speaker wants */
static std::atomic<bool> has_track{false};     /* else the callback has nothing to play */
static std::atomic<bool> wakes_itself{false};  /* the callback calls for attention */
static std::atomic<int> calls{0};              /* of the callback */
static std::atomic<int> feeds_since_call{0};   /* two in each round */
static std::atomic<int> feeds_before_wait{-1}; /* from a call to the wait behind it */
static std::atomic<int> waits{0}, idle_waits{0}, resting_waits{0};
static std::atomic<bool> resting{false};
static std::atomic<int> rouses{0};
static std::counting_semaphore<> woken{0};

static bool wait_at_speaker()
{
    waits++;
    if (calls > 0 && !has_track)
        idle_waits++;
    if (resting)
        resting_waits++;
    if (feeds_before_wait < 0 && calls > 0)
        feeds_before_wait = feeds_since_call.load();
    woken.acquire();
    return true;
}

static void take_sound()
{
    int16_t heard[2 * sound_period_frames];
    (void)sound_pull(heard, sound_period_frames);
    feeds_since_call++;
}

static constexpr sound_speaker keeping_time()
{
    sound_speaker made = {.open = [] { return 0; }, .close = [] { return 0; }};
    made.feed = take_sound;
    made.room = [] { return room.load(); };
    made.wait = wait_at_speaker;
    made.wake = [] { woken.release(); };
    return made;
}
static constexpr sound_speaker timekeeper = keeping_time();

static constexpr sound_speaker at_rest()
{
    sound_speaker made = keeping_time();
    made.rest = [] {};
    made.rouse = [] {
        rouses++;
        return -1;
    };
    made.opens_resting = true;
    return made;
}
static constexpr sound_speaker sleeper = at_rest();

static void on_sound(void *, void *buffer, uint32_t length)
{
    calls++;
    feeds_since_call = 0;
    room = 0;
    if (!has_track) {
        clock_msleep(1);
        return;
    }
    memset(buffer, 1, length);
    if (wakes_itself)
        sound_wake();
}

struct sound_wait : testing::Test {
    void SetUp() override
    {
        device_current = &manual_device;
        manual_speaker = &timekeeper;
        room = 512;
        has_track = wakes_itself = resting = false;
        calls = feeds_since_call = waits = idle_waits = resting_waits = rouses = 0;
        feeds_before_wait = -1;
        while (woken.try_acquire())
            ;
    }
    void TearDown() override { EXPECT_EQ(sound_close(), 0); }
    static void want()
    {
        room = 512;
        woken.release();
    }
};

TEST_F(sound_wait, while_something_plays_it_waits_there)
{
    has_track = true;
    ASSERT_EQ(sound_open(on_sound, nullptr), 0);
    for (int round = 1; round < 20; round++) {
        ASSERT_TRUE(wait_for([=] { return waits >= round; }));
        want();
    }
    EXPECT_GE(calls, 18);
}

/* It would not hear of a track that begins. */
TEST_F(sound_wait, with_nothing_to_play_it_does_not)
{
    ASSERT_EQ(sound_open(on_sound, nullptr), 0);
    want(); /* nobody had nothing to play before the first call */
    for (int round = 1; round < 5; round++) {
        ASSERT_TRUE(wait_for([=] { return calls >= round; }));
        room = 512;
        sound_wake();
    }
    EXPECT_EQ(idle_waits, 0);
}

TEST_F(sound_wait, a_call_for_attention_is_answered_first)
{
    has_track = wakes_itself = true;
    ASSERT_EQ(sound_open(on_sound, nullptr), 0);
    want();
    ASSERT_TRUE(wait_for([] { return feeds_before_wait >= 0; }));
    EXPECT_GE(feeds_before_wait, 4) << "a round of its own before the next wait";
    woken.release();
}

TEST_F(sound_wait, a_speaker_at_rest_is_not_waited_for)
{
    manual_speaker = &sleeper;
    has_track = resting = true;
    ASSERT_EQ(sound_open(on_sound, nullptr), 0);
    ASSERT_TRUE(wait_for([] { return calls >= 20; })) << "the machine's clock plays on";
    EXPECT_EQ(rouses, 1);
    EXPECT_EQ(resting_waits, 0);
}
