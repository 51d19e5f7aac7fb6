/* font_utf8: characters of good and broken texts. */
#include "platform/font/font_utf8.h"
#include "support/seed.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using characters = std::vector<uint32_t>;

static characters decoded(const std::string &text, size_t room = 100)
{
    characters made(room + 1, 0xDEADBEEF);
    const size_t count = font_utf8_decode(text.c_str(), made.data(), room);
    EXPECT_EQ(made[count], 0xDEADBEEF);
    made.resize(count);
    return made;
}

TEST(font_utf8, every_length_decodes)
{
    EXPECT_EQ(decoded("aé€😀"), (characters{'a', 0xE9, 0x20AC, 0x1F600}));
    EXPECT_EQ(
        decoded("\x7E\xC2\xA0\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"),
        (characters{0x7E, 0xA0, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF}));
    EXPECT_EQ(decoded(""), characters{});
}

TEST(font_utf8, a_broken_sequence_is_one_replacement_sign_and_the_rest_goes_on)
{
    EXPECT_EQ(decoded("a\x80z"), (characters{'a', 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("a\xFFz"), (characters{'a', 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("a\xE4\xB8z"), (characters{'a', 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("a\xF0\x9F\x98z"), (characters{'a', 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("a\xC3"), (characters{'a', 0xFFFD}));
    EXPECT_EQ(decoded("\xE4\xC3\xA9"), (characters{0xFFFD, 0xE9}));
}

TEST(font_utf8, overlong_surrogate_and_too_large_sequences_are_broken)
{
    EXPECT_EQ(decoded("\xC0\x80z"), (characters{0xFFFD, 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("\xC1\xBFz"), (characters{0xFFFD, 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("\xE0\x9F\xBFz").back(), uint32_t{'z'});
    EXPECT_EQ(decoded("\xE0\x9F\xBFz").front(), 0xFFFDu);
    EXPECT_EQ(decoded("\xED\xA0\x80z").front(), 0xFFFDu);
    EXPECT_EQ(decoded("\xF4\x90\x80\x80z").front(), 0xFFFDu);
    EXPECT_EQ(decoded("\xF5\x80\x80\x80z").front(), 0xFFFDu);
    for (const char *text :
         {"\xE0\x9F\xBF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF0\x8F\xBF\xBF"})
        for (const uint32_t character : decoded(text))
            EXPECT_EQ(character, 0xFFFDu);
}

/* Broken at its second byte: what follows that one's first is looked at anew. */
TEST(font_utf8, a_surrogate_that_is_cut_short_takes_no_letter_with_it)
{
    EXPECT_EQ(decoded("\xED\xA0z"), (characters{0xFFFD, 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("\xED\xBFz"), (characters{0xFFFD, 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("\xED\x9Fz"), (characters{0xFFFD, 'z'})) << "might have become a letter";
    EXPECT_EQ(decoded("\xEE\x80z"), (characters{0xFFFD, 'z'}));
    EXPECT_EQ(decoded("\xED\x9F\xBF\xEE\x80\x80"), (characters{0xD7FF, 0xE000}));
    EXPECT_EQ(decoded("\xF0\x8Fz"), (characters{0xFFFD, 0xFFFD, 'z'}));
    EXPECT_EQ(decoded("\xF4\x90z"), (characters{0xFFFD, 0xFFFD, 'z'}));
}

TEST(font_utf8, control_characters_are_left_out)
{
    EXPECT_EQ(decoded("a\t\r\n\x01\x1F\x7F\xC2\x80\xC2\x85\xC2\x9F\xE2\x80\xA8\xE2\x80\xA9z"),
              (characters{'a', 'z'}));
    EXPECT_EQ(decoded("a ~\xC2\xA0"), (characters{'a', ' ', '~', 0xA0}));
}

TEST(font_utf8, letters_and_accents_are_composed)
{
    EXPECT_EQ(decoded("e\xCC\x80"
                      "e\xCC\x81"),
              (characters{0xE8, 0xE9}));
    /* HIEUH, A, NIEUN */
    EXPECT_EQ(decoded("\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB"), characters{0xD55C});
    /* KA and the voiced sound mark */
    EXPECT_EQ(decoded("\xE3\x81\x8B\xE3\x82\x99"), characters{0x304C});
    EXPECT_EQ(decoded("x\xCC\x81"), (characters{'x', 0x301}));
    EXPECT_EQ(decoded("\xCC\x81"), characters{0x301});
}

TEST(font_utf8, the_room_is_kept)
{
    EXPECT_EQ(decoded("abcdef", 3), (characters{'a', 'b', 'c'}));
    EXPECT_EQ(decoded("abc", 0), characters{});
}

TEST(font_utf8, any_bytes_give_characters_only)
{
    uint32_t state = seed_or(5);
    for (int round = 0; round < 20000; round++) {
        std::string text;
        for (int i = 0; i < 12; i++) {
            state = state * 1664525u + 1013904223u;
            text += static_cast<char>(state >> 24 | (state >> 20 & 0x80));
        }
        text.resize(strnlen(text.c_str(), text.size()));
        const characters made = decoded(text);
        EXPECT_LE(made.size(), text.size());
        for (const uint32_t character : made)
            ASSERT_TRUE(character >= 0x20 && character <= 0x10FFFF &&
                        (character < 0xD800 || character > 0xDFFF));
    }
}
