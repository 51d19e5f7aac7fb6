/* FLAC: what was encoded comes out, to the last bit where 16 bits allow. */
#include "support/bytes_read.h"
#include "unit/platform/audio/audio_measure.h"

#include <unistd.h>

static int16_t as_16_bits(float sample)
{
    return static_cast<int16_t>(lrint(static_cast<double>(sample) * 32767));
}

static void expect_exact(const heard &sound, const maker_sound &made)
{
    ASSERT_EQ(sound.frames(), static_cast<size_t>(made.frames));
    const int right = made.channels > 1 ? 1 : 0;
    for (size_t i = 0; i < sound.frames(); i++) {
        ASSERT_EQ(sound.left[i], as_16_bits(made.sample(static_cast<int64_t>(i), 0))) << i;
        ASSERT_EQ(sound.right[i], as_16_bits(made.sample(static_cast<int64_t>(i), right))) << i;
    }
}

TEST(decoder_flac, sixteen_bits_at_the_output_rate_come_out_untouched)
{
    const maker_sound noise = maker_noise(1.234);
    ASSERT_EQ(maker_track_of("a.flac", noise), 0);
    opened file("a.flac");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->sample_rate, 44100u);
    EXPECT_EQ(file.stream->length, noise.frames);
    EXPECT_EQ(file.tell(), 0);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_EQ(file.tell(), noise.frames);
    expect_exact(sound, noise);
}

TEST(decoder_flac, mono_comes_out_on_both_sides)
{
    const maker_sound noise = maker_noise(0.5, 44100, 1);
    ASSERT_EQ(maker_track_of("mono.flac", noise), 0);
    expect_exact(hear_file("mono.flac"), noise);
}

TEST(decoder_flac, eight_bits_keep_their_level)
{
    ASSERT_EQ(maker_track("b.flac", {.seconds = 1, .freq = 500, .flac = {.bits = 8}}), 0);
    expect_sine(hear_file("b.flac"), 500, 0.5);
}

TEST(decoder_flac, each_sample_can_be_seeked)
{
    const maker_sound noise = maker_noise(1);
    ASSERT_EQ(maker_track_of("s.flac", noise, {.flac = {.block = 1000}}), 0);
    const heard whole = hear_file("s.flac");
    opened file("s.flac");
    ASSERT_NE(file.stream, nullptr);
    for (const int64_t at : {0, 1, 999, 1000, 1001, 22050, 44099, 7, 43999, 30000})
        expect_same_after_seek(file, whole, at);
}

TEST(decoder_flac, a_seek_is_clamped_to_the_stream)
{
    const maker_sound noise = maker_noise(0.5);
    ASSERT_EQ(maker_track_of("c.flac", noise), 0);
    opened file("c.flac");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.seek(noise.frames * 1001 / 1000), 0);
    EXPECT_EQ(file.tell(), noise.frames - 1);
    EXPECT_EQ(hear(file).frames(), 1u);
    EXPECT_EQ(file.seek(-5), 0);
    EXPECT_EQ(file.tell(), 0);
    EXPECT_EQ(hear(file).frames(), static_cast<size_t>(noise.frames));
}

TEST(decoder_flac, a_stream_that_has_ended_can_be_seeked_back)
{
    const maker_sound noise = maker_noise(0.5);
    ASSERT_EQ(maker_track_of("e.flac", noise), 0);
    opened file("e.flac");
    ASSERT_NE(file.stream, nullptr);
    const heard whole = hear(file);
    expect_same_after_seek(file, whole, 100);
    EXPECT_EQ(hear(file).end, 0);
    EXPECT_EQ(hear(file).end, 0);
}

