/* Frames of MP3 files: found, counted and indexed, whatever the steps. */
#include "platform/audio/decoder_mp3_frames.h"
#include "unit/platform/audio/audio_measure.h"

#include <cmath>
#include <cstring>
#include <unistd.h>

/* A file and its layout. */
struct laid_out {
    audio_file *file;
    mp3_layout layout = {};
    int result;

    explicit laid_out(const char *path) : file(audio_file_open(path, audio_file_play))
    {
        result = file ? mp3_find_frames(file, &layout) : -1;
    }
    ~laid_out() { audio_file_close(file); }
    laid_out(const laid_out &) = delete;
    laid_out &operator=(const laid_out &) = delete;
};

TEST(decoder_mp3_frames, sizes_follow_from_the_header)
{
    struct {
        unsigned char bytes[4];
        uint32_t rate, samples, size;
    } const known[] = {
        {{0xFF, 0xFB, 0x90, 0x00}, 44100, 1152, 417}, {{0xFF, 0xFB, 0x92, 0x00}, 44100, 1152, 418},
        {{0xFF, 0xFB, 0xE4, 0x00}, 48000, 1152, 960}, {{0xFF, 0xF3, 0x80, 0xC0}, 22050, 576, 208},
        {{0xFF, 0xE3, 0x18, 0xC0}, 8000, 576, 72},    {{0xFF, 0xFD, 0xA0, 0x00}, 44100, 1152, 626},
        {{0xFF, 0xFF, 0x90, 0x00}, 44100, 384, 312}};
    for (const auto &each : known) {
        mp3_header header;
        ASSERT_EQ(mp3_header_read(&header, each.bytes), 0);
        EXPECT_EQ(header.rate, each.rate);
        EXPECT_EQ(header.samples, each.samples);
        EXPECT_EQ(header.bytes, each.size);
    }
    mp3_header header;
    for (const auto &bad :
         {"\xFF\xFB\xF0", "\xFF\xFB\x9C", "\xFF\xF9\x90", "\xFF\xEB\x90", "\xFE\xFB\x90"}) {
        unsigned char bytes[4] = {};
        memcpy(bytes, bad, 3);
        EXPECT_EQ(mp3_header_read(&header, bytes), -1);
    }
}

TEST(decoder_mp3_frames, the_index_does_not_depend_on_the_steps)
{
    ASSERT_EQ(maker_track("i.mp3", {.seconds = 20, .mp3 = {.vbr = true, .header = false}}), 0);
    laid_out of("i.mp3");
    ASSERT_EQ(of.result, 0);
    mp3_index whole, pieces;
    mp3_index_begin(&whole, &of.layout);
    mp3_index_begin(&pieces, &of.layout);
    mp3_index_extend(&whole, of.file, &of.layout, INT64_MAX, INT64_MAX / 2);
    for (int64_t frame = 0; !pieces.complete; frame += 7) {
        mp3_index_extend(&pieces, of.file, &of.layout, frame, 100);
        ASSERT_LT(frame, 100000);
    }
    EXPECT_TRUE(whole.complete);
    EXPECT_GT(whole.frames, 20 * 44100 / 1152);
    EXPECT_EQ(whole.frames, pieces.frames);
    ASSERT_EQ(whole.count, pieces.count);
    EXPECT_EQ(memcmp(whole.places, pieces.places, whole.count * sizeof *whole.places), 0);
    mp3_index_end(&whole);
    mp3_index_end(&pieces);
}

/* One silent frame of 24 bytes over and over: hours in a few megabytes. */
static void make_endless(const char *path, int frames)
{
    std::string frame("\xFF\xF3\x14\xC0", 4);
    frame.resize(24, '\0');
    std::string bytes;
    for (int i = 0; i < frames; i++)
        bytes += frame;
    ASSERT_EQ(maker_audio_save(path, bytes), 0);
}

TEST(decoder_mp3_frames, the_index_of_hours_stays_small_and_right)
{
    constexpr int frames = 300001;
    make_endless("hours.mp3", frames);
    laid_out of("hours.mp3");
    ASSERT_EQ(of.result, 0);
    mp3_index index;
    mp3_index_begin(&index, &of.layout);
    mp3_index_extend(&index, of.file, &of.layout, INT64_MAX, INT64_MAX / 2);
    EXPECT_EQ(index.frames, frames);
    EXPECT_LE(index.count, 16384u);
    ASSERT_EQ(static_cast<int64_t>(index.count), (frames + index.step - 1) / index.step);
    for (uint32_t i = 0; i < index.count; i++)
        ASSERT_EQ(index.places[i], static_cast<int64_t>(i) * index.step * 24);
    mp3_index_end(&index);
}

