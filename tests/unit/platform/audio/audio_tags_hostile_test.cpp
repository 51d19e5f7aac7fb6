/* Tags that claim or unpack to more than they may cost. */
#include "makers/maker_audio.h"
#include "makers/maker_id3_frame.h"
#include "platform/audio/audio.h"
#include "support/allocations.h"
#include "support/bytes_read.h"

#include <gtest/gtest.h>

static const maker_id3_frame_options packed = {.compressed = true};
static const maker_id3_frame_options packed_old = {.version = 23, .compressed = true};

static std::string latin(const std::string &text)
{
    return std::string(1, '\0') + text;
}

static void save(const std::string &block)
{
    static const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    ASSERT_EQ(maker_audio_save("h.mp3", block + body), 0);
}

/* "title/artist" of the file at hand, "-" for what is missing. */
static std::string names()
{
    const audio_decoder *decoder = audio_get_decoder("h.mp3");
    audio_info *info = decoder->read_info("h.mp3");
    if (!info || !info->tags)
        return info ? (decoder->release_info(info), "none") : "refused";
    const std::string all = std::string(info->tags->title ? info->tags->title : "-") + "/" +
                            (info->tags->artist ? info->tags->artist : "-");
    decoder->release_info(info);
    return all;
}

TEST(audio_tags_hostile, packed_text_is_opened)
{
    save(maker_id3_block(maker_id3_frame("TIT2", latin("Packed"), packed) +
                         maker_id3_frame("TPE1", latin("Plain"))));
    EXPECT_EQ(names(), "Packed/Plain");
    save(maker_id3_block(maker_id3_frame("TIT2", latin("Packed"), packed_old) +
                             maker_id3_frame("TPE1", latin("Plain"), {.version = 23}),
                         23));
    EXPECT_EQ(names(), "Packed/Plain");
}

TEST(audio_tags_hostile, frames_of_groups_told_sizes_and_zero_bytes_are_opened)
{
    const std::string text = "\3\xC3\xBF\xC3\xBFx"; /* two letters ÿ in UTF-8 hold no 255 */
    const std::string wide("\1\xFF\xFE\xFF\0x\0", 7);
    for (const maker_id3_frame_options &how :
         {maker_id3_frame_options{.group = 7}, maker_id3_frame_options{.told_size = true},
          maker_id3_frame_options{.unsynchronised = true},
          maker_id3_frame_options{.unsynchronised = true, .told_size = true},
          maker_id3_frame_options{.compressed = true, .group = 200, .unsynchronised = true},
          maker_id3_frame_options{.version = 23, .compressed = true, .group = 3}}) {
        const int version = how.version;
        save(maker_id3_block(maker_id3_frame("TIT2", wide, how) +
                                 maker_id3_frame("TPE1", latin("Next"), {.version = version}),
                             version));
        EXPECT_EQ(names(), "ÿx/Next");
    }
    save(maker_id3_block(maker_id3_frame("TIT2", text)));
    EXPECT_EQ(names(), "ÿÿx/-");
}

TEST(audio_tags_hostile, encrypted_text_is_left_out)
{
    for (const int version : {23, 24}) {
        const maker_id3_frame_options how = {.version = version, .encrypted = true};
        save(maker_id3_block(maker_id3_frame("TIT2", latin("Secret"), how) +
                                 maker_id3_frame("TPE1", latin("Next"), {.version = version}),
                             version));
        EXPECT_EQ(names(), "-/Next");
    }
}

TEST(audio_tags_hostile, packed_rubbish_is_left_out)
{
    std::string frame = maker_id3_frame("TIT2", latin(std::string(500, 'x')), packed);
    for (size_t i = 16; i < frame.size(); i++) {
        std::string broken = frame;
        broken[i] = static_cast<char>(broken[i] ^ 0x55);
        save(maker_id3_block(broken + maker_id3_frame("TPE1", latin("Next"))));
        EXPECT_NE(names().find("/Next"), std::string::npos) << i;
    }
    for (size_t size = 11; size < frame.size(); size++) {
        save(maker_id3_block(frame.substr(0, size)));
        (void)names();
    }
}

#ifdef ALLOCATIONS_ARE_COUNTED
/* Bytes of memory that reading the tags took at most. */
static int64_t cost(std::string *read)
{
    const int64_t before = allocated_bytes;
    allocated_peak = before;
    *read = names();
    return allocated_peak - before;
}

