/* MP3: lengths and places are exact, with and without what the encoder says about them. */
#include "support/bytes_read.h"
#include "unit/platform/audio/audio_measure.h"

TEST(decoder_mp3, delay_and_padding_of_the_encoder_are_trimmed)
{
    for (const bool vbr : {false, true}) {
        ASSERT_EQ(maker_track("g.mp3", {.seconds = 2.345, .freq = 440, .mp3 = {.vbr = vbr}}), 0);
        opened file("g.mp3");
        ASSERT_NE(file.stream, nullptr);
        EXPECT_EQ(file.stream->sample_rate, 44100u);
        EXPECT_EQ(file.stream->length, llround(2.345 * 44100));
        const heard sound = hear(file);
        EXPECT_EQ(sound.end, 0);
        EXPECT_EQ(static_cast<int64_t>(sound.frames()), file.stream->length);
        EXPECT_EQ(file.tell(), file.stream->length);
        expect_sine(sound, 440, 0.5, 0.01);
        /* In phase from the first sample: nothing of the encoder's delay is left. */
        EXPECT_LE(sine_distance(sound.left, 500, 100000, 440, 0.5, 0), 500);
    }
}

TEST(decoder_mp3, rates_and_mono_keep_pitch_level_and_length)
{
    for (const uint32_t rate : {8000u, 11025u, 16000u, 22050u, 24000u, 32000u, 44100u, 48000u})
        for (const int channels : {1, 2}) {
            ASSERT_EQ(maker_track("r.mp3", {.seconds = 2,
                                            .freq = 440,
                                            .rate = rate,
                                            .channels = channels,
                                            .mp3 = {.kbps = 64}}),
                      0);
            opened file("r.mp3");
            ASSERT_NE(file.stream, nullptr);
            EXPECT_EQ(file.stream->sample_rate, rate);
            EXPECT_EQ(file.stream->length, 2 * static_cast<int64_t>(rate));
            const heard sound = hear(file);
            EXPECT_NEAR(static_cast<double>(sound.frames()), 2 * 44100, 1);
            EXPECT_EQ(file.tell(), file.stream->length);
            expect_sine(sound, 440, 0.5, 0.02);
        }
}

TEST(decoder_mp3, a_length_that_no_header_tells_is_counted)
{
    for (const bool vbr : {false, true})
        for (const uint32_t rate : {44100u, 22050u}) {
            ASSERT_EQ(maker_track("n.mp3", {.seconds = 5,
                                            .freq = 440,
                                            .rate = rate,
                                            .mp3 = {.vbr = vbr, .header = false}}),
                      0);
            opened file("n.mp3");
            ASSERT_NE(file.stream, nullptr);
            /* Whole frames, the encoder's delay and padding included. */
            EXPECT_GE(file.stream->length, 5 * static_cast<int64_t>(rate));
            EXPECT_LE(file.stream->length, 5 * static_cast<int64_t>(rate) + 4 * 1152);
            const heard sound = hear(file);
            EXPECT_NEAR(static_cast<double>(sound.frames()),
                        static_cast<double>(file.stream->length) * 44100 / rate, 1);
            EXPECT_EQ(file.tell(), file.stream->length);
            expect_sine(sound, 440, 0.5, 0.02);
        }
}

static void expect_exact_seeks(const std::string &path)
{
    const heard whole = hear_file(path);
    opened file(path);
    ASSERT_NE(file.stream, nullptr);
    const int64_t length = file.stream->length;
    ASSERT_EQ(static_cast<int64_t>(whole.frames()), length);
    for (const int64_t at :
         {int64_t{0}, int64_t{1}, int64_t{575}, int64_t{1152}, int64_t{1153}, length / 3,
          length / 2 + 77, length - 1, length - 5000, int64_t{9999}, length * 9 / 10, length / 100})
        expect_same_after_seek(file, whole, at);
    EXPECT_EQ(file.seek(length * 1001 / 1000), 0);
    EXPECT_EQ(file.tell(), length - 1);
    EXPECT_EQ(file.seek(-44100), 0);
    EXPECT_EQ(file.tell(), 0);
}

TEST(decoder_mp3, each_sample_can_be_seeked)
{
    for (const bool vbr : {false, true})
        for (const bool header : {false, true}) {
            ASSERT_EQ(maker_track_of("s.mp3", maker_noise(6, 44100, 2, 0.3),
                                     {.mp3 = {.vbr = vbr, .header = header}}),
                      0);
            expect_exact_seeks("s.mp3");
        }
}

