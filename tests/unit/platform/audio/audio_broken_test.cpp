/* Broken files: refused, or played to an early end; never a crash, a hang or endless sound. */
#include "support/bytes_read.h"
#include "support/seed.h"
#include "unit/platform/audio/audio_measure.h"

#include <sys/stat.h>
#include <unistd.h>

constexpr size_t patience = 60u * 44100; /* no file here holds more sound than that */

/* Everything that can be done with a file, whatever it holds. Returns whether it opened. */
static bool exercise(const std::string &path)
{
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    EXPECT_EQ(decoder->release_info(decoder->read_info(path.c_str())), 0);
    opened file(path);
    if (!file.stream)
        return false;
    EXPECT_GE(file.stream->sample_rate, 1u);
    EXPECT_LE(file.stream->sample_rate, 384000u);
    EXPECT_GE(file.stream->length, 0);
    const heard sound = hear(file, patience);
    EXPECT_LE(sound.end, 0) << path << ": no end in sight";
    EXPECT_GE(sound.end, -1);
    const int64_t length = file.stream->length;
    for (const int64_t at : {length / 2, length - 1, int64_t{0}, length * 2, int64_t{1} << 60}) {
        const int result = file.seek(at);
        EXPECT_TRUE(result == 0 || result == -1);
        EXPECT_GE(file.tell(), 0);
        hear(file, 2000);
    }
    return true;
}

static std::string whole_file(const std::string &ext)
{
    const maker_tags tags = {.title = "Title", .artist = "Artist", .cover = std::string(500, 'c')};
    const maker_sound sound = maker_noise(0.4, 44100, 2, 0.3);
    if (ext == ".ogg")
        return maker_ogg_bytes(sound, {.packets_a_page = 3}, tags);
    if (ext == ".flac")
        return maker_flac_bytes(sound, {.block = 1152}, tags);
    return maker_id3v2_bytes(tags) + maker_mp3_bytes(sound) + maker_id3v1_bytes(tags);
}

static const char *const exts[] = {".mp3", ".ogg", ".flac"};

TEST(audio_broken, files_cut_anywhere_end_early)
{
    for (const std::string ext : exts) {
        const std::string bytes = whole_file(ext);
        for (size_t size = 0; size < bytes.size(); size += size < 1500 ? 7 : 293) {
            ASSERT_EQ(maker_audio_save("cut" + ext, bytes.substr(0, size)), 0);
            exercise("cut" + ext);
            ASSERT_FALSE(HasFailure()) << ext << " cut at " << size;
        }
    }
}

TEST(audio_broken, files_with_their_start_missing_end_somehow)
{
    for (const std::string ext : exts) {
        const std::string bytes = whole_file(ext);
        for (size_t from = 1; from < bytes.size(); from += 997) {
            ASSERT_EQ(maker_audio_save("tail" + ext, bytes.substr(from)), 0);
            exercise("tail" + ext);
            ASSERT_FALSE(HasFailure()) << ext << " from " << from;
        }
    }
}

TEST(audio_broken, single_wrong_bytes_in_the_heads_do_no_harm)
{
    for (const std::string ext : exts) {
        const std::string bytes = whole_file(ext);
        uint32_t random = seed_or(12345);
        for (int i = 0; i < 400; i++) {
            std::string broken = bytes;
            for (int n = 0; n < 3; n++) {
                random = random * 1664525 + 1013904223;
                broken[(random >> 8) % 1200] = static_cast<char>(random >> 24);
            }
            ASSERT_EQ(maker_audio_save("wrong" + ext, broken), 0);
            exercise("wrong" + ext);
            ASSERT_FALSE(HasFailure()) << ext << " round " << i;
        }
    }
}

TEST(audio_broken, wrong_bytes_anywhere_do_no_harm)
{
    for (const std::string ext : exts) {
        const std::string bytes = whole_file(ext);
        uint32_t random = seed_or(777);
        for (int i = 0; i < 60; i++) {
            std::string broken = bytes;
            for (int n = 0; n < 40; n++) {
                random = random * 1664525 + 1013904223;
                broken[(random >> 4) % broken.size()] = static_cast<char>(random >> 24);
            }
            ASSERT_EQ(maker_audio_save("any" + ext, broken), 0);
            exercise("any" + ext);
            ASSERT_FALSE(HasFailure()) << ext << " round " << i;
        }
    }
}

static void expect_refused(const std::string &path)
{
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    EXPECT_EQ(decoder->open(path.c_str()), nullptr) << path;
    EXPECT_EQ(decoder->read_info(path.c_str()), nullptr) << path;
}

