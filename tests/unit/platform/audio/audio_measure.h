/* audio_measure: decodes files whole and in pieces, and measures the sines in them. */
#pragma once

#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/sound/sound.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

struct heard {
    std::vector<int16_t> left, right;
    int32_t end = 1; /* what the last read said: 0 or -1 */

    size_t frames() const { return left.size(); }
};

/* Closes with the test. */
struct opened {
    const audio_decoder *decoder;
    audio_stream *stream;

    explicit opened(const std::string &path)
        : decoder(audio_get_decoder(path.c_str())),
          stream(decoder ? decoder->open(path.c_str()) : nullptr)
    {
    }
    ~opened()
    {
        if (stream)
            decoder->close(stream);
    }
    opened(const opened &) = delete;
    opened &operator=(const opened &) = delete;

    int64_t tell() { return decoder->tell(stream); }
    int seek(int64_t sample) { return decoder->seek(stream, sample); }
};

/* Reads up to `frames`, in requests of a size that fits nothing else. */
inline heard hear(opened &from, size_t frames = SIZE_MAX)
{
    heard all;
    std::vector<int16_t> part(2 * 529);
    while (all.frames() < frames) {
        const uint32_t want =
            static_cast<uint32_t>(std::min<size_t>(529, frames - all.frames())) * 4;
        all.end = from.decoder->read(from.stream, part.data(), want);
        if (all.end <= 0)
            break;
        EXPECT_EQ(all.end % 4, 0);
        EXPECT_LE(static_cast<uint32_t>(all.end), want);
        for (int32_t i = 0; i < all.end / 4; i++) {
            all.left.push_back(part[static_cast<size_t>(2 * i)]);
            all.right.push_back(part[static_cast<size_t>(2 * i + 1)]);
        }
    }
    return all;
}

inline heard hear_file(const std::string &path)
{
    opened file(path);
    EXPECT_NE(file.stream, nullptr) << path;
    return file.stream ? hear(file) : heard();
}

struct measured {
    double freq = 0;  /* Hz */
    double level = 0; /* peak, 1 is full scale */
    double noise = 0; /* of what is not the sine, effective, in steps of 16 bits */
};

/* Frequency by the first and the last upward crossing of zero, taken at half the level so that
 * noise does not count twice. */
inline double measure_freq(const std::vector<int16_t> &channel, size_t from, size_t end)
{
    int peak = 1;
    for (size_t i = from; i < end; i++)
        peak = std::max(peak, abs(channel[i]));
    double first = -1, last = -1, crossing = 0;
    int periods = -1;
    bool below = false;
    for (size_t i = from + 1; i < end; i++) {
        if (channel[i] < -peak / 2)
            below = true;
        if (channel[i - 1] < 0 && channel[i] >= 0)
            crossing =
                static_cast<double>(i) -
                static_cast<double>(channel[i]) / static_cast<double>(channel[i] - channel[i - 1]);
        if (!below || channel[i] < peak / 2)
            continue;
        below = false;
        last = crossing;
        if (periods++ < 0)
            first = crossing;
    }
    return periods < 1 ? 0 : periods * static_cast<double>(sound_rate) / (last - first);
}

/* Measures the sine in a stretch of a channel.
 *   freq  known exactly, 0: measured as well */
inline measured measure(const std::vector<int16_t> &channel, size_t from, size_t count,
                        double freq = 0)
{
    measured result;
    const size_t end = std::min(from + count, channel.size());
    result.freq = freq > 0 ? freq : measure_freq(channel, from, end);
    if (result.freq <= 0 || end <= from)
        return result;
    const auto angle = [&](size_t i) {
        return 2 * M_PI * result.freq * static_cast<double>(i) / sound_rate;
    };
    /* The sine and cosine that come nearest. */
    double ss = 0, sc = 0, cc = 0, ys = 0, yc = 0;
    for (size_t i = from; i < end; i++) {
        const double s = sin(angle(i)), c = cos(angle(i));
        ss += s * s;
        sc += s * c;
        cc += c * c;
        ys += channel[i] * s;
        yc += channel[i] * c;
    }
    const double in = (ys * cc - yc * sc) / (ss * cc - sc * sc);
    const double out = (yc * ss - ys * sc) / (ss * cc - sc * sc);
    double rest = 0;
    for (size_t i = from; i < end; i++) {
        const double left = channel[i] - in * sin(angle(i)) - out * cos(angle(i));
        rest += left * left;
    }
    result.level = sqrt(in * in + out * out) / 32768;
    result.noise = sqrt(rest / static_cast<double>(end - from));
    return result;
}

/* The largest distance, in steps of 16 bits, between what is heard and a sine that began at the
 * stream's sample 0. */
inline double sine_distance(const std::vector<int16_t> &channel, size_t from, size_t count,
                            double freq, double level, double begins_at_seconds)
{
    double worst = 0;
    for (size_t i = from; i < from + count && i < channel.size(); i++) {
        const double time = begins_at_seconds + static_cast<double>(i) / sound_rate;
        const double wanted = 32767 * level * sin(2 * M_PI * freq * time);
        worst = std::max(worst, fabs(channel[i] - wanted));
    }
    return worst;
}

inline void expect_sine(const heard &sound, double freq, double level, double tolerance = 0.01)
{
    const size_t edge = std::min<size_t>(8000, sound.frames() / 8);
    for (const std::vector<int16_t> *channel : {&sound.left, &sound.right}) {
        const size_t count = sound.frames() - 2 * edge;
        EXPECT_NEAR(measure(*channel, edge, count).freq, freq, freq * 0.0002);
        EXPECT_NEAR(measure(*channel, edge, count, freq).level, level, level * tolerance);
    }
}

/* Steps that a sample may differ by when decoding began elsewhere: libmpg123 adds up in an order that
 * depends on it, and only on x86-64 with a precision that hides it. */
inline int steps_after_seek(const opened &file)
{
#ifdef __x86_64__
    (void)file;
    return 0;
#else
    return file.decoder->name == std::string("mp3");
#endif
}

/* Seeks to a place and expects what a straight run from the start gave there. */
inline void expect_same_after_seek(opened &file, const heard &whole, int64_t sample,
                                   size_t frames = 3000)
{
    ASSERT_EQ(file.seek(sample), 0) << sample;
    EXPECT_EQ(file.tell(), sample);
    const heard part = hear(file, frames);
    ASSERT_EQ(part.frames(), std::min<size_t>(frames, whole.frames() - static_cast<size_t>(sample)))
        << sample;
    const int steps = steps_after_seek(file);
    for (size_t i = 0; i < part.frames(); i++) {
        const size_t at = static_cast<size_t>(sample) + i;
        ASSERT_LE(abs(part.left[i] - whole.left[at]), steps) << sample << " + " << i;
        ASSERT_LE(abs(part.right[i] - whole.right[at]), steps) << sample << " + " << i;
    }
    EXPECT_EQ(file.tell(), sample + static_cast<int64_t>(part.frames()));
}
