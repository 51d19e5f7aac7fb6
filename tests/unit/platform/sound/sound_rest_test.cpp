/* A speaker that rests when nothing plays, and one that drives. */
#include "support/wait_for.h"
#include "unit/platform/sound/sound_fixture.h"

#include <mutex>

static std::atomic<int> rests{0}, rouses{0};
static std::atomic<int> rouse_result{0};
/* A speaker that drives has no thread left when it rests. */
static std::mutex driver_turn;

static void rest_speaker()
{
    const std::lock_guard<std::mutex> turn(driver_turn);
    rests++;
}

static int rouse_speaker()
{
    const std::lock_guard<std::mutex> turn(driver_turn);
    rouses++;
    return rouse_result;
}

static const sound_speaker resting = {
    .open = open_speaker, .close = close_speaker, .rest = rest_speaker, .rouse = rouse_speaker};

static const sound_speaker driving = {.open = open_speaker,
                                      .close = close_speaker,
                                      .rest = rest_speaker,
                                      .rouse = rouse_speaker,
                                      .drives = true};

class sound_rest : public sound
{
  protected:
    void SetUp() override
    {
        sound::SetUp();
        has_track = false;
        rests = rouses = rouse_result = 0;
        play = play_track_if_any;
    }
    static std::vector<int16_t> drive(uint32_t frames)
    {
        std::vector<int16_t> samples(frames * 2);
        const std::lock_guard<std::mutex> turn(driver_turn);
        samples.resize(sound_drive(samples.data(), frames) * 2);
        return samples;
    }
};

TEST_F(sound_rest, a_card_rests_when_nothing_plays_and_is_roused_by_a_track)
{
    manual_speaker = &resting;
    open();
    ASSERT_TRUE(wait_for([] { return rests == 1; }));
    sound_wake(); /* a key that plays nothing */
    ASSERT_TRUE(wait_for([] { return calls >= 3; }));
    EXPECT_EQ(rouses, 0);
    has_track = true;
    sound_wake();
    ASSERT_TRUE(wait_for([] { return rouses == 1; }));
    ASSERT_TRUE(wait_for([] { return sound_get_buffer_remaining() >= 60; }));
    EXPECT_EQ(rests, 1);
}

TEST_F(sound_rest, a_card_that_cannot_be_roused_is_as_silent_as_none)
{
    manual_speaker = &resting;
    rouse_result = -1;
    testing::internal::CaptureStderr();
    open();
    ASSERT_TRUE(wait_for([] { return rests == 1; }));
    has_track = true;
    sound_wake();
    EXPECT_TRUE(wait_for([] { return counter > sound_rate / 2; })) << "the clock plays on";
    sound_close();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "the sound card cannot be used now: playing to a silent clock\n");
    EXPECT_EQ(rouses, 1) << "not tried in each round";
}

TEST_F(sound_rest, a_speaker_that_drives_asks_for_what_it_lacks)
{
    manual_speaker = &driving;
    has_track = true;
    open();
    for (uint32_t at = 0; at < 50000;) {
        const std::vector<int16_t> samples = drive(1536);
        ASSERT_EQ(samples.size(), 2 * 1536u);
        for (uint32_t frame = 0; frame < 1536; frame++, at++)
            ASSERT_EQ(samples[frame * 2], static_cast<int16_t>(at % 20000 + 1));
        EXPECT_EQ(sound_get_buffer_remaining(), 0) << "nothing is made ahead";
    }
    sound_reset();
    EXPECT_EQ(drive(700).size(), 2 * 700u);
    has_track = false;
    EXPECT_EQ(drive(700).size(), 0u);
    EXPECT_EQ(rests, 0);
}

TEST_F(sound_rest, a_speaker_that_drives_rests_and_is_roused_too)
{
    manual_speaker = &driving;
    open();
    EXPECT_EQ(drive(512).size(), 0u);
    ASSERT_TRUE(wait_for([] { return rests == 1; }));
    has_track = true;
    sound_wake();
    ASSERT_TRUE(wait_for([] { return rouses == 1; }));
    const std::vector<int16_t> samples = drive(1536);
    ASSERT_EQ(samples.size(), 2 * 1536u);
    for (uint32_t frame = 0; frame < 1536; frame++)
        ASSERT_EQ(samples[frame * 2], static_cast<int16_t>(frame + 1))
            << "what roused it is heard first";
}
