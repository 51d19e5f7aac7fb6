/* Ogg Vorbis: sines keep pitch, level and length; chains keep time. */
#include "makers/maker_audio_private.h"
#include "unit/platform/audio/audio_measure.h"

TEST(decoder_ogg, a_sine_keeps_pitch_level_and_length)
{
    for (const int channels : {1, 2})
        for (const uint32_t rate : {8000u, 22050u, 44100u, 48000u}) {
            ASSERT_EQ(
                maker_track("a.ogg",
                            {.seconds = 2.5, .freq = 440, .rate = rate, .channels = channels}),
                0);
            opened file("a.ogg");
            ASSERT_NE(file.stream, nullptr);
            EXPECT_EQ(file.stream->sample_rate, rate);
            EXPECT_EQ(file.stream->length, static_cast<int64_t>(2.5 * rate));
            const heard sound = hear(file);
            EXPECT_EQ(sound.end, 0);
            EXPECT_NEAR(static_cast<double>(sound.frames()), 2.5 * 44100, 1);
            EXPECT_EQ(file.tell(), file.stream->length);
            expect_sine(sound, 440, 0.5, 0.03);
            EXPECT_LE(sine_distance(sound.left, 4000, 100000, 440, 0.5, 0), 800);
        }
}

TEST(decoder_ogg, each_sample_can_be_seeked)
{
    ASSERT_EQ(maker_track_of("s.ogg", maker_noise(3, 44100, 2, 0.3)), 0);
    const heard whole = hear_file("s.ogg");
    ASSERT_EQ(whole.frames(), 3u * 44100);
    opened file("s.ogg");
    ASSERT_NE(file.stream, nullptr);
    for (const int64_t at : {0, 1, 1000, 4096, 66150, 132299, 132298, 100003, 7, 130000})
        expect_same_after_seek(file, whole, at);
    EXPECT_EQ(file.seek(9000000), 0);
    EXPECT_EQ(file.tell(), file.stream->length - 1);
    EXPECT_EQ(file.seek(-1), 0);
    EXPECT_EQ(file.tell(), 0);
}

static std::string link_of(double freq, double seconds, uint32_t rate, int channels,
                           uint32_t serial)
{
    return maker_ogg_bytes(maker_sine(freq, seconds, rate, channels), {.serial = serial});
}

