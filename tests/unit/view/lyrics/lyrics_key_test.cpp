#include "view/lyrics/lyrics_key.h"

#include "makers/maker_audio.h"

#include <gtest/gtest.h>
#include <string>

static const std::string tag("ID3\4\0\0\0\0\0\5xxxxx", 15);

/* "-1" when there is no key. */
static std::string key_of(const std::string &bytes)
{
    EXPECT_EQ(maker_audio_save("track.mp3", bytes), 0);
    char key[lyrics_key_size];
    return lyrics_key("track.mp3", key) == 0 ? key : "-1";
}

static const char abc[] = "900150983cd24fb0d6963f7d28e17f72";
static const char nothing[] = "d41d8cd98f00b204e9800998ecf8427e";

TEST(lyrics_key, is_the_digest_of_the_sound)
{
    EXPECT_EQ(key_of("abc"), abc);
}

TEST(lyrics_key, skips_tags_and_the_zeros_behind_them)
{
    EXPECT_EQ(key_of(tag + std::string(2, '\0') + "abc"), abc);
    EXPECT_EQ(key_of(tag + tag + "abc"), abc);
    EXPECT_EQ(key_of(tag + tag + tag + std::string(3000, '\0') + "abc"), abc);
}

TEST(lyrics_key, skips_ten_bytes_more_behind_a_footer_flag)
{
    std::string with_footer = tag;
    with_footer[5] = 0x10;
    EXPECT_EQ(key_of(with_footer + "0123456789abc"), abc);
}

TEST(lyrics_key, reads_the_size_by_seven_bits)
{
    const std::string head("ID3\3\0\0\0\0\1\2", 10);
    EXPECT_EQ(key_of(head + std::string(130, 'x') + "abc"), abc);
}

TEST(lyrics_key, refuses_a_size_that_makes_no_sense)
{
    for (size_t i = 6; i < 10; i++) {
        std::string damaged = tag;
        damaged[i] = static_cast<char>(0x80);
        EXPECT_EQ(key_of(damaged + "abc"), "-1") << i;
    }
}

TEST(lyrics_key, of_nothing_is_the_digest_of_nothing)
{
    EXPECT_EQ(key_of(""), nothing);
    EXPECT_EQ(key_of(std::string(5000, '\0')), nothing);
    EXPECT_EQ(key_of(tag), nothing);
    EXPECT_EQ(key_of(std::string("ID3\4\0\0\0\0\x7f\x7f", 10)), nothing);
}

TEST(lyrics_key, takes_a_broken_off_tag_for_sound)
{
    EXPECT_EQ(key_of("ID3"), "c0f44879dc0d4eae7b3f0b3e801e373c");
}

TEST(lyrics_key, reads_at_most_160_kib)
{
    const char of_the_first_part[] = "274596665a0c0f8e0fd6cab664d24941";
    EXPECT_EQ(key_of(std::string(200000, 'a')), of_the_first_part);
    EXPECT_EQ(key_of(std::string(163840, 'a') + "b"), of_the_first_part);
    EXPECT_NE(key_of(std::string(163839, 'a')), of_the_first_part);
}

TEST(lyrics_key, gives_up_where_nothing_but_tags_or_zeros_come)
{
    std::string tags;
    for (int i = 0; i < 65536; i++)
        tags += std::string("ID3\3\0\0\0\0\0\0", 10);
    EXPECT_EQ(key_of(tags + "abc"), abc);
    EXPECT_EQ(key_of(tags + tags.substr(0, 10) + "abc"), "-1");
    const std::string zeros(16 << 20, '\0');
    EXPECT_EQ(key_of(zeros + "abc"), abc);
    EXPECT_EQ(key_of(zeros + std::string(1, '\0') + "abc"), "-1");
}

TEST(lyrics_key, outlives_a_change_of_tags)
{
    const std::string sound = maker_mp3_bytes(maker_sine(440, 0.2));
    maker_tags tags;
    tags.title = "One";
    const std::string one = maker_id3v2_bytes(tags);
    tags.title = "Another title";
    tags.artist = "Somebody";
    maker_id3 how;
    how.version = 24;
    how.padding = 999;
    const std::string two = maker_id3v2_bytes(tags, how);
    const std::string key = key_of(sound);
    EXPECT_EQ(key_of(one + sound), key);
    EXPECT_EQ(key_of(two + sound), key);
    EXPECT_EQ(key_of(one + two + sound), key);
}

TEST(lyrics_key, fails_without_a_file)
{
    char key[lyrics_key_size] = "untouched";
    EXPECT_EQ(lyrics_key("no such file", key), -1);
    EXPECT_STREQ(key, "untouched");
}