TEST(decoder_flac, twenty_four_bits_are_dithered_around_the_truth)
{
    const maker_sound sine = maker_sine(440, 2, 44100, 2, 0.5);
    ASSERT_EQ(maker_track_of("w.flac", sine, {.flac = {.bits = 24}}), 0);
    const heard sound = hear_file("w.flac");
    ASSERT_EQ(sound.frames(), static_cast<size_t>(sine.frames));
    EXPECT_LE(sine_distance(sound.left, 0, sound.frames(), 440, 0.5, 0), 2.0);
    const measured is = measure(sound.left, 0, sound.frames(), 440);
    EXPECT_NEAR(is.level, 0.5, 0.0005);
    /* Rounding and a triangle of two steps: half a step, effective. */
    EXPECT_NEAR(is.noise, 0.5, 0.05);
}

TEST(decoder_flac, dither_keeps_what_is_smaller_than_a_step)
{
    const maker_sound faint = maker_sine(1000, 4, 44100, 2, 0.4 / 32768);
    ASSERT_EQ(maker_track_of("faint.flac", faint, {.flac = {.bits = 24}}), 0);
    const heard sound = hear_file("faint.flac");
    double in = 0;
    for (size_t i = 0; i < sound.frames(); i++)
        in += sound.left[i] * sin(2 * M_PI * 1000 * static_cast<double>(i) / sound_rate);
    EXPECT_NEAR(in * 2 / static_cast<double>(sound.frames()), 0.4, 0.03);
}

TEST(decoder_flac, twenty_four_bits_sound_the_same_after_a_seek)
{
    ASSERT_EQ(maker_track_of("ws.flac", maker_noise(1), {.flac = {.bits = 24}}), 0);
    const heard whole = hear_file("ws.flac");
    opened file("ws.flac");
    ASSERT_NE(file.stream, nullptr);
    for (const int64_t at : {0, 1, 4096, 12345, 44000})
        expect_same_after_seek(file, whole, at);
}

TEST(decoder_flac, high_resolution_keeps_pitch_level_and_length)
{
    ASSERT_EQ(
        maker_track("hi.flac", {.seconds = 3, .freq = 1000, .rate = 96000, .flac = {.bits = 24}}),
        0);
    opened file("hi.flac");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->sample_rate, 96000u);
    EXPECT_EQ(file.stream->length, 288000);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_NEAR(static_cast<double>(sound.frames()), 3 * 44100, 1);
    EXPECT_EQ(file.tell(), 288000);
    expect_sine(sound, 1000, 0.5, 0.001);
    EXPECT_LT(measure(sound.left, 4410, 120000, 1000).noise, 1.0);
    EXPECT_LE(sine_distance(sound.left, 500, 130000, 1000, 0.5, 0), 3.0);
}

TEST(decoder_flac, what_the_output_cannot_say_is_filtered_out)
{
    ASSERT_EQ(maker_track("ultra.flac",
                          {.seconds = 1, .freq = 30000, .rate = 96000, .flac = {.bits = 24}}),
              0);
    const heard sound = hear_file("ultra.flac");
    int loudest = 0;
    for (size_t i = 1000; i + 1000 < sound.frames(); i++)
        loudest = std::max(loudest, abs(sound.left[i]));
    EXPECT_LE(loudest, 2);
}

TEST(decoder_flac, a_seek_is_exact_where_rates_differ)
{
    for (const uint32_t rate : {96000u, 48000u, 8000u, 22050u, 88200u, 44101u}) {
        ASSERT_EQ(maker_track("r.flac", {.seconds = 2, .freq = 700, .rate = rate}), 0);
        opened file("r.flac");
        ASSERT_NE(file.stream, nullptr);
        for (const double seconds : {0.0, 1.0, 0.3331, 1.777}) {
            const int64_t sample = static_cast<int64_t>(seconds * rate);
            ASSERT_EQ(file.seek(sample), 0);
            EXPECT_EQ(file.tell(), sample);
            const heard sound = hear(file, 4000);
            const size_t edge = rate == 44101 ? 500 : 0;
            EXPECT_LE(
                sine_distance(sound.left, edge, 4000, 700, 0.5, static_cast<double>(sample) / rate),
                seconds == 0 ? 1000.0 : 4.0)
                << rate << " " << seconds;
            EXPECT_NEAR(static_cast<double>(file.tell()),
                        static_cast<double>(sample) + 4000.0 * rate / 44100, 1);
        }
    }
}

