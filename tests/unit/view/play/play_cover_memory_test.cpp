/* Memory that runs out while tags and covers are read: each allocation in turn, in our code and in
 * the libraries, and the answer is that there is none. */
#include "makers/maker_audio.h"
#include "makers/maker_id3_frame.h"
#include "makers/maker_picture.h"
#include "support/allocations.h"
#include "unit/view/play/play_fixture.h"

#ifdef ALLOCATIONS_ARE_COUNTED
static std::string jpeg(bool progressive)
{
    const maker_bytes bytes =
        maker_jpeg(maker_plain(300, 200, 0xFF336699), {.progressive = progressive});
    return {bytes.begin(), bytes.end()};
}

static std::string png(bool interlaced)
{
    const maker_bytes bytes =
        maker_png(maker_plain(300, 200, 0xFF336699), {.interlaced = interlaced});
    return {bytes.begin(), bytes.end()};
}

static maker_file named()
{
    return {.title = "Café", .artist = "Artist", .album = "Album", .year = "1999", .genre = "17"};
}

struct no_memory : play_test {
    void SetUp() override
    {
        play_test::SetUp();
        ASSERT_EQ(audio_init(), 0);
        ASSERT_EQ(decoder_mp3_set_tag_native_encoding("CP949"), 0);
    }
};

/* Reads the tags of a file under each failure; what comes is the whole or nothing. */
static void expect_tags_survive(const char *path, const char *title)
{
    const audio_decoder *decoder = audio_get_decoder(path);
    int whole = 0;
    (void)decoder->release_info(decoder->read_info(path)); /* what stays from the first call */
    const int64_t before = allocated_bytes;
    const int failed = fail_each_allocation([&] {
        audio_info *info = decoder->read_info(path);
        if (info && info->tags && info->tags->title && !strcmp(info->tags->title, title))
            whole++;
        (void)decoder->release_info(info);
    });
    EXPECT_GT(failed, 2) << path;
    EXPECT_GE(whole, 1) << path;
    /* The tag library, asked for the name of a genre, loses a little when it throws. */
    EXPECT_LT(allocated_bytes - before, 512) << path << ": something was left behind";
}

TEST_F(no_memory, ends_the_reading_of_tags_and_not_the_program)
{
    for (const int version : {22, 23, 24}) {
        maker_file file = named();
        file.id3 = {.version = version, .encoding = "ISO-8859-1"};
        ASSERT_EQ(maker_track("a.mp3", file), 0);
        expect_tags_survive("a.mp3", "Café");
    }
    maker_file old = named();
    old.id3 = {.version = 0, .v1 = true};
    ASSERT_EQ(maker_track("old.mp3", old), 0);
    expect_tags_survive("old.mp3", "Café");
    const std::string packed = maker_id3_frame("TIT2", "\3Packed", {.compressed = true});
    ASSERT_EQ(maker_audio_save("p.mp3", maker_id3_block(packed)), 0);
    expect_tags_survive("p.mp3", "Packed");
    for (const char *path : {"a.ogg", "a.flac"}) {
        ASSERT_EQ(maker_track(path, named()), 0);
        expect_tags_survive(path, "Café");
    }
}

TEST_F(no_memory, ends_the_reading_of_a_cover_and_not_the_program)
{
    const struct {
        std::string data;
        const char *mime;
    } covers[] = {{jpeg(false), "image/jpeg"},
                  {jpeg(true), "image/jpeg"},
                  {png(false), "image/png"},
                  {png(true), "image/png"}};
    for (const auto &each : covers) {
        maker_file file = named();
        file.cover = each.data;
        file.cover_mime = each.mime;
        ASSERT_EQ(maker_track("a.mp3", file), 0);
        int whole = 0;
        const int64_t before = allocated_bytes;
        const int failed = fail_each_allocation([&] {
            int32_t width = 0, height = 0;
            image *picture = tag_image_read_reduced("a.mp3", 100, &width, &height);
            if (picture && width == 300 && height == 200)
                whole++;
            (void)image_free(picture);
        });
        EXPECT_GT(failed, 5) << each.mime;
        EXPECT_GE(whole, 1) << each.mime;
        /* The tag library loses its own copy of the picture when it throws. */
        EXPECT_LT(allocated_bytes - before, failed * 4096) << each.mime;
    }
}

TEST_F(no_memory, ends_the_opening_of_a_track_and_not_the_program)
{
    /* The library of Ogg Vorbis looks at no allocation of its own and cannot be helped. */
    for (const char *path : {"a.mp3", "a.flac"}) {
        ASSERT_EQ(maker_track(path, named()), 0);
        const audio_decoder *decoder = audio_get_decoder(path);
        int opened = 0;
        const int failed = fail_each_allocation([&] {
            audio_stream *stream = decoder->open(path);
            opened += stream != nullptr;
            if (stream)
                (void)decoder->close(stream);
        });
        EXPECT_GT(failed, 5) << path;
        EXPECT_GE(opened, 1) << path;
    }
}
#endif
