#include "platform/device/web/wire/web_name.h"

#include <gtest/gtest.h>

#include <string>

static std::string made(const std::string &asked)
{
    web_name name = "";
    return web_make_name(asked.c_str(), name) == 0 ? name : "(none)";
}

TEST(web_name, plain_names_stay)
{
    for (const char *name : {"song.mp3", "Song.FLAC", "a b (1).ogg", "歌.lrc", "📻.m3u", "a.b.mp3"})
        EXPECT_EQ(made(name), name);
}

TEST(web_name, folders_and_leading_dots_go)
{
    EXPECT_EQ(made("../../etc/song.mp3"), "song.mp3");
    EXPECT_EQ(made("C:\\music\\song.mp3"), "song.mp3");
    EXPECT_EQ(made(".song.mp3"), "song.mp3");
    EXPECT_EQ(made("/a/.. .song.mp3"), "song.mp3");
}

TEST(web_name, other_kinds_are_refused)
{
    for (const char *name : {"", "song", "song.exe", "mp3", ".mp3", "a/.mp3", "song.mp3/",
                             "song.mp3 ", "song.mp3.sh", "/", "\\"})
        EXPECT_EQ(made(name), "(none)") << name;
}

TEST(web_name, what_no_list_can_show_is_replaced)
{
    EXPECT_EQ(made("a\x01"
                   "b\n.mp3"),
              "a_b_.mp3");
    EXPECT_EQ(made("a\xFF\xC0\x80.mp3"), "a___.mp3") << "no UTF-8";
    EXPECT_EQ(made("a\xE6\xAD.mp3"), "a__.mp3") << "cut inside a character";
    EXPECT_EQ(made("a\xED\xA0\x80.mp3"), "a___.mp3") << "half a pair";
}

TEST(web_name, long_names_are_cut_between_characters)
{
    std::string name;
    for (int i = 0; i < 300; i++)
        name += "歌";
    const std::string cut = made(name + ".flac");
    EXPECT_LE(cut.size(), size_t{web_name_most});
    EXPECT_EQ(cut.size() % 3, 5 % 3);
    EXPECT_TRUE(cut.ends_with("歌.flac"));
}

TEST(web_name, the_longest_name_stays)
{
    const std::string longest = std::string(web_name_most - 4, 'n') + ".mp3";
    EXPECT_EQ(made(longest), longest);
    EXPECT_EQ(made("n" + longest), longest);
}

TEST(web_name, names_that_are_taken_get_a_number)
{
    web_name name = "a.b.mp3", numbered;
    web_number_name(name, 1, numbered);
    EXPECT_STREQ(numbered, "a.b.mp3");
    web_number_name(name, 2, numbered);
    EXPECT_STREQ(numbered, "a.b (2).mp3");
}

TEST(web_name, lyrics_are_not_queued)
{
    EXPECT_TRUE(web_is_queued("song.mp3"));
    EXPECT_TRUE(web_is_queued("list.M3U"));
    EXPECT_FALSE(web_is_queued("song.lrc"));
    EXPECT_FALSE(web_is_queued("song.txt"));
}
