#include "platform/net/sign.h"

#include "makers/maker_signature.h"
#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "support/run_again.h"

#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

static bool no_libraries = false; /* none can be loaded */

extern "C" void *dlopen(const char *path, int mode) noexcept
{
    using loader = void *(*)(const char *, int);
    return no_libraries ? nullptr
                        : reinterpret_cast<loader>(dlsym(RTLD_NEXT, "dlopen"))(path, mode);
}

static const std::string text(10000, 't');

static bool holds(const std::string &bytes, const maker_key &signer, const maker_key &expected,
                  int changed_byte = -1)
{
    uint8_t signature[sign_size];
    maker_key_sign(signer, text, signature);
    if (changed_byte >= 0)
        signature[changed_byte] ^= 1;
    const owner<sign_check, sign_check_free> check(sign_check_new());
    for (size_t at = 0; at < bytes.size(); at += 1000)
        sign_check_add(check.get(), bytes.data() + at, std::min<size_t>(1000, bytes.size() - at));
    return sign_check_holds(check.get(), signature, expected.public_key);
}

TEST(sign, holds_for_what_was_signed_with_the_key)
{
    const maker_key key = maker_key_from(1);
    EXPECT_TRUE(holds(text, key, key));
}

TEST(sign, does_not_hold_for_anything_else)
{
    const maker_key key = maker_key_from(1), other = maker_key_from(2);
    std::string changed = text;
    changed[5000] ^= 1;
    EXPECT_FALSE(holds(changed, key, key));
    EXPECT_FALSE(holds(text + "t", key, key));
    EXPECT_FALSE(holds(text.substr(1), key, key));
    EXPECT_FALSE(holds("", key, key));
    EXPECT_FALSE(holds(text, other, key));
    EXPECT_FALSE(holds(text, key, maker_key{}));
    for (int byte = 0; byte < static_cast<int>(sign_size); byte++)
        EXPECT_FALSE(holds(text, key, key, byte)) << byte;
}

/* In a process of its own, which has not loaded it yet. */
TEST(sign, needs_its_library)
{
    if (!can_run_again())
        GTEST_SKIP() << "an emulator's program starts no other one of its kind";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            no_libraries = true;
            _exit(sign_check_new() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
    fault_set("sign_check_new");
    EXPECT_EQ(sign_check_new(), nullptr);
    fault_set(nullptr);
    EXPECT_EQ(sign_check_free(nullptr), 0);
}
