/* What is heard of a file is what the libraries that count in floating point make of it, whichever
 * ones this build has. */
#include "support/float_decoders.h"
#include "unit/platform/audio/audio_measure.h"

/* How far the error lies below the sound, in dB. */
static double distance_db(const heard &ours, const float_sound &theirs)
{
    const size_t channels = static_cast<size_t>(theirs.channels);
    EXPECT_EQ(ours.frames(), theirs.samples.size() / channels);
    const size_t frames = std::min(ours.frames(), theirs.samples.size() / channels);
    double sound = 0, error = 0;
    for (size_t i = 0; i < frames; i++)
        for (size_t channel = 0; channel < channels; channel++) {
            const double wanted = 32768.0 * theirs.samples[i * channels + channel];
            const double got = channel == 0 ? ours.left[i] : ours.right[i];
            sound += wanted * wanted;
            error += (got - wanted) * (got - wanted);
        }
    return 10 * log10(sound / error);
}

/* Tones that come and go, as music does, almost up to full scale. */
static maker_sound music(double seconds, int channels = 2)
{
    maker_sound sound = maker_noise(seconds, 44100, channels, 0.05);
    sound.sample = [noise = sound.sample](int64_t frame, int channel) {
        const double time = static_cast<double>(frame) / 44100;
        const double loud = 0.5 + 0.45 * sin(2 * M_PI * 1.7 * time + channel);
        const double tones = sin(2 * M_PI * 220 * time) + sin(2 * M_PI * 1234 * time + channel);
        return static_cast<float>(loud * tones * 0.45) + noise(frame, channel);
    };
    return sound;
}

TEST(decoder_reference, mp3_lies_85_db_above_its_error)
{
    for (const int kbps : {64, 128, 192, 320})
        for (const int channels : {1, 2}) {
            if (channels == 1 && kbps > 192)
                continue;
            ASSERT_EQ(maker_track_of("a.mp3", music(3, channels), {.mp3 = {.kbps = kbps}}), 0);
            EXPECT_GT(distance_db(hear_file("a.mp3"), float_mp3("a.mp3")), 85)
                << kbps << " kbit/s, channels: " << channels;
        }
    ASSERT_EQ(maker_track_of("v.mp3", music(3), {.mp3 = {.vbr = true}}), 0);
    EXPECT_GT(distance_db(hear_file("v.mp3"), float_mp3("v.mp3")), 85);
}

TEST(decoder_reference, ogg_vorbis_lies_85_db_above_its_error)
{
    for (const float quality : {0.1f, 0.5f, 0.9f})
        for (const int channels : {1, 2}) {
            ASSERT_EQ(maker_track_of("a.ogg", music(3, channels), {.ogg = {.quality = quality}}),
                      0);
            EXPECT_GT(distance_db(hear_file("a.ogg"), float_ogg("a.ogg")), 85)
                << quality << ", channels: " << channels;
        }
}