TEST(decoder_mp3, low_bit_rates_are_seeked_exactly_too)
{
    /* Their frames borrow most from the ones before. The smallest have no room for a header. */
    for (const maker_mp3 &how : {maker_mp3{.kbps = 32, .header = false},
                                 maker_mp3{.kbps = 48, .header = false}, maker_mp3{.kbps = 64}}) {
        ASSERT_EQ(maker_track_of("low.mp3", maker_noise(4, 44100, 2, 0.3), {.mp3 = how}), 0);
        expect_exact_seeks("low.mp3");
    }
}

TEST(decoder_mp3, a_seek_is_exact_where_rates_differ)
{
    ASSERT_EQ(maker_track("d.mp3", {.seconds = 4, .freq = 300, .rate = 22050}), 0);
    opened file("d.mp3");
    ASSERT_NE(file.stream, nullptr);
    for (const int64_t at : {44100, 22051, 70000, 1}) {
        ASSERT_EQ(file.seek(at), 0);
        EXPECT_EQ(file.tell(), at);
        const heard sound = hear(file, 8000);
        EXPECT_LE(sine_distance(sound.left, at < 1000 ? 1000 : 0, 8000, 300, 0.5, at / 22050.0),
                  500)
            << at;
    }
}

/* Loud and soft in turn, so that the frames differ in size. */
static maker_sound uneven(double seconds)
{
    maker_sound sound = maker_noise(seconds, 44100, 2, 0.4);
    sound.sample = [noise = sound.sample](int64_t frame, int channel) {
        return frame / 30000 % 2
                   ? noise(frame, channel)
                   : static_cast<float>(0.3 * sin(0.05 * static_cast<double>(frame % 1000000)));
    };
    return sound;
}

