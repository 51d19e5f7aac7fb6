/* Covers in the ways that real and hostile tags have them: read, within what they may cost. */
#include "makers/maker_audio.h"
#include "makers/maker_id3_frame.h"
#include "makers/maker_picture.h"
#include "platform/base/spare.h"
#include "support/allocations.h"
#include "support/bytes_read.h"
#include "unit/view/play/play_fixture.h"

#include <sys/inotify.h>

static std::string png_of(int width, int height, const maker_png_options &options = {})
{
    const maker_bytes bytes = maker_png(maker_plain(width, height, 0xFF336699), options);
    return {bytes.begin(), bytes.end()};
}

static std::string picture(const std::string &data, const std::string &mime = "image/png")
{
    return std::string(1, '\0') + mime + std::string("\0\3\0", 3) + data;
}

static void save(const std::string &block)
{
    static const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    ASSERT_EQ(maker_audio_save("t.mp3", block + body), 0);
}

/* "WIDTHxHEIGHT" of the cover of the file at hand, "none" without one. */
static std::string cover()
{
    int32_t width = 0, height = 0;
    image *read = tag_image_read_reduced("t.mp3", 640, &width, &height);
    if (!read)
        return "none";
    (void)image_free(read);
    return std::to_string(width) + "x" + std::to_string(height);
}

struct play_cover_tag : play_test {
};

TEST_F(play_cover_tag, is_read_whatever_form_its_frame_has)
{
    const std::string content = picture(png_of(30, 20));
    for (const maker_id3_frame_options &how :
         {maker_id3_frame_options{},
          {.compressed = true},
          {.group = 5},
          {.unsynchronised = true},
          {.told_size = true},
          {.compressed = true, .group = 255, .unsynchronised = true},
          {.version = 23},
          {.version = 23, .compressed = true},
          {.version = 23, .group = 1},
          {.version = 23, .compressed = true, .group = 1}}) {
        const std::string front = maker_id3_frame("TIT2", "\3Title", {.version = how.version});
        save(maker_id3_block(front + maker_id3_frame("APIC", content, how), how.version));
        EXPECT_EQ(cover(), "30x20") << how.version << how.compressed << how.group;
    }
    const std::string old = std::string("\0PNG\3\0", 6) + png_of(30, 20);
    save(maker_id3_block(maker_id3_frame("PIC", old, {.version = 22}), 22));
    EXPECT_EQ(cover(), "30x20");
    save(maker_id3_block(maker_id3_frame(std::string("PIC\0", 4), old, {.version = 23}), 23));
    EXPECT_EQ(cover(), "30x20") << "the old name and form in a newer block";
}

TEST_F(play_cover_tag, is_read_from_a_block_with_zero_bytes_put_in)
{
    const std::string frame =
        maker_id3_frame("APIC", picture(png_of(30, 20) + "\xFF\xFF"), {.version = 23});
    save(maker_id3_block(maker_id3_unsynchronise(frame), 23, 0x80));
    EXPECT_EQ(cover(), "30x20");
    const std::string inner =
        maker_id3_frame("APIC", picture(png_of(30, 20) + "\xFF\xFF"), {.unsynchronised = true});
    save(maker_id3_block(inner, 24, 0x80));
    EXPECT_EQ(cover(), "30x20");
}

TEST_F(play_cover_tag, is_found_behind_an_extended_header)
{
    const std::string old = std::string("\0\0\0\6\0\0\0\0\0\0", 10);
    const std::string check = std::string("\0\0\0\xA\x80\0\0\0\0\0\1\2\3\4", 14);
    for (const std::string &header : {old, check}) {
        save(maker_id3_block(
            header + maker_id3_frame("APIC", picture(png_of(30, 20)), {.version = 23}), 23, 0x40));
        EXPECT_EQ(cover(), "30x20");
    }
    const std::string newer = std::string("\0\0\0\6\1\0", 6);
    save(maker_id3_block(newer + maker_id3_frame("APIC", picture(png_of(30, 20))), 24, 0x40));
    EXPECT_EQ(cover(), "30x20");
}

TEST_F(play_cover_tag, that_is_encrypted_is_none_and_hides_the_next)
{
    for (const int version : {23, 24}) {
        const std::string content = picture(png_of(30, 20));
        save(maker_id3_block(
            maker_id3_frame("APIC", content, {.version = version, .encrypted = true}) +
                maker_id3_frame("APIC", content, {.version = version}),
            version));
        EXPECT_EQ(cover(), "none");
    }
}

TEST_F(play_cover_tag, of_a_block_that_claims_more_than_the_file_is_read)
{
    std::string block = maker_id3_block(maker_id3_frame("APIC", picture(png_of(30, 20))));
    block[6] = 0x7F;
    save(block);
    EXPECT_EQ(cover(), "30x20");
}