TEST(audio_tags_hostile, text_that_unpacks_to_megabytes_costs_little)
{
    std::string read;
    for (const maker_id3_frame_options &how : {packed, packed_old}) {
        std::string frames;
        for (const char *id : {"TIT2", "TALB", "TCON", "TDRC", "TYER"})
            frames += maker_id3_frame(id, latin(std::string(8 << 20, 'a')), how);
        frames += maker_id3_frame("TPE1", latin("Next"), {.version = how.version});
        save(maker_id3_block(frames, how.version));
        EXPECT_LT(cost(&read), 512 << 10);
        EXPECT_EQ(read, "-/Next");
    }
}

TEST(audio_tags_hostile, a_claimed_size_is_not_believed)
{
    std::string read;
    maker_id3_frame_options how = packed;
    for (const int64_t claim : {0, 1, 60000, 0xFFFFFFF}) {
        how.claimed = claim;
        save(maker_id3_block(maker_id3_frame("TIT2", latin("Packed"), how) +
                             maker_id3_frame("TPE1", latin("Next"))));
        EXPECT_LT(cost(&read), 512 << 10);
        EXPECT_EQ(read, "Packed/Next") << claim;
    }
}

TEST(audio_tags_hostile, text_of_64_kib_is_read_and_a_longer_one_is_not)
{
    std::string read;
    for (const maker_id3_frame_options &how : {packed, packed_old}) {
        save(maker_id3_block(maker_id3_frame("TIT2", latin(std::string(65535, 'a')), how),
                             how.version));
        EXPECT_LT(cost(&read), 2 << 20);
        EXPECT_EQ(read, std::string(65535, 'a') + "/-");
        save(maker_id3_block(maker_id3_frame("TIT2", latin(std::string(65536, 'a')), how),
                             how.version));
        EXPECT_EQ(names(), "-/-");
    }
}

TEST(audio_tags_hostile, a_million_frames_of_a_byte_are_not_read)
{
    std::string frames, read;
    for (int i = 0; i < 100000; i++)
        frames += maker_id3_frame("TXXX", "x");
    save(maker_id3_block(frames + maker_id3_frame("TIT2", latin("Far behind"))));
    const int64_t before = bytes_read();
    EXPECT_LT(cost(&read), 512 << 10);
    EXPECT_EQ(read, "-/-");
    EXPECT_LT(bytes_read() - before, 128 << 10);
}
#endif

TEST(audio_tags_hostile, blocks_of_nothing_inside_packed_text_are_counted)
{
    /* Stored blocks without content, each of which opens to nothing. */
    std::string nothing("\x78\x01", 2);
    while (nothing.size() < 60000)
        nothing += std::string("\x00\x00\x00\xFF\xFF", 5);
    nothing += maker_deflated(latin("Far behind")).substr(2);
    std::string frame = maker_id3_frame("TIT2", std::string(4, '\0') + nothing);
    frame[9] = 0x09; /* packed, with its size told */
    save(maker_id3_block(frame + maker_id3_frame("TPE1", latin("Next"))));
    EXPECT_EQ(names(), "-/Next");
}

/* A page of Ogg with one segment of 255 bytes, which the next page goes on with. */
static std::string ogg_page(uint32_t serial, bool continued, const std::string &body)
{
    std::string page("OggS\0", 5);
    page += static_cast<char>(continued ? 1 : 0);
    page += std::string(8, '\0');
    for (int i = 0; i < 4; i++)
        page += static_cast<char>(serial >> (8 * i));
    return page + std::string(8, '\0') + '\1' + '\xFF' + body + std::string(255 - body.size(), 'v');
}

TEST(audio_tags_hostile, comments_spread_over_many_small_pages_are_given_up)
{
    std::string ogg = maker_ogg_bytes(maker_sine(440, 0.1), {.serial = 7});
    ogg.resize(58); /* the first page, which tells the channels and the rate */
    ogg += ogg_page(7, false, std::string("\3vorbis\xFF\xFF\xFF\x7F", 11));
    const std::string more = ogg_page(7, true, "");
    for (int i = 0; i < 50000; i++)
        ogg += more;
    ASSERT_EQ(maker_audio_save("h.ogg", ogg), 0);
    const audio_decoder *decoder = audio_get_decoder("h.ogg");
    const int64_t before = bytes_read();
    EXPECT_EQ(decoder->open("h.ogg"), nullptr);
    EXPECT_EQ(decoder->read_info("h.ogg"), nullptr);
    EXPECT_LT(bytes_read() - before, 4 << 20);
}
