/* Files above 2 GiB: sound that begins behind 31 bits of bytes plays and is seeked like any other. */
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
