/* Files above 2 GiB: sound that begins behind 31 bits of bytes plays and is seeked like any other. */
#include "makers/maker_audio_private.h"
#include "platform/audio/decoder_ogg_library.h"
#include "support/bytes_read.h"
#include "unit/platform/audio/audio_measure.h"

#include <fcntl.h>
#include <unistd.h>

constexpr int64_t block_bytes = 10 + (1 << 28) - 1; /* the largest tag, with its head */
constexpr int blocks = 8;                           /* as many as are passed over */

static int write_at(int fd, int64_t at, const std::string &bytes)
{
    const auto size = static_cast<ssize_t>(bytes.size());
    return pwrite(fd, bytes.data(), bytes.size(), at) == size ? 0 : -1;
}

/* Puts empty tags in front, which take no room on the disk. */
static int save_behind_tags(const std::string &path, const std::string &bytes)
{
    const int fd = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    int result = fd < 0 ? -1 : 0;
    for (int i = 0; i < blocks && result == 0; i++)
        result = write_at(fd, i * block_bytes, std::string("ID3\3\0\0\x7F\x7F\x7F\x7F", 10));
    if (result == 0)
        result = write_at(fd, blocks * block_bytes, bytes);
    return fd >= 0 && close(fd) == 0 ? result : -1;
}

/* What a 32-bit library does with more than 2 GiB of Ogg; here it can tell next to nothing. */
class audio_far : public testing::Test
{
  protected:
    void SetUp() override
    {
        const maker_sound noise = maker_noise(8, 44100, 2, 0.3);
        ASSERT_EQ(maker_audio_save("far.ogg", maker_ogg_bytes(noise, {.packets_a_page = 3})), 0);
        whole = hear_file("far.ogg");
        ogg_library_most = 1000;
    }
    void TearDown() override { ogg_library_most = most; }
    const int64_t most = ogg_library_most;
    heard whole;
};

TEST_F(audio_far, more_than_the_library_can_tell_plays_whole)
{
    opened file("far.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 8 * 44100);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_EQ(sound.left, whole.left);
    EXPECT_EQ(sound.right, whole.right);
}

TEST_F(audio_far, each_sample_can_be_seeked)
{
    opened file("far.ogg");
    ASSERT_NE(file.stream, nullptr);
    for (const int64_t at :
         {300000, 0, 1, 16384, 16385, 70000, 352799, 352798, 340000, 7, 100003, 200001})
        expect_same_after_seek(file, whole, at);
    EXPECT_EQ(file.seek(9000000), 0);
    EXPECT_EQ(file.tell(), file.stream->length - 1);
}

TEST_F(audio_far, a_tag_in_front_and_other_pages_between_change_nothing)
{
    ASSERT_EQ(save_behind_tags("tagged.ogg", maker_audio_load("far.ogg")), 0);
    opened file("tagged.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 8 * 44100);
    for (const int64_t at : {300000, 5, 352000})
        expect_same_after_seek(file, whole, at);
    EXPECT_EQ(unlink("tagged.ogg"), 0);
}

TEST_F(audio_far, a_chain_plays_whole_and_is_not_seeked)
{
    const std::string second = maker_ogg_bytes(maker_noise(1, 44100, 2, 0.3), {.serial = 77});
    ASSERT_EQ(maker_audio_save("chain.ogg", maker_audio_load("far.ogg") + second), 0);
    opened file("chain.ogg");
    ASSERT_NE(file.stream, nullptr);
    const heard sound = hear(file);
    EXPECT_EQ(sound.end, 0);
    EXPECT_EQ(sound.frames(), 9u * 44100);
}

TEST_F(audio_far, what_is_cut_off_or_filled_with_zeroes_ends)
{
    const std::string bytes = maker_audio_load("far.ogg");
    for (const size_t size : {size_t{1500}, size_t{5000}, bytes.size() / 2, bytes.size() - 100}) {
        ASSERT_EQ(maker_audio_save("cut.ogg", bytes.substr(0, size)), 0);
        opened file("cut.ogg");
        if (!file.stream)
            continue; /* the headers are not whole */
        (void)hear(file);
        (void)file.seek(200000);
        EXPECT_LE(hear(file).frames(), 8u * 44100);
    }
    std::string holes = bytes;
    holes.replace(bytes.size() / 2, bytes.size() / 4, bytes.size() / 4, '\0');
    ASSERT_EQ(maker_audio_save("holes.ogg", holes), 0);
    opened file("holes.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 8 * 44100);
    EXPECT_EQ(file.seek(340000), 0);
    EXPECT_EQ(file.tell(), 340000);
    EXPECT_EQ(hear(file).frames(), 8u * 44100 - 340000);
}

/* Its own data exceeds what 32 bits count: the end of the sound lies behind a hole. */
TEST_F(audio_far, the_end_of_a_file_of_three_gibibytes_tells_its_length)
{
    const std::string bytes = maker_audio_load("far.ogg");
    const size_t last = bytes.find("OggS", bytes.size() * 3 / 4);
    const int fd = open("huge.ogg", O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write_at(fd, 0, bytes.substr(0, last)), 0);
    ASSERT_EQ(write_at(fd, int64_t{3} << 30, bytes.substr(last)), 0);
    ASSERT_EQ(close(fd), 0);
    ogg_library_most = INT32_MAX;
    opened file("huge.ogg");
    ASSERT_NE(file.stream, nullptr);
    EXPECT_EQ(file.stream->length, 8 * 44100);
    for (const int64_t at : {0, 100003})
        expect_same_after_seek(file, whole, at);
    EXPECT_EQ(unlink("huge.ogg"), 0);
}

TEST(audio_large, sound_behind_two_gibibytes_plays_and_is_seeked)
{
    static_assert(blocks * block_bytes > INT32_MAX);
    for (const std::string ext : {".mp3", ".ogg", ".flac"}) {
        const std::string plain = "plain" + ext, large = "large" + ext;
        ASSERT_EQ(maker_track_of(plain, maker_noise(2, 44100, 2, 0.3), {.id3 = {.version = 0}}), 0);
        ASSERT_EQ(save_behind_tags(large, maker_audio_load(plain)), 0);
        const int64_t before = bytes_read();
        const heard whole = hear_file(plain);
        {
            opened file(large);
            ASSERT_NE(file.stream, nullptr) << ext;
            EXPECT_EQ(file.stream->length, 2 * 44100) << ext;
            const heard sound = hear(file);
            EXPECT_EQ(sound.end, 0) << ext;
            EXPECT_EQ(sound.left, whole.left) << ext;
            for (const int64_t at : {60000, 5, 88199, 30001})
                expect_same_after_seek(file, whole, at);
        }
        const audio_decoder *decoder = audio_get_decoder(large.c_str());
        audio_info *info = decoder->read_info(large.c_str());
        EXPECT_NE(info, nullptr) << ext;
        EXPECT_EQ(decoder->release_info(info), 0);
        EXPECT_LT(bytes_read() - before, 32 << 20) << ext;
        EXPECT_EQ(unlink(large.c_str()), 0);
    }
}