TEST(decoder_mp3_frames, hours_can_be_seeked)
{
    constexpr int64_t frames = 300001;
    make_endless("far.mp3", static_cast<int>(frames));
    opened file("far.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->sample_rate, 24000u);
    EXPECT_EQ(file.stream->length, frames * 576);
    ASSERT_EQ(file.seek(frames * 576 - 24000), 0);
    EXPECT_NEAR(static_cast<double>(hear(file).frames()), 44100, 1);
    EXPECT_EQ(file.tell(), frames * 576);
    unlink("far.mp3");
    unlink("hours.mp3");
}

TEST(decoder_mp3_frames, a_frame_cut_short_is_not_counted)
{
    const std::string bytes = maker_mp3_bytes(maker_sine(440, 1), {.header = false});
    for (size_t cut = 1; cut < 900; cut += 99) {
        ASSERT_EQ(maker_audio_save("short.mp3", bytes.substr(0, bytes.size() - cut)), 0);
        opened file("short.mp3");
        ASSERT_NE(file.stream, nullptr);
        EXPECT_EQ(static_cast<int64_t>(hear(file).frames()), file.stream->length) << cut;
    }
}

TEST(decoder_mp3_frames, free_format_frames_are_measured)
{
    /* 1000 bytes each, without any bit rate in the header. */
    std::string frame("\xFF\xFB\x00\xC0", 4), bytes;
    frame.resize(1000, '\0');
    for (int i = 0; i < 40; i++)
        bytes += frame;
    ASSERT_EQ(maker_audio_save("free.mp3", bytes), 0);
    opened file("free.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 40 * 1152);
    EXPECT_EQ(hear(file).frames(), 40u * 1152);
}

/* A wave of 16 bits, as files without any head have it. */
static std::string plain_samples(double frequency, double level, bool noisy)
{
    std::string bytes;
    uint32_t random = 1;
    for (int i = 0; i < 100000; i++) {
        random = random * 1664525 + 1013904223;
        const double noise = noisy ? (random >> 16) / 65536.0 - 0.5 : 0;
        const auto value = static_cast<int16_t>(
            level * (std::sin(i * frequency * 2 * M_PI / 44100) + 0.3 * noise));
        bytes += static_cast<char>(value);
        bytes += static_cast<char>(value >> 8);
    }
    return bytes;
}

TEST(decoder_mp3_frames, plain_samples_are_none)
{
    for (const double level : {2, 8, 40, 300, 20000})
        for (const double frequency : {50.0, 341.9, 536.5, 1120.3})
            for (const bool noisy : {false, true}) {
                ASSERT_EQ(maker_audio_save("pcm.mp3", plain_samples(frequency, level, noisy)), 0);
                EXPECT_EQ(laid_out("pcm.mp3").result, -1) << level << " " << frequency << noisy;
            }
}

/* Chance headers are seldom of one kind. */
TEST(decoder_mp3_frames, a_stream_keeps_the_number_of_its_channels)
{
    std::string bytes = maker_mp3_bytes(maker_sine(440, 1.0), {.header = false});
    ASSERT_EQ(maker_audio_save("s.mp3", bytes), 0);
    EXPECT_EQ(laid_out("s.mp3").result, 0);
    bool second = false;
    mp3_header header;
    for (size_t at = 0; at + 4 <= bytes.size(); at += header.bytes) {
        ASSERT_EQ(mp3_header_read(&header, reinterpret_cast<const unsigned char *>(&bytes[at])), 0);
        if (second)
            bytes[at + 3] = static_cast<char>(bytes[at + 3] | 0xC0); /* mono */
        second = !second;
    }
    ASSERT_EQ(maker_audio_save("s.mp3", bytes), 0);
    EXPECT_EQ(laid_out("s.mp3").result, -1);
}

TEST(decoder_mp3_frames, a_short_stream_is_one_from_the_very_start_only)
{
    const std::string frames = maker_mp3_bytes(maker_sine(440, 0.06), {.header = false});
    ASSERT_EQ(maker_audio_save("s.mp3", frames), 0);
    EXPECT_EQ(laid_out("s.mp3").result, 0);
    ASSERT_EQ(maker_audio_save("s.mp3", frames.substr(0, frames.size() - 100)), 0);
    EXPECT_EQ(laid_out("s.mp3").result, 0) << "with its last frame cut";
    ASSERT_EQ(maker_audio_save("s.mp3", std::string(1000, 'x') + frames), 0);
    EXPECT_EQ(laid_out("s.mp3").result, -1) << "a few frames behind rubbish";
}
