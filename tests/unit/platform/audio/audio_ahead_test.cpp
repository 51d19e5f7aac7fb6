/* Sound made ahead of its time: what is heard, told and sought is the same. */
#include "platform/audio/audio_stream.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "unit/platform/manual_device.h"

#include <array>
#include <gtest/gtest.h>

constexpr int64_t all_frames = 100000;
constexpr uint32_t at_once = 16384, period = 512;

/* Counts up, so that each frame says where it stands. */
struct counting_source {
    int64_t made = 0;
    bool breaks = false; /* at the end */
    std::array<int16_t, 2000> piece = {};
};

static int read_piece(void *state, audio_block *block, int16_t *, uint32_t)
{
    counting_source *from = static_cast<counting_source *>(state);
    if (from->made >= all_frames)
        return from->breaks ? -1 : 0;
    for (size_t i = 0; i < 1000; i++) {
        from->piece[2 * i] = static_cast<int16_t>(from->made % 30000);
        from->piece[2 * i + 1] = static_cast<int16_t>(-(from->made % 30000));
        from->made++;
    }
    *block = {from->piece.data(), false, "LR", sound_rate, 1000};
    return 1;
}

static int seek_piece(void *state, int64_t sample)
{
    static_cast<counting_source *>(state)->made = sample;
    return 0;
}

static constexpr audio_source source = {
    .read = read_piece, .seek = seek_piece, .close = [](void *) {}};

static int succeed()
{
    return 0;
}

static constinit sound_speaker speaker = {
    .open = succeed, .close = succeed, .opens_resting = true, .rouse = succeed, .drives = true};

class audio_ahead : public testing::Test
{
  protected:
    void open(uint32_t frames)
    {
        speaker.at_once = frames;
        manual_speaker = &speaker;
        device_current = &manual_device;
        ASSERT_EQ(sound_open([](void *, void *, uint32_t) { clock_msleep(1); }, nullptr), 0);
        stream = audio_stream_new(&source, &from, sound_rate, all_frames, nullptr);
        ASSERT_NE(stream, nullptr);
    }
    void TearDown() override
    {
        (void)audio_stream_close(stream);
        EXPECT_EQ(sound_close(), 0);
    }
    /* Reads a period at most, and looks at each frame of it. */
    int32_t read(int64_t at)
    {
        int16_t samples[2 * period];
        const int32_t got = audio_stream_read(stream, samples, sizeof samples);
        for (int32_t i = 0; i < got / 4; i++)
            EXPECT_EQ(samples[2 * i], (at + i) % 30000) << at << " + " << i;
        return got;
    }
    int64_t read_all(int64_t at)
    {
        for (int32_t got = read(at); got > 0; got = read(at)) {
            at += got / 4;
            EXPECT_EQ(audio_stream_tell(stream), at);
            end = 1;
        }
        return at;
    }

    counting_source from;
    audio_stream *stream = nullptr;
    int end = 0;
};

TEST_F(audio_ahead, nothing_is_made_where_no_speaker_wants_it)
{
    open(0);
    int64_t at = 0;
    for (int i = 0; i < 8; i++)
        at += read(at) / 4;
    EXPECT_LE(from.made, at + 1000);
    EXPECT_EQ(read_all(at), all_frames);
}

TEST_F(audio_ahead, the_first_sound_waits_for_nothing_and_the_next_is_made_with_others)
{
    open(at_once);
    const int32_t first = read(0) / 4;
    EXPECT_EQ(from.made, 1000);
    EXPECT_GT(read(first), 0);
    EXPECT_GE(from.made, 2000) << "one piece at least, however slow the machine is";
    EXPECT_LE(from.made, 1000 + at_once + 1000);
    EXPECT_EQ(audio_stream_tell(stream), 2 * first);
}

TEST_F(audio_ahead, every_frame_comes_in_its_turn_and_the_place_told_is_that_of_the_listener)
{
    open(at_once);
    EXPECT_EQ(read_all(0), all_frames);
    EXPECT_EQ(audio_stream_tell(stream), all_frames);
    EXPECT_EQ(audio_stream_read(stream, from.piece.data(), 512), 0);
}

TEST_F(audio_ahead, a_seek_forgets_what_was_made)
{
    open(at_once);
    (void)read(0);
    (void)read(period);
    ASSERT_EQ(audio_stream_seek(stream, 77777), 0);
    EXPECT_EQ(audio_stream_tell(stream), 77777);
    EXPECT_EQ(read_all(77777), 100777) << "the source makes whole pieces";
}

TEST_F(audio_ahead, a_break_is_told_when_all_before_it_has_been_heard)
{
    from.breaks = true;
    open(at_once);
    EXPECT_EQ(read_all(0), all_frames);
    EXPECT_EQ(read(0), -1);
}
