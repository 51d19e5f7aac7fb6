#include "view/lyrics/lyrics_parse.h"

#include "platform/base/owner.h"
#include "support/allocations.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

using lines = std::vector<std::pair<uint32_t, std::string>>;

static lines parse(const std::string &content)
{
    const owner<FILE, fclose> owned(tmpfile());
    FILE *file = owned.get();
    EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    rewind(file);
    lyrics_lines found;
    EXPECT_EQ(lyrics_parse_file(file, &found), 0);
    lines result;
    for (uint32_t i = 0; i < found.count; i++)
        result.emplace_back(found.times[i], found.texts[i]);
    EXPECT_EQ(found.texts == nullptr, found.count == 0);
    EXPECT_EQ(found.times == nullptr, found.count == 0);
    EXPECT_EQ(lyrics_free(&found), 0);
    EXPECT_EQ(found.texts, nullptr);
    return result;
}

TEST(lyrics_parse, takes_lines_of_the_one_shape)
{
    EXPECT_EQ(parse("[01:02.50]Hello"), (lines{{62500, "Hello"}}));
    EXPECT_EQ(parse("[00:60.99]r"), (lines{{60990, "r"}}));
    EXPECT_EQ(parse("[00:01.50]"), (lines{{1500, ""}}));
    EXPECT_EQ(parse("[99:59.99]x"), (lines{{5999990, "x"}}));
}

TEST(lyrics_parse, looks_at_no_separator)
{
    EXPECT_EQ(parse("[01x02y50]w"), (lines{{62500, "w"}}));
}

TEST(lyrics_parse, reads_blanks_and_signs_as_numbers_do)
{
    EXPECT_EQ(parse("[ 1: 2. 5]x"), (lines{{62050, "x"}}));
    EXPECT_EQ(parse("[+1:+2.+5]x"), (lines{{62050, "x"}}));
    EXPECT_EQ(parse("[-1:00.00]x"), (lines{{4294907296u, "x"}}));
    EXPECT_EQ(parse("[00:00.-1]x"), (lines{{4294967286u, "x"}}));
}

TEST(lyrics_parse, leaves_out_every_other_shape)
{
    for (const char *line :
         {"[1:02.50]Hello", "[01:02.500]Hello", "[01102.50]z", "[ar:abc12]q", "", "\n", "Hello",
          "[01:02.50", "[01:02.5]xx", "[0 :02.50]x", "[01:02.5 ]x", "[  :02.50]x", "{01:02.50]x",
          "[01:02.50)x", "[0x:02.50]x", " [01:02.50]x", "[", "[01:"})
        EXPECT_EQ(parse(line), lines{}) << line;
}

TEST(lyrics_parse, leaves_out_the_time_zero)
{
    EXPECT_EQ(parse("[00:00.00]Title\n[00:00.01]First"), (lines{{10, "First"}}));
}

TEST(lyrics_parse, keeps_further_stamps_as_text)
{
    EXPECT_EQ(parse("[00:10.00][00:20.00]Chorus"), (lines{{10000, "[00:20.00]Chorus"}}));
}

TEST(lyrics_parse, keeps_the_order_of_the_file)
{
    EXPECT_EQ(parse("[00:03.00]c\n[00:01.00]a\n[00:02.00]b\n"),
              (lines{{3000, "c"}, {1000, "a"}, {2000, "b"}}));
}

TEST(lyrics_parse, ends_a_text_at_either_line_end)
{
    EXPECT_EQ(parse("[00:01.00]a\r\n[00:02.00]b\n[00:03.00]c"),
              (lines{{1000, "a"}, {2000, "b"}, {3000, "c"}}));
    EXPECT_EQ(parse("[00:01.00]a\r[00:02.00]b"), (lines{{1000, "a"}}));
}

TEST(lyrics_parse, cuts_a_long_line_and_skips_its_rest)
{
    const std::string head = "[00:01.00]";
    const std::string filler(1023 - head.size(), 'x');
    EXPECT_EQ(parse(head + filler + "[00:02.00]rest\n[00:03.00]next"),
              (lines{{1000, filler}, {3000, "next"}}));
    EXPECT_EQ(parse(std::string(1023, 'y') + "[00:02.00]hidden\n[00:03.00]next"),
              (lines{{3000, "next"}}));
}

TEST(lyrics_parse, survives_zero_bytes)
{
    EXPECT_EQ(parse(std::string("[00:01.00]a\0b\n[00:02.00]c", 25)),
              (lines{{1000, "a"}, {2000, "c"}}));
    EXPECT_EQ(parse(std::string("[00:0\0.00]a\n[00:02.00]c", 23)), (lines{{2000, "c"}}));
}

TEST(lyrics_parse, keeps_at_most_ten_thousand_lines)
{
    std::string content;
    for (int i = 0; i < 10050; i++)
        content += "[00:01.00]x\n";
    EXPECT_EQ(parse(content).size(), 10000u);
}

TEST(lyrics_parse, reads_no_further_than_ten_thousand_full_lines)
{
    const size_t most = size_t{10000} * 1024;
    const std::string first = "[00:01.00]first\n", last = "[00:02.00]last\n";
    const std::string filler(most - first.size() - last.size() - 1, 'x');
    EXPECT_EQ(parse(first + filler + "\n" + last + "[00:03.00]unread\n"),
              (lines{{1000, "first"}, {2000, "last"}}));
    EXPECT_EQ(parse(std::string(most, 'x') + "\n" + first), lines{});
}

TEST(lyrics_parse, finds_nothing_in_an_empty_file)
{
    EXPECT_EQ(parse(""), lines{});
    EXPECT_EQ(parse("no stamps\nat all\n"), lines{});
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(lyrics_parse, fails_when_memory_runs_out)
{
    const owner<FILE, fclose> file(tmpfile());
    for (int i = 0; i < 100; i++) /* more than the first room holds */
        fputs("[00:01.00]text\n", file.get());
    rewind(file.get());
    lyrics_lines found;
    ASSERT_EQ(lyrics_parse_file(file.get(), &found), 0); /* the stream has its room from now on */
    const uint32_t count = found.count;
    EXPECT_EQ(lyrics_free(&found), 0);
    int n = 1;
    for (;; n++) {
        rewind(file.get());
        allocation_to_fail = n;
        const int result = lyrics_parse_file(file.get(), &found);
        if (allocation_to_fail > 0)
            break;
        EXPECT_EQ(result, -1) << n;
        EXPECT_EQ(lyrics_free(&found), 0);
    }
    allocation_to_fail = 0;
    EXPECT_GT(n, 100);
    EXPECT_EQ(found.count, count);
    EXPECT_EQ(lyrics_free(&found), 0);
}
#endif
