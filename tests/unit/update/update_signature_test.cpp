#include "update/update_signature.h"

#include "makers/maker_signature.h"
#include "makers/maker_zip.h"
#include "platform/base/fault.h"
#include "support/scratch.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

struct update_signature_test : testing::Test {
    void TearDown() override { fault_set(nullptr); }

    static std::string package(const char *name, const std::string &content)
    {
        maker_zip *zip = maker_zip_open("made.zip");
        EXPECT_EQ(maker_zip_add(zip, name, content.data(), content.size(), maker_zip_store), 0);
        EXPECT_EQ(maker_zip_close(zip), 0);
        return scratch_read("made.zip");
    }
    bool holds(const std::string &bytes, const maker_key &signer) const
    {
        scratch_write("p.zip", bytes);
        return update_signature_holds("p.zip", signer.public_key);
    }
    bool holds(const std::string &bytes) const { return holds(bytes, key); }

    scratch folder;
    maker_key key = maker_key_from(1);
    std::string plain = package("zerv-player", "new program");
    std::string good = maker_signed(plain, key, "0.5");
};

TEST_F(update_signature_test, holds_for_a_higher_version_of_this_build)
{
    EXPECT_TRUE(holds(good));
    EXPECT_TRUE(holds(maker_signed(plain, key, "0.4.1")));
    EXPECT_TRUE(holds(maker_signed(plain, key, "0.10")));
    EXPECT_TRUE(holds(maker_signed(package("x", std::string(100000, '\0')), key, "1")));
}

TEST_F(update_signature_test, does_not_hold_for_a_version_that_we_have_or_had)
{
    for (const char *version : {"0.4", "0.4.0", "00.04", "0.3", "0.3.9", "0", "", "new", "0.5a",
                                "0.5.", ".5", "0..5", "-1", "9999999999", "0,5"})
        EXPECT_FALSE(holds(maker_signed(plain, key, version))) << version;
}

TEST_F(update_signature_test, does_not_hold_for_another_build)
{
    EXPECT_FALSE(holds(maker_signed(plain, key, "0.5", "zerv-player-other")));
    EXPECT_FALSE(holds(maker_signed(plain, key, "0.5", "")));
    EXPECT_FALSE(holds(maker_signed(plain, key, "0.5", std::string(100, 'b'))));
}

TEST_F(update_signature_test, does_not_hold_after_any_change)
{
    for (size_t at = 0; at < good.size(); at++) {
        std::string changed = good;
        changed[at] =
            static_cast<char>(changed[at] ^ 0x20); /* which leaves the value of a letter's digit */
        const bool is_letter =
            at + 129 >= good.size() && isalpha(static_cast<unsigned char>(good[at]));
        EXPECT_EQ(holds(changed), is_letter) << at;
        changed[at] = static_cast<char>(good[at] ^ 1);
        EXPECT_FALSE(holds(changed)) << at;
    }
    for (size_t size = 0; size < good.size(); size++)
        EXPECT_FALSE(holds(good.substr(0, size))) << size;
    EXPECT_FALSE(holds(good + "\n"));
    EXPECT_FALSE(holds("x" + good));
    EXPECT_FALSE(holds(good + good.substr(plain.size())));
}

TEST_F(update_signature_test, does_not_hold_for_other_content_or_names)
{
    const std::string signature = good.substr(good.size() - 129);
    for (const std::string &other :
         {package("zerv-player", "bad program"), package("zerv-playar", "new program")}) {
        const std::string its = maker_signed(other, key, "0.5");
        EXPECT_TRUE(holds(its));
        EXPECT_FALSE(holds(its.substr(0, its.size() - 129) + signature)) << "swapped";
    }
    const std::string later = maker_signed(plain, key, "0.6");
    EXPECT_FALSE(holds(later.substr(0, later.size() - 129) + signature)) << "another version's";
}

TEST_F(update_signature_test, does_not_hold_without_a_signature_of_the_key)
{
    EXPECT_FALSE(holds(plain));
    EXPECT_FALSE(holds(""));
    EXPECT_FALSE(holds(std::string(5000, '\0')));
    EXPECT_FALSE(holds(maker_signed(plain, maker_key_from(2), "0.5")));
    EXPECT_FALSE(holds(good, maker_key_from(2)));
    EXPECT_FALSE(holds(good, maker_key{})) << "a point of small order";
    EXPECT_FALSE(update_signature_holds("missing.zip", key.public_key));
}

TEST_F(update_signature_test, does_not_hold_when_it_cannot_be_computed)
{
    fault_set("sign_check_new");
    EXPECT_FALSE(holds(good));
}

struct found_key {
    update_trust trust;
    bool is_ours;
};

static found_key find_key(const char *built_in, const maker_key &ours)
{
    uint8_t key[sign_key_size] = {};
    const update_trust trust = update_signature_key(built_in, "update.key", key);
    return {trust, memcmp(key, ours.public_key, sizeof key) == 0};
}

TEST_F(update_signature_test, finds_no_key_where_there_is_none)
{
    EXPECT_EQ(find_key("", key).trust, update_trust::anybody);
}

TEST_F(update_signature_test, finds_the_key_of_the_build_before_the_file)
{
    const std::string other = maker_key_text(maker_key_from(2));
    std::string text = maker_key_text(key);
    scratch_write("update.key", text);
    EXPECT_EQ(find_key("", key).trust, update_trust::key_owner);
    EXPECT_TRUE(find_key("", key).is_ours);
    EXPECT_FALSE(find_key(other.c_str(), key).is_ours);
    for (char &digit : text)
        digit = static_cast<char>(toupper(digit));
    scratch_write("update.key", " \r\n" + text + "\r\n");
    EXPECT_TRUE(find_key("", key).is_ours);
    ASSERT_EQ(remove("update.key"), 0);
    EXPECT_TRUE(find_key(text.c_str(), key).is_ours);
}

TEST_F(update_signature_test, trusts_nobody_with_a_key_that_is_none)
{
    const std::string text = maker_key_text(key);
    for (const std::string &bad :
         {std::string(), std::string("\n"), text.substr(1), "0" + text, "g" + text.substr(1),
          std::string(5000, 'a'), std::string(64, '\0'), text.substr(0, 64) + '\0' + "x"}) {
        scratch_write("update.key", bad);
        EXPECT_EQ(find_key("", key).trust, update_trust::nobody) << bad;
    }
    ASSERT_EQ(remove("update.key"), 0);
    ASSERT_EQ(mkdir("update.key", 0755), 0);
    EXPECT_EQ(find_key("", key).trust, update_trust::nobody) << "a folder";
    EXPECT_EQ(find_key("12", key).trust, update_trust::nobody);
    ASSERT_EQ(rmdir("update.key"), 0);
    scratch_write("update.key", text);
    fault_set("file_fopen");
    EXPECT_EQ(find_key("", key).trust, update_trust::nobody) << "it cannot be read";
}

TEST(update_version, is_compared_by_its_numbers)
{
    EXPECT_TRUE(update_version_is_above("0.10", "0.9"));
    EXPECT_TRUE(update_version_is_above("1", "0.9.9"));
    EXPECT_TRUE(update_version_is_above("0.4.1", "0.4"));
    EXPECT_FALSE(update_version_is_above("0.4", "0.4.1"));
    EXPECT_FALSE(update_version_is_above("1.0", "1"));
    EXPECT_FALSE(update_version_is_above("1", "1.0.0"));
    EXPECT_FALSE(update_version_is_above("0.5", "none"));
    EXPECT_FALSE(update_version_is_above("", ""));
    EXPECT_TRUE(update_version_is_above("999999999.1", "999999999"));
}