TEST(decoder_mp3, ten_minutes_without_a_seek_table_are_read_through_once)
{
    const std::string minute = maker_mp3_bytes(uneven(60), {.vbr = true, .header = false});
    std::string bytes;
    for (int i = 0; i < 10; i++)
        bytes += minute;
    ASSERT_EQ(maker_audio_save("long.mp3", bytes), 0);
    const auto size = static_cast<int64_t>(bytes.size());
    const int64_t before = bytes_read();
    opened file("long.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_LT(bytes_read() - before, size * 5 / 4);
    EXPECT_GE(file.stream->length, 600 * 44100);
    EXPECT_LE(file.stream->length, 10 * (60 * 44100 + 3 * 1152));
    for (const double part : {0.99, 0.01, 0.5, 0.75, 0.25, 0.999, 0.0, 0.6}) {
        const int64_t before_seek = bytes_read();
        const int64_t at = static_cast<int64_t>(part * static_cast<double>(file.stream->length));
        ASSERT_EQ(file.seek(at), 0);
        ASSERT_EQ(hear(file, 500).frames(), 500u);
        EXPECT_EQ(file.tell(), at + 500);
        EXPECT_LT(bytes_read() - before_seek, size / 20) << part;
    }
}

TEST(decoder_mp3, a_minute_with_a_header_is_not_read_through)
{
    ASSERT_EQ(maker_track_of("head.mp3", uneven(60), {.mp3 = {.vbr = true}}), 0);
    const auto size = static_cast<int64_t>(maker_audio_load("head.mp3").size());
    const int64_t before = bytes_read();
    opened file("head.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 60 * 44100);
    EXPECT_LT(bytes_read() - before, size / 4);
    ASSERT_EQ(file.seek(59 * 44100), 0);
    EXPECT_EQ(hear(file).frames(), 44100u);
    EXPECT_LT(bytes_read() - before, size * 3 / 2);
}

static std::string big_endian(uint64_t value, size_t bytes)
{
    std::string text;
    while (bytes-- > 0)
        text += static_cast<char>(value >> (8 * bytes));
    return text;
}

/* A frame that tells of the others in the other way than LAME does, with a table of one place. */
static std::string vbri_frame(const std::string &frames, size_t frame_bytes, uint64_t count)
{
    std::string frame = frames.substr(0, 4) + std::string(32, '\0') + "VBRI";
    frame += big_endian(1, 2) + big_endian(1160, 2) + big_endian(75, 2);
    frame += big_endian(frames.size() + frame_bytes, 4) + big_endian(count, 4);
    frame += big_endian(1, 2) + big_endian(1, 2) + big_endian(4, 2) + big_endian(count, 2);
    frame += big_endian(frames.size(), 4);
    return frame + std::string(frame_bytes - frame.size(), '\0');
}

TEST(decoder_mp3, the_other_frame_that_tells_makes_no_sound)
{
    const std::string frames =
        maker_mp3_bytes(maker_noise(3, 44100, 2, 0.3), {.kbps = 128, .header = false});
    ASSERT_EQ(maker_audio_save("bare.mp3", frames), 0);
    const heard bare = hear_file("bare.mp3");
    ASSERT_EQ(bare.frames() % 1152, 0u);
    for (const uint64_t count : {uint64_t{bare.frames() / 1152}, uint64_t{9}}) {
        ASSERT_EQ(maker_audio_save("told.mp3", vbri_frame(frames, 417, count) + frames), 0);
        opened file("told.mp3");
        ASSERT_NE(file.stream, nullptr);
        EXPECT_EQ(file.stream->length, static_cast<int64_t>(bare.frames()));
        const heard told = hear(file);
        EXPECT_EQ(told.left, bare.left) << count;
        for (const int64_t at : {70000, 1151, 30000})
            expect_same_after_seek(file, bare, at);
    }
}

TEST(decoder_mp3, a_cut_file_plays_to_the_cut_and_knows_its_length)
{
    const std::string bytes = maker_mp3_bytes(maker_sine(440, 4));
    ASSERT_EQ(maker_audio_save("cut.mp3", bytes.substr(0, bytes.size() / 2 + 100)), 0);
    opened file("cut.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_NEAR(static_cast<double>(file.stream->length), 2 * 44100, 3000);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_EQ(static_cast<int64_t>(sound.frames()), file.stream->length);
    EXPECT_LE(sine_distance(sound.left, 500, 80000, 440, 0.5, 0), 500);
    ASSERT_EQ(file.seek(44100), 0);
    EXPECT_LE(sine_distance(hear(file, 4000).left, 0, 4000, 440, 0.5, 1), 500);
}

TEST(decoder_mp3, what_was_attached_plays_too)
{
    const std::string bytes = maker_mp3_bytes(maker_sine(440, 2));
    const std::string more = maker_mp3_bytes(maker_sine(600, 2), {.header = false});
    ASSERT_EQ(maker_audio_save("more.mp3", bytes + more), 0);
    opened file("more.mp3");
    ASSERT_NE(file.stream, nullptr);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_NEAR(static_cast<double>(sound.frames()), 4 * 44100, 5000);
    EXPECT_EQ(static_cast<int64_t>(sound.frames()), file.stream->length);
    EXPECT_NEAR(measure(sound.left, 100000, 60000).freq, 600, 0.2);
}

TEST(decoder_mp3, tags_on_both_ends_make_no_sound)
{
    const maker_sound sine = maker_sine(440, 2);
    const std::string frames = maker_mp3_bytes(sine);
    const maker_tags tags = {.title = "T", .cover = std::string(300000, '\xFF')};
    const std::string size("\xC0\x0F\0\0\0\0\0\0", 8), eight(8, '\0');
    const std::string version("\xD0\x07\0\0", 4), flags("\0\0\0\x80", 4);
    const std::string mark = "APETAGEX" + version + size + flags + eight;
    const std::string ape = mark + std::string(4000, '\xFB') + mark;
    const std::string v2 = maker_id3v2_bytes(tags, {.padding = 2000});
    ASSERT_EQ(maker_audio_save("t.mp3", v2 + v2 + frames + ape + maker_id3v1_bytes(tags)), 0);
    opened file("t.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 88200);
    const heard sound = hear(file);
    EXPECT_EQ(sound.frames(), 88200u);
    EXPECT_EQ(sound.end, 0);
    EXPECT_LE(sine_distance(sound.left, 500, 87000, 440, 0.5, 0), 500);
}

TEST(decoder_mp3, rubbish_around_the_frames_is_left_out)
{
    const std::string frames = maker_mp3_bytes(maker_sine(440, 2), {.header = false});
    const std::string rubbish(5000, '\x41');
    ASSERT_EQ(maker_audio_save("x.mp3", rubbish + frames + rubbish), 0);
    ASSERT_EQ(maker_audio_save("y.mp3", frames), 0);
    const heard with = hear_file("x.mp3"), without = hear_file("y.mp3");
    EXPECT_EQ(with.end, 0);
    EXPECT_EQ(with.left, without.left);
}

TEST(decoder_mp3, damage_in_the_middle_is_bridged)
{
    std::string bytes = maker_mp3_bytes(maker_sine(440, 4), {.header = false});
    for (size_t i = 0; i < 3000; i++)
        bytes[bytes.size() / 2 + i] = static_cast<char>(i * 31);
    ASSERT_EQ(maker_audio_save("dmg.mp3", bytes), 0);
    const heard sound = hear_file("dmg.mp3");
    EXPECT_EQ(sound.end, 0);
    EXPECT_GT(sound.frames(), 3u * 44100);
    EXPECT_NEAR(measure(sound.left, sound.frames() - 50000, 40000).freq, 440, 0.1);
}
