/* Formats, whatever their tokens stand for. */
#include "skin/skin_text.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

static void insert_user(skin_text *out, const void *user)
{
    skin_text_add(out, static_cast<const char *>(user));
}

static constexpr skin_inserts inserts = [] {
    skin_inserts all = {};
    for (size_t i = 1; i < skin_token_count; i++)
        if ((skin_tokens[i].screens & skin_on_play) && !skin_tokens[i].label)
            all[i] = insert_user;
    return all;
}();
static_assert(skin_inserts_fit(inserts, skin_on_play));
static_assert(!skin_inserts_fit(inserts, skin_on_list));

static std::string expand(const std::string &format, const char *user = "-", size_t size = 64)
{
    std::string to(size, '?');
    skin_text_expand(format.c_str(), skin_on_play, inserts, user, to.data(), size);
    EXPECT_NE(memchr(to.data(), '\0', size), nullptr);
    return to.c_str();
}

TEST(skin_text, replaces_tokens_and_keeps_the_rest)
{
    EXPECT_EQ(expand(""), "");
    EXPECT_EQ(expand("plain"), "plain");
    EXPECT_EQ(expand("$title by $artist."), "- by -.");
    EXPECT_EQ(expand("a$titlealbum$"), "a-album$");
}

TEST(skin_text, keeps_a_dollar_that_no_token_of_the_screen_follows)
{
    EXPECT_EQ(expand("$$title$"), "$-$");
    EXPECT_EQ(expand("$path $Title $"), "$path $Title $");
}

TEST(skin_text, labels_stand_for_themselves_and_end_where_they_are_compared)
{
    EXPECT_EQ(expand("$Time $标题: $艺术家"), "Time 标题: 艺术家");
    EXPECT_EQ(expand(std::string("$") + std::string("标题").substr(0, 5) + "!"),
              std::string("标题").substr(0, 5) + "!");
}

TEST(skin_text, inserted_text_is_not_expanded_again)
{
    EXPECT_EQ(expand("$title", "$artist"), "$artist");
}

TEST(skin_text, cuts_at_the_size_wherever_it_falls)
{
    const std::string whole = expand("ab$title$Time$x", "0123", 64);
    ASSERT_EQ(whole, "ab0123Time$x");
    for (size_t size = 1; size <= whole.size() + 1; size++)
        EXPECT_EQ(expand("ab$title$Time$x", "0123", size), whole.substr(0, size - 1));
}
