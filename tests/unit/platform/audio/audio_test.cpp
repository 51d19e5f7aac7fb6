/* audio: which decoder a name gets, start and end. */
#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/base/fault.h"

#include <gtest/gtest.h>

TEST(audio, the_extension_chooses_the_decoder)
{
    const audio_decoder *mp3 = audio_get_decoder("a.mp3");
    ASSERT_NE(mp3, nullptr);
    EXPECT_STREQ(mp3->name, "mp3");
    EXPECT_EQ(audio_get_decoder("/music/x.y/B.MP3"), mp3);
    EXPECT_STREQ(audio_get_decoder("no such folder/a.Ogg")->name, "ogg");
    EXPECT_STREQ(audio_get_decoder("a.FLAC")->name, "flac");
}

TEST(audio, other_names_have_no_decoder)
{
    for (const char *path :
         {"", "mp3", ".mp3", "a.wav", "a.mp3.txt", "a.mp33", "dir.mp3/file", "a."})
        EXPECT_EQ(audio_get_decoder(path), nullptr) << path;
    EXPECT_EQ(audio_get_decoder(nullptr), nullptr);
}

TEST(audio, starting_and_ending_can_fail_on_request)
{
    EXPECT_EQ(audio_exit(), 0); /* never started */
    EXPECT_EQ(audio_init(), 0);
    EXPECT_EQ(audio_exit(), 0);
    fault_set("audio_init,audio_exit");
    EXPECT_EQ(audio_init(), -1);
    EXPECT_EQ(audio_exit(), -1);
    fault_set(nullptr);
    EXPECT_EQ(audio_init(), 0);
}

TEST(audio, a_stream_outlives_the_end_of_the_module)
{
    ASSERT_EQ(audio_init(), 0);
    ASSERT_EQ(maker_track("a.mp3", {.seconds = 0.5}), 0);
    const audio_decoder *decoder = audio_get_decoder("a.mp3");
    audio_stream *stream = decoder->open("a.mp3");
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(audio_exit(), 0);
    int16_t buffer[512];
    EXPECT_GT(decoder->read(stream, buffer, sizeof buffer), 0);
    EXPECT_EQ(decoder->close(stream), 0);
    EXPECT_EQ(decoder->close(nullptr), 0);
    EXPECT_EQ(decoder->release_info(nullptr), 0);
}
