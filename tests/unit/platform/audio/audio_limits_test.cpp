/* What is just playable, and what is just not. */
#include "unit/platform/audio/audio_measure.h"

#ifdef __SANITIZE_ADDRESS__
/* The encoder's own: it forgets a record of six channels, which vorbis_info_clear() does not find. */
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:vorbis_encode_setup_init\n";
}
#endif

static uint32_t rate_of(const std::string &path, uint32_t rate, int channels = 2)
{
    EXPECT_EQ(maker_track(path, {.seconds = 0.3, .rate = rate, .channels = channels}), 0)
        << path << rate;
    const opened file(path);
    return file.stream ? file.stream->sample_rate : 0;
}

TEST(audio_limits, of_rates_are_played_and_what_is_beyond_is_not)
{
    EXPECT_EQ(rate_of("a.flac", 1000), 1000u);
    EXPECT_EQ(rate_of("a.flac", 999), 0u);
    EXPECT_EQ(rate_of("a.flac", 384000), 384000u);
    EXPECT_EQ(rate_of("a.flac", 384010), 0u);
    EXPECT_EQ(rate_of("a.ogg", 1000), 1000u);
    EXPECT_EQ(rate_of("a.ogg", 999), 0u);
}

TEST(audio_limits, of_channels_are_played)
{
    for (const char *path : {"a.flac", "a.ogg"})
        for (const int channels : {1, 6, 8}) {
            ASSERT_EQ(rate_of(path, 44100, channels), 44100u) << path << channels;
            opened file(path);
            const heard sound = hear(file);
            EXPECT_EQ(sound.end, 0);
            EXPECT_EQ(sound.frames(), 13230u) << path << channels;
        }
}
