/* Packed parts of tags: whole ones, broken ones, and ones that open to too much. */
#include "platform/audio/audio_inflate.h"
#include "support/allocations.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <zlib.h>

struct packed_source {
    std::string bytes;
    size_t at = 0;
};

static size_t next(void *user, void *to, size_t size)
{
    auto *from = static_cast<packed_source *>(user);
    const size_t count = from->bytes.copy(static_cast<char *>(to), size, from->at);
    from->at += count;
    return count;
}

static std::string packed(const std::string &text)
{
    uLongf size = compressBound(text.size());
    std::string made(size, '\0');
    EXPECT_EQ(compress(reinterpret_cast<Bytef *>(made.data()), &size,
                       reinterpret_cast<const Bytef *>(text.data()), text.size()),
              Z_OK);
    made.resize(size);
    return made;
}

/* "broken" where it is; the outputs are untouched then. */
static std::string opened(const std::string &bytes, size_t limit = 1 << 20)
{
    packed_source from = {bytes};
    unsigned char *out = nullptr;
    size_t size = 4711;
    if (audio_inflate(next, &from, limit, &out, &size) != 0) {
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(size, 4711u);
        return "broken";
    }
    const std::string text(reinterpret_cast<char *>(out), size);
    free(out);
    return text;
}

static std::string long_text()
{
    std::string text;
    for (int i = 0; i < 20000; i++)
        text += std::to_string(i * 7919 % 10007);
    return text;
}

TEST(audio_inflate, opens_what_was_packed)
{
    for (const std::string &text :
         {std::string(), std::string("words"), std::string(5000, 'a'), long_text()})
        EXPECT_EQ(opened(packed(text)), text);
}

TEST(audio_inflate, a_stream_that_ends_early_or_is_damaged_is_broken)
{
    const std::string whole = packed("some words that are packed");
    for (size_t size = 0; size < whole.size(); size++)
        EXPECT_EQ(opened(whole.substr(0, size)), "broken") << size;
    for (size_t at = 2; at < whole.size(); at++) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        EXPECT_EQ(opened(damaged), "broken") << at;
    }
    EXPECT_EQ(opened("no stream at all"), "broken");
    EXPECT_EQ(opened(whole + "what stands behind it"), "some words that are packed");
}

TEST(audio_inflate, the_limit_is_a_byte_s)
{
    for (const size_t size : {1, 1023, 1024, 1025, 4096, 100000}) {
        const std::string text(size, 'b');
        EXPECT_EQ(opened(packed(text), size), text);
        EXPECT_EQ(opened(packed(text), size - 1), "broken") << size;
    }
    EXPECT_EQ(opened(packed(long_text()), 5000), "broken") << "long before its end";
}

/* Such a stream keeps a processor busy and opens to nothing. */
TEST(audio_inflate, thousands_of_empty_blocks_are_not_opened)
{
    const auto blocks = [](int count) {
        std::string made = "\x78\x9c";
        for (int i = 0; i < count; i++)
            made += std::string("\0\0\0\xff\xff", 5);
        return made + std::string("\1\0\0\xff\xff\0\0\0\1", 9);
    };
    EXPECT_EQ(opened(blocks(8189)), "") << "the beginning and the last one count as well";
    EXPECT_EQ(opened(blocks(8190)), "broken");
    EXPECT_EQ(opened(blocks(100000)), "broken");
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(audio_inflate, without_memory_opens_nothing)
{
    const std::string text = long_text();
    packed_source from = {packed(text)};
    const int failed = fail_each_allocation([&] {
        from.at = 0;
        unsigned char *out = nullptr;
        size_t size = 0;
        const int result = audio_inflate(next, &from, 1 << 20, &out, &size);
        EXPECT_EQ(result == 0, allocation_to_fail > 0) << "the last time none failed";
        EXPECT_EQ(size, result == 0 ? text.size() : 0);
        free(out);
    });
    EXPECT_GE(failed, 5);
}
#endif