TEST_F(play_cover_tag, is_looked_for_at_the_front_and_never_through_the_file)
{
    ASSERT_EQ(maker_track("t.flac", {.seconds = 0.2}), 0);
    ASSERT_EQ(maker_track("t.ogg", {.seconds = 0.2}), 0);
    ASSERT_EQ(maker_track("u.mp3", {.seconds = 0.2}), 0);
    for (const char *path : {"t.flac", "t.ogg", "u.mp3"}) {
        ASSERT_EQ(truncate(path, 8 << 20), 0);
        const int64_t before = bytes_read();
        EXPECT_EQ(tag_image_read(path), nullptr);
        EXPECT_LT(bytes_read() - before, 8192) << path;
    }
}

TEST_F(play_cover_tag, reads_past_other_frames_by_their_size)
{
    const std::string other = maker_id3_frame("PRIV", std::string(3 << 20, 'x'));
    save(maker_id3_block(other + maker_id3_frame("APIC", picture(png_of(30, 20)))));
    const int64_t before = bytes_read();
    EXPECT_EQ(cover(), "30x20");
    EXPECT_LT(bytes_read() - before, 16384);
}

TEST_F(play_cover_tag, opens_the_file_for_reading_only)
{
    save(maker_id3_block(maker_id3_frame("APIC", picture(png_of(30, 20)))));
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, "t.mp3", IN_CLOSE_WRITE | IN_CLOSE_NOWRITE), 0);
    EXPECT_EQ(cover(), "30x20");
    const audio_decoder *decoder = audio_get_decoder("t.mp3");
    (void)decoder->release_info(decoder->read_info("t.mp3"));
    alignas(inotify_event) char events[4096];
    const ssize_t size = read(watch, events, sizeof events);
    ASSERT_GT(size, 0);
    for (ssize_t at = 0; at < size;) {
        const auto *event = reinterpret_cast<const inotify_event *>(events + at);
        EXPECT_EQ(event->mask & IN_CLOSE_WRITE, 0u);
        at += static_cast<ssize_t>(sizeof *event + event->len);
    }
    (void)close(watch);
}

#ifdef ALLOCATIONS_ARE_COUNTED
constexpr int64_t mib = 1 << 20;

/* Bytes of memory that the cover took at most. */
static int64_t cost(std::string *read)
{
    const int64_t before = allocated_bytes;
    allocated_peak = before;
    *read = cover();
    return allocated_peak - before;
}

TEST_F(play_cover_tag, that_unpacks_to_more_than_8_mib_is_none)
{
    std::string read;
    for (const int version : {23, 24}) {
        const std::string content = picture(png_of(30, 20) + std::string(64 * mib, '\0'));
        save(maker_id3_block(
            maker_id3_frame("APIC", content, {.version = version, .compressed = true}), version));
        EXPECT_LT(cost(&read), 17 * mib);
        EXPECT_EQ(read, "none");
    }
}

TEST_F(play_cover_tag, of_8_mib_is_read_and_a_larger_one_is_not)
{
    std::string read;
    std::string content = picture(png_of(30, 20));
    content.resize(8 * mib, '\0');
    for (const bool compressed : {false, true}) {
        save(maker_id3_block(maker_id3_frame("APIC", content, {.compressed = compressed})));
        EXPECT_LT(cost(&read), 18 * mib);
        EXPECT_EQ(read, "30x20");
        save(maker_id3_block(maker_id3_frame("APIC", content + "x", {.compressed = compressed})));
        EXPECT_LT(cost(&read), 17 * mib);
        EXPECT_EQ(read, "none");
    }
}

TEST_F(play_cover_tag, behind_a_million_frames_of_a_byte_is_none)
{
    std::string frames, read;
    for (int i = 0; i < 100000; i++)
        frames += maker_id3_frame("TXXX", "x");
    save(maker_id3_block(frames + maker_id3_frame("APIC", picture(png_of(30, 20)))));
    EXPECT_LT(cost(&read), mib);
    EXPECT_EQ(read, "none");
}

TEST_F(play_cover_tag, beside_text_that_unpacks_to_megabytes_costs_little)
{
    std::string read;
    const std::string bomb =
        maker_id3_frame("TIT2", std::string(64 * mib, 'a'), {.compressed = true});
    save(maker_id3_block(bomb + maker_id3_frame("APIC", picture(png_of(30, 20)))));
    /* A mebibyte is asked for, and given back, before the library is loaded. */
    EXPECT_LT(cost(&read), spare_bytes + mib / 16);
    EXPECT_EQ(read, "30x20");
}
#endif