TEST(decoder_ogg, a_chain_of_one_rate_plays_without_a_seam)
{
    const std::string bytes = link_of(441, 1, 44100, 2, 1) + link_of(441, 1, 44100, 2, 2);
    ASSERT_EQ(maker_audio_save("c.ogg", bytes), 0);
    opened file("c.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 88200);
    const heard whole = hear(file);
    ASSERT_EQ(whole.frames(), 88200u);
    EXPECT_LE(sine_distance(whole.left, 46000, 40000, 441, 0.5, 0), 800);
    for (const int64_t at : {0, 44099, 44100, 44101, 60000, 88199})
        expect_same_after_seek(file, whole, at);
}

TEST(decoder_ogg, a_chain_keeps_pitch_and_time_where_rate_and_channels_change)
{
    const std::string bytes =
        link_of(440, 2, 44100, 2, 1) + link_of(700, 3, 22050, 1, 2) + link_of(900, 1, 48000, 2, 3);
    ASSERT_EQ(maker_audio_save("rates.ogg", bytes), 0);
    opened file("rates.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->sample_rate, 44100u);
    EXPECT_EQ(file.stream->length, 6 * 44100);
    const heard whole = hear(file);
    EXPECT_EQ(whole.end, 0);
    ASSERT_NEAR(static_cast<double>(whole.frames()), 6 * 44100, 2);
    EXPECT_EQ(file.tell(), file.stream->length);
    for (const auto *channel : {&whole.left, &whole.right}) {
        EXPECT_NEAR(measure(*channel, 2000, 80000).freq, 440, 0.1);
        EXPECT_NEAR(measure(*channel, 92000, 120000).freq, 700, 0.1);
        EXPECT_NEAR(measure(*channel, 225000, 35000).freq, 900, 0.2);
        EXPECT_NEAR(measure(*channel, 92000, 120000).level, 0.5, 0.02);
    }
    /* Time 4.0 lies in the middle link, 2.0 after its start. */
    ASSERT_EQ(file.seek(4 * 44100), 0);
    EXPECT_EQ(file.tell(), 4 * 44100);
    const heard middle = hear(file, 8000);
    EXPECT_LE(sine_distance(middle.left, 0, 8000, 700, 0.5, 2.0), 1500);
    ASSERT_EQ(file.seek(static_cast<int64_t>(5.25 * 44100)), 0);
    const heard late = hear(file, 8000);
    EXPECT_LE(sine_distance(late.left, 0, 8000, 900, 0.5, 0.25), 800);
    ASSERT_EQ(file.seek(44100), 0);
    EXPECT_LE(sine_distance(hear(file, 8000).left, 0, 8000, 440, 0.5, 1.0), 800);
}

TEST(decoder_ogg, a_chain_that_begins_at_another_rate_is_right_too)
{
    const std::string bytes = link_of(500, 1, 8000, 1, 1) + link_of(440, 2, 44100, 2, 2);
    ASSERT_EQ(maker_audio_save("low.ogg", bytes), 0);
    opened file("low.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->sample_rate, 8000u);
    EXPECT_EQ(file.stream->length, 24000);
    const heard whole = hear(file);
    ASSERT_NEAR(static_cast<double>(whole.frames()), 3 * 44100, 6);
    EXPECT_NEAR(measure(whole.left, 50000, 70000).freq, 440, 0.1);
    EXPECT_EQ(file.tell(), 24000);
    ASSERT_EQ(file.seek(16000), 0);
    EXPECT_LE(sine_distance(hear(file, 8000).left, 0, 8000, 440, 0.5, 1.0), 800);
}

TEST(decoder_ogg, a_later_link_of_larger_blocks_is_seeked_exactly)
{
    const std::string noise = maker_ogg_bytes(maker_noise(2, 44100, 2, 0.3), {.serial = 2});
    ASSERT_EQ(maker_audio_save("alone.ogg", noise), 0);
    ASSERT_EQ(maker_audio_save("after.ogg", link_of(500, 1, 8000, 1, 1) + noise), 0);
    const heard alone = hear_file("alone.ogg");
    opened file("after.ogg");
    ASSERT_NE(file.stream, nullptr);
    for (int64_t at = 8000; at < 23000; at += 320) { /* whole samples of both rates */
        ASSERT_EQ(file.seek(at), 0);
        const heard part = hear(file, 300);
        const size_t from = static_cast<size_t>(at - 8000) * 441 / 80;
        ASSERT_EQ(part.frames(), 300u);
        for (size_t i = 0; i < 300; i++)
            ASSERT_EQ(part.left[i], alone.left[from + i]) << at << " + " << i;
    }
}

TEST(decoder_ogg, a_hole_is_bridged)
{
    std::string bytes = maker_ogg_bytes(maker_sine(440, 4), {.packets_a_page = 4});
    /* A page that fails its checksum is one the library leaves out. */
    const size_t page = bytes.find("OggS", bytes.size() / 2);
    ASSERT_NE(page, std::string::npos);
    bytes[page + 60] = static_cast<char>(bytes[page + 60] ^ 0x55);
    ASSERT_EQ(maker_audio_save("hole.ogg", bytes), 0);
    opened file("hole.ogg");
    ASSERT_NE(file.stream, nullptr);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_GT(sound.frames(), 4u * 44100 - 20000);
    EXPECT_NEAR(measure(sound.left, sound.frames() - 60000, 50000).freq, 440, 0.1);
}

TEST(decoder_ogg, surround_is_mixed_to_both_sides)
{
    maker_sound three = maker_sine(300, 0.5, 44100, 3, 0.5);
    const maker_sound sine = maker_sine(300, 0.5);
    three.sample = [sine](int64_t frame, int channel) {
        return channel == 1 ? sine.sample(frame, 0) : 0; /* the centre, second in this format */
    };
    ASSERT_EQ(maker_track_of("three.ogg", three), 0);
    expect_sine(hear_file("three.ogg"), 300, 0.5 * 0.7071 / 1.7071, 0.05);
}

TEST(decoder_ogg, a_tag_with_a_picture_in_front_is_passed_over)
{
    const std::string tag = maker_id3v2_bytes({.title = "T", .cover = std::string(300000, 'c')});
    const std::string bytes = maker_ogg_bytes(maker_sine(440, 2));
    ASSERT_EQ(maker_audio_save("bare.ogg", bytes), 0);
    ASSERT_EQ(maker_audio_save("behind.ogg", tag + bytes), 0);
    const heard bare = hear_file("bare.ogg");
    opened file("behind.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 88200);
    EXPECT_EQ(hear(file).left, bare.left);
    for (const int64_t at : {50000, 1, 88199})
        expect_same_after_seek(file, bare, at);
}

TEST(decoder_ogg, a_cut_file_tells_its_real_length)
{
    const std::string bytes = maker_ogg_bytes(maker_sine(440, 4), {.packets_a_page = 4});
    ASSERT_EQ(maker_audio_save("cut.ogg", bytes.substr(0, bytes.size() / 2)), 0);
    opened file("cut.ogg");
    ASSERT_NE(file.stream, nullptr);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_EQ(static_cast<int64_t>(sound.frames()), file.stream->length);
    EXPECT_GT(file.stream->length, 44100);
}

TEST(decoder_ogg, a_seek_behind_the_last_sample_of_a_lying_file_ends)
{
    maker_body body = maker_ogg_body(maker_sine(440, 2), {.packets_a_page = 4});
    ASSERT_FALSE(body.packets.empty());
    body.packets.back().granule += 44100;
    ASSERT_EQ(maker_audio_save("lie.ogg", maker_ogg_wrap(body, {.packets_a_page = 4}, {})), 0);
    opened file("lie.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 3 * 44100);
    (void)file.seek(3 * 44100 - 100); /* whatever it finds there */
    EXPECT_LT(hear(file).frames(), 3u * 44100);
    EXPECT_EQ(file.seek(0), 0);
    expect_sine(hear(file), 440, 0.5, 0.03);
}