TEST(decoder_flac, odd_rates_keep_pitch_and_length)
{
    for (const uint32_t rate : {8000u, 11025u, 32000u, 48000u, 192000u, 200000u}) {
        ASSERT_EQ(maker_track("o.flac", {.seconds = 1.5, .freq = 500, .rate = rate}), 0);
        opened file("o.flac");
        ASSERT_NE(file.stream, nullptr) << rate;
        EXPECT_EQ(file.stream->sample_rate, rate);
        const heard sound = hear(file);
        EXPECT_EQ(static_cast<int64_t>(sound.frames()),
                  llround(static_cast<double>(file.stream->length) * 44100 / rate))
            << rate;
        EXPECT_EQ(file.tell(), file.stream->length);
        expect_sine(sound, 500, 0.5, 0.002);
    }
}

TEST(decoder_flac, the_largest_blocks_come_out_in_any_pieces)
{
    const maker_sound noise = maker_noise(4);
    ASSERT_EQ(maker_track_of("big.flac", noise, {.flac = {.block = 65535}}), 0);
    expect_exact(hear_file("big.flac"), noise);
    opened file("big.flac");
    ASSERT_NE(file.stream, nullptr);
    std::vector<int16_t> one(2);
    for (int i = 0; i < 100; i++)
        ASSERT_EQ(file.decoder->read(file.stream, one.data(), 7), 4);
    EXPECT_EQ(file.tell(), 100);
    EXPECT_EQ(one[0], as_16_bits(noise.sample(99, 0)));
}

TEST(decoder_flac, a_length_that_the_header_does_not_tell_is_found)
{
    for (const int block : {192, 4096, 65535}) {
        const maker_sound noise = maker_noise(3.21);
        const maker_flac how = {.block = block, .total_known = false};
        ASSERT_EQ(maker_track_of("n.flac", noise, {.flac = how}), 0);
        opened file("n.flac");
        ASSERT_NE(file.stream, nullptr);
        EXPECT_EQ(file.stream->length, noise.frames) << block;
        const heard whole = hear(file);
        expect_exact(whole, noise);
        for (const int64_t at : {0, 100000, 5, 141000, 70001})
            expect_same_after_seek(file, whole, at);
    }
}

/* Sets the 36 bits of the length in the head. */
static void set_total(std::string *bytes, uint32_t total)
{
    (*bytes)[21] = static_cast<char>((*bytes)[21] & 0xF0);
    for (int i = 0; i < 4; i++)
        (*bytes)[static_cast<size_t>(22 + i)] = static_cast<char>(total >> (24 - 8 * i));
}

TEST(decoder_flac, a_stream_longer_than_its_head_tells_shows_its_real_place)
{
    const maker_sound noise = maker_noise(4.56);
    const maker_sound quiet = maker_sine(440, 4.56, 44100, 2, 0.001);
    for (const maker_sound &sound : {noise, quiet}) {
        std::string bytes = maker_flac_bytes(sound);
        set_total(&bytes, 73206);
        ASSERT_EQ(maker_audio_save("longer.flac", bytes), 0);
        opened file("longer.flac");
        ASSERT_NE(file.stream, nullptr);
        const heard whole = hear(file);
        EXPECT_EQ(whole.frames(), static_cast<size_t>(sound.frames));
        EXPECT_EQ(file.tell(), sound.frames);
        EXPECT_EQ(file.stream->length, sound.frames);
        for (const int64_t at : {180000, 1000, 73206, 150000})
            expect_same_after_seek(file, whole, at);
    }
    /* As many bytes show it before it plays. */
    std::string bytes = maker_flac_bytes(noise);
    set_total(&bytes, 73206);
    ASSERT_EQ(maker_audio_save("longer.flac", bytes), 0);
    opened file("longer.flac");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, noise.frames);
}

/* The blocks of a file: the mark, the stream info, all others, the frames. */
struct flac_parts {
    std::string info, others, frames;

