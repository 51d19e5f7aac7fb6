/* Genres by their numbers: the tag library is the judge. */
#include "platform/audio/audio_genre.h"

#include <gtest/gtest.h>
#include <id3v1genres.h>
#include <string>

static std::string name_of(int number)
{
    char name[64] = "untouched";
    audio_genre_name(number, name, sizeof name);
    return name;
}

TEST(audio_genre, every_number_has_the_name_that_the_tag_library_knows)
{
    for (int number = 0; number < 256; number++)
        EXPECT_EQ(name_of(number), TagLib::ID3v1::genre(number).to8Bit(true)) << number;
    EXPECT_EQ(name_of(17), "Rock");
}

TEST(audio_genre, numbers_that_no_tag_can_have_have_no_name)
{
    for (const int number : {-1, 256, -2147483647 - 1, 2147483647})
        EXPECT_EQ(name_of(number), "") << number;
}

TEST(audio_genre, a_name_is_cut_to_its_room)
{
    char name[3];
    audio_genre_name(17, name, sizeof name);
    EXPECT_STREQ(name, "Ro");
}