TEST(audio_broken, what_is_no_music_is_refused)
{
    std::string garbage;
    uint32_t random = seed_or(1);
    for (int i = 0; i < 300000; i++)
        garbage += static_cast<char>((random = random * 1664525 + 1013904223) >> 24);
    for (const std::string ext : exts) {
        for (const std::string &bytes :
             {std::string(), std::string("x"), std::string(100000, '\0'), garbage,
              std::string(5000, '\xFF'), std::string("<html><body>404</body></html>")}) {
            ASSERT_EQ(maker_audio_save("no" + ext, bytes), 0);
            expect_refused("no" + ext);
        }
        expect_refused("missing" + ext);
        ASSERT_EQ(mkdir(("folder" + ext).c_str(), 0755) == 0 || errno == EEXIST, true);
        expect_refused("folder" + ext);
    }
}

TEST(audio_broken, a_file_of_another_format_is_refused)
{
    for (const std::string from : exts)
        for (const std::string to : exts)
            if (from != to) {
                const maker_sound sound = maker_sine(440, 1);
                const std::string bytes = from == ".mp3"   ? maker_mp3_bytes(sound)
                                          : from == ".ogg" ? maker_ogg_bytes(sound)
                                                           : maker_flac_bytes(sound);
                ASSERT_EQ(maker_audio_save("other" + to, bytes), 0);
                expect_refused("other" + to);
            }
}

TEST(audio_broken, pipes_do_not_block)
{
    for (const std::string ext : exts) {
        const std::string path = "pipe" + ext;
        unlink(path.c_str());
        ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
        expect_refused(path);
        unlink(path.c_str());
    }
}

TEST(audio_broken, impossible_heads_are_refused)
{
    /* Vorbis: version 4 bytes after the name, channels, rate. */
    std::string ogg = maker_ogg_bytes(maker_sine(440, 0.5));
    const size_t id = ogg.find("\1vorbis");
    std::string no_channels = ogg;
    no_channels[id + 11] = 0;
    ASSERT_EQ(maker_audio_save("c0.ogg", no_channels), 0);
    expect_refused("c0.ogg");
    /* FLAC: rate is 20 bits from the 18th byte on. */
    std::string flac = maker_flac_bytes(maker_sine(440, 0.5));
    flac.replace(18, 2, 2, '\0');
    flac[20] = static_cast<char>(flac[20] & 0x0F);
    ASSERT_EQ(maker_audio_save("r0.flac", flac), 0);
    EXPECT_EQ(audio_get_decoder("r0.flac")->open("r0.flac"), nullptr);
}

TEST(audio_broken, a_flac_that_claims_hours_ends_where_its_sound_ends)
{
    std::string flac = maker_flac_bytes(maker_sine(440, 1));
    flac.replace(21 + 1, 4, "\x7F\xFF\xFF\xFF");
    ASSERT_EQ(maker_audio_save("hours.flac", flac), 0);
    opened file("hours.flac");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.seek(file.stream->length - 1), -1);
    EXPECT_EQ(hear(file, patience).frames(), 44100u);
}

TEST(audio_broken, an_mp3_header_that_claims_hours_is_not_believed)
{
    std::string mp3 = maker_mp3_bytes(maker_sine(440, 1));
    const size_t info = mp3.find("Info");
    ASSERT_NE(info, std::string::npos);
    mp3.replace(info + 8, 4, "\x00\xFF\xFF\xFF");
    ASSERT_EQ(maker_audio_save("hours.mp3", mp3), 0);
    opened file("hours.mp3");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_NEAR(static_cast<double>(file.stream->length), 44100, 3000);
    EXPECT_EQ(hear(file, patience).end, 0);
}

TEST(audio_broken, a_large_file_of_rubbish_is_refused_at_once)
{
    for (const std::string ext : exts) {
        const std::string path = "large" + ext;
        ASSERT_EQ(maker_audio_save(path, std::string(2000, 'R')), 0);
        ASSERT_EQ(truncate(path.c_str(), 400 << 20), 0);
        const int64_t before = bytes_read();
        expect_refused(path);
        EXPECT_LT(bytes_read() - before, 16 << 20) << ext;
        unlink(path.c_str());
    }
}

TEST(audio_broken, requests_below_a_frame_deliver_nothing)
{
    ASSERT_EQ(maker_track("f.flac", {.seconds = 0.1}), 0);
    opened file("f.flac");
    ASSERT_NE(file.stream, nullptr);
    int16_t frame[2] = {77, 77};
    EXPECT_EQ(file.decoder->read(file.stream, frame, 3), -1);
    EXPECT_EQ(frame[0], 77);
    EXPECT_EQ(file.tell(), 0);
    EXPECT_EQ(hear(file).frames(), 4410u);
}