    explicit flac_parts(const std::string &bytes)
    {
        size_t at = 4;
        for (bool last = false; !last;) {
            last = bytes[at] & 0x80;
            const size_t size =
                4 + (static_cast<size_t>(static_cast<uint8_t>(bytes[at + 1])) << 16 |
                     static_cast<size_t>(static_cast<uint8_t>(bytes[at + 2])) << 8 |
                     static_cast<uint8_t>(bytes[at + 3]));
            std::string block = bytes.substr(at, size);
            block[0] = static_cast<char>(block[0] & 0x7F);
            (at == 4 ? info : others) += block;
            at += size;
        }
        frames = bytes.substr(at);
    }
};

static std::string last_block(std::string block)
{
    block[0] = static_cast<char>(block[0] | 0x80);
    return block;
}

TEST(decoder_flac, a_stream_info_that_is_missing_or_late_stops_nothing)
{
    const maker_sound noise = maker_noise(1.5);
    const flac_parts parts(maker_flac_bytes(noise, {}, {.title = "Title"}));
    const std::string others = parts.others;
    for (const std::string &bytes :
         {"fLaC" + others + last_block(parts.info) + parts.frames,
          "fLaC" + others + last_block(std::string("\1\0\0\0", 4)) + parts.frames,
          "fLaC" + last_block(std::string("\1\0\0\0", 4)) + parts.frames, parts.frames}) {
        ASSERT_EQ(maker_audio_save("late.flac", bytes), 0);
        opened file("late.flac");
        ASSERT_NE(file.stream, nullptr);
        EXPECT_EQ(file.stream->sample_rate, 44100u);
        EXPECT_EQ(file.stream->length, noise.frames);
        const heard whole = hear(file);
        expect_exact(whole, noise);
        expect_same_after_seek(file, whole, 40000);
        audio_info *info = file.decoder->read_info("late.flac");
        ASSERT_NE(info, nullptr);
        ASSERT_NE(info->tags, nullptr);
        EXPECT_EQ(info->tags->title != nullptr, bytes.find("Title") != std::string::npos);
        file.decoder->release_info(info);
    }
}

TEST(decoder_flac, a_head_of_a_thousand_blocks_is_walked_and_no_more)
{
    const maker_sound noise = maker_noise(0.5);
    const flac_parts parts(maker_flac_bytes(noise, {}, {.title = "Title"}));
    ASSERT_EQ(parts.others[0], 4) << "no comments";
    for (const int paddings : {1022, 1023}) { /* with the info and the last one 1024 at most */
        std::string bytes = "fLaC" + parts.info;
        for (int i = 0; i < paddings; i++)
            bytes += std::string("\1\0\0\0", 4);
        /* The comments come last; behind 1024 blocks nobody sees them. */
        ASSERT_EQ(maker_audio_save("many.flac", bytes + last_block(parts.others) + parts.frames),
                  0);
        audio_info *info = audio_get_decoder("many.flac")->read_info("many.flac");
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->tags != nullptr && info->tags->title != nullptr, paddings == 1022);
        audio_get_decoder("many.flac")->release_info(info);
    }
}

TEST(decoder_flac, a_mark_without_frames_is_refused_soon)
{
    ASSERT_EQ(maker_audio_save("mark.flac", "fLaC" + last_block(std::string("\1\0\0\0", 4))), 0);
    ASSERT_EQ(truncate("mark.flac", 200 << 20), 0);
    const int64_t before = bytes_read();
    EXPECT_EQ(opened("mark.flac").stream, nullptr);
    EXPECT_EQ(audio_get_decoder("mark.flac")->read_info("mark.flac"), nullptr);
    EXPECT_LT(bytes_read() - before, 4 << 20);
    unlink("mark.flac");
}

TEST(decoder_flac, pictures_are_not_read_through)
{
    const maker_file pictured = {.seconds = 0.3, .cover = std::string(5 << 20, 'c')};
    ASSERT_EQ(maker_track("p.flac", pictured), 0);
    const int64_t before = bytes_read();
    EXPECT_NE(opened("p.flac").stream, nullptr);
    EXPECT_LT(bytes_read() - before, 256 << 10);
}

