#include "platform/base/md5.h"

#include <gtest/gtest.h>

#include <string>

static std::string hex(const uint8_t digest[16])
{
    std::string text;
    for (int i = 0; i < 16; i++) {
        char pair[3];
        snprintf(pair, sizeof(pair), "%02x", digest[i]);
        text += pair;
    }
    return text;
}

/* The digest of a text handed over in pieces of `step` bytes. */
static std::string digest_of(const std::string &text, size_t step)
{
    md5_state state;
    md5_init(&state);
    for (size_t at = 0; at < text.size(); at += step) {
        const std::string piece = text.substr(at, step);
        md5_append(&state, reinterpret_cast<const uint8_t *>(piece.data()), piece.size());
    }
    uint8_t digest[16];
    md5_finish(&state, digest);
    return hex(digest);
}

TEST(md5, gives_the_digests_of_rfc_1321)
{
    EXPECT_EQ(digest_of("", 1), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digest_of("a", 1), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(digest_of("abc", 3), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digest_of("message digest", 14), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(digest_of("abcdefghijklmnopqrstuvwxyz", 26), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(digest_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", 62),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(digest_of("1234567890123456789012345678901234567890123456789012345678901234567890"
                        "1234567890",
                        80),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(md5, does_not_depend_on_how_the_data_is_cut)
{
    const std::string text(163840, 'a');
    const std::string whole = digest_of(text, text.size());
    EXPECT_EQ(whole, "274596665a0c0f8e0fd6cab664d24941");
    for (size_t step : {1u, 63u, 64u, 65u, 1000u, 1024u})
        EXPECT_EQ(digest_of(text, step), whole) << step;
}

TEST(md5, accepts_nothing_to_append)
{
    md5_state state;
    uint8_t digest[16];
    md5_init(&state);
    md5_append(&state, nullptr, 0);
    md5_finish(&state, digest);
    EXPECT_EQ(hex(digest), "d41d8cd98f00b204e9800998ecf8427e");
}
