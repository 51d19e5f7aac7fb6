#include "library/media.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

static struct stat entry_of(mode_t mode)
{
    struct stat entry = {};
    entry.st_mode = mode | 0644;
    return entry;
}

TEST(media, knows_music_by_extension_without_regard_to_case)
{
    for (const char *name : {"a.mp3", "a.MP3", "a.Ogg", "/m/a.b/c.FLAC", "a.mp3.flac"})
        EXPECT_TRUE(is_audio_file(name)) << name;
    for (const char *name :
         {"a.m3u", "a.mp3.bak", "mp3", ".mp3", "a.mp", "a.mp33", "/m/a.mp3/b", "", "a.", "a.wav"})
        EXPECT_FALSE(is_audio_file(name)) << name;
}

TEST(media, knows_playlists)
{
    EXPECT_TRUE(is_playlist_file("a.m3u"));
    EXPECT_TRUE(is_playlist_file("/x/A.M3U"));
    EXPECT_FALSE(is_playlist_file("a.m3u8"));
    EXPECT_FALSE(is_playlist_file(".m3u"));
    EXPECT_FALSE(is_playlist_file("a.mp3"));
    EXPECT_FALSE(is_playlist_file("m3u"));
}

TEST(media, filters_keep_every_folder_and_the_files_that_they_are_for)
{
    const struct stat file = entry_of(S_IFREG);
    const struct stat folder = entry_of(S_IFDIR);
    EXPECT_TRUE(media_file_filter("a.m3u", &file));
    EXPECT_TRUE(media_file_filter("a.ogg", &file));
    EXPECT_FALSE(media_file_filter("a.txt", &file));
    EXPECT_TRUE(media_file_filter("a.txt", &folder));
    EXPECT_TRUE(media_file_filter("..", &folder));
    EXPECT_FALSE(audio_file_filter("a.m3u", &file));
    EXPECT_TRUE(audio_file_filter("a.ogg", &file));
    EXPECT_TRUE(audio_file_filter("a.m3u", &folder));
}