TEST(decoder_flac, six_channels_are_mixed_without_clipping)
{
    maker_sound six = maker_sine(300, 0.5, 44100, 6, 1.0);
    ASSERT_EQ(maker_track_of("six.flac", six), 0);
    expect_sine(hear_file("six.flac"), 300, 1.0, 0.01);
    /* Only the centre: on both sides alike, 3 dB below its share. */
    const maker_sound sine = maker_sine(300, 0.5);
    six.sample = [sine](int64_t frame, int channel) {
        return channel == 2 ? sine.sample(frame, 0) : 0;
    };
    ASSERT_EQ(maker_track_of("centre.flac", six), 0);
    expect_sine(hear_file("centre.flac"), 300, 0.5 * 0.7071 / 2.4142, 0.01);
    /* Only the left front: nothing on the right. */
    six.sample = [sine](int64_t frame, int channel) {
        return channel == 0 ? sine.sample(frame, 0) : 0;
    };
    ASSERT_EQ(maker_track_of("front.flac", six), 0);
    const heard front = hear_file("front.flac");
    EXPECT_NEAR(measure(front.left, 0, front.frames(), 300).level, 0.5 / 2.4142, 0.005);
    for (const int16_t sample : front.right)
        ASSERT_LE(abs(sample), 1);
}

TEST(decoder_flac, damage_leaves_what_follows_in_its_place)
{
    const maker_sound noise = maker_noise(2);
    std::string bytes = maker_flac_bytes(noise, {.block = 1152});
    for (size_t i = 0; i < 6000; i++)
        bytes[bytes.size() / 2 + i] = static_cast<char>(i * 7);
    ASSERT_EQ(maker_audio_save("d.flac", bytes), 0);
    const heard sound = hear_file("d.flac");
    ASSERT_EQ(sound.frames(), static_cast<size_t>(noise.frames));
    for (size_t i = 0; i < 20000; i++) {
        const size_t end = sound.frames() - 1 - i;
        ASSERT_EQ(sound.left[i], as_16_bits(noise.sample(static_cast<int64_t>(i), 0)));
        ASSERT_EQ(sound.left[end], as_16_bits(noise.sample(static_cast<int64_t>(end), 0)));
    }
}

TEST(decoder_flac, a_cut_file_plays_to_the_cut)
{
    const maker_sound noise = maker_noise(2);
    const std::string bytes = maker_flac_bytes(noise);
    ASSERT_EQ(maker_audio_save("cut.flac", bytes.substr(0, bytes.size() / 2)), 0);
    opened file("cut.flac");
    ASSERT_NE(file.stream, nullptr);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_GT(sound.frames(), static_cast<size_t>(noise.frames) / 3);
    EXPECT_LT(sound.frames(), static_cast<size_t>(noise.frames) * 2 / 3);
    /* A place behind the cut cannot be had; the stream lives on. */
    ASSERT_EQ(file.seek(1000), 0);
    EXPECT_EQ(file.seek(file.stream->length - 1), -1);
    EXPECT_EQ(file.tell(), 1000);
    const heard again = hear(file, 100);
    ASSERT_EQ(again.frames(), 100u);
    EXPECT_EQ(again.left[0], sound.left[1000]);
}

TEST(decoder_flac, a_tag_in_front_does_no_harm)
{
    const maker_sound noise = maker_noise(0.3);
    const std::string tag = maker_id3v2_bytes({.title = "In front"});
    const std::string bytes = maker_flac_bytes(noise, {}, {.title = "Inside"});
    ASSERT_EQ(maker_audio_save("tag.flac", tag + bytes), 0);
    opened file("tag.flac");
    ASSERT_NE(file.stream, nullptr);
    ASSERT_NE(file.stream->tags, nullptr);
    EXPECT_STREQ(file.stream->tags->title, "Inside");
    expect_exact(hear(file), noise);
}
