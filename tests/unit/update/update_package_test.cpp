#include "update/update_package.h"

#include "makers/maker_zip.h"
#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

struct update_package_test : testing::Test {
    void SetUp() override { zip = maker_zip_open("p.zip"); }
    void TearDown() override { fault_set(nullptr); }

    void add(const char *name, const std::string &content = "content")
    {
        ASSERT_EQ(maker_zip_add(zip, name, content.data(), content.size(), maker_zip_deflate), 0);
    }
    int check()
    {
        EXPECT_EQ(maker_zip_close(zip), 0);
        return update_package_check("p.zip", [] { return true; });
    }
    /* A package of nothing but one file. */
    int check_file(const char *name)
    {
        add(name);
        const int result = check();
        zip = maker_zip_open("p.zip");
        return result;
    }

    scratch folder;
    maker_zip *zip = nullptr;
};

TEST_F(update_package_test, with_files_and_folders_is_good)
{
    add("zerv-player");
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    ASSERT_EQ(maker_zip_add_folder(zip, "bin/deep"), 0);
    add("bin/deep/player");
    add("empty", "");
    EXPECT_EQ(check(), 0);
}

TEST_F(update_package_test, may_use_folders_that_are_there)
{
    ASSERT_EQ(mkdir("skins", 0755), 0);
    add("skins/a.zip");
    EXPECT_EQ(check(), 0);
}

TEST_F(update_package_test, with_a_file_whose_folder_is_missing_is_refused)
{
    add("bin/player");
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    EXPECT_EQ(check(), -1) << "its folder comes too late";
}

TEST_F(update_package_test, with_a_folder_whose_parent_is_missing_is_refused)
{
    ASSERT_EQ(maker_zip_add_folder(zip, "a/b"), 0);
    add("a/b/c");
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, with_a_folder_where_a_file_stands_is_refused)
{
    scratch_write("bin", "a file");
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/player");
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, with_a_name_that_leaves_the_folder_is_refused)
{
    for (const char *name : {"../x", "_tmp/x", "config.txt", "library.db", ".", ""})
        EXPECT_EQ(check_file(name), -1) << name;
    EXPECT_EQ(check_file(std::string(512, 'n').c_str()), -1);
    EXPECT_EQ(check_file(std::string(600, 'n').c_str()), -1);
    EXPECT_EQ(check_file(std::string(256, 'n').c_str()), -1);
    EXPECT_EQ(check_file(std::string(255, 'n').c_str()), 0);
    (void)maker_zip_close(zip);
}

TEST_F(update_package_test, with_a_name_of_another_system_is_good)
{
    for (const char *name : {"/x", "a\\b", "a:b", "C:\\x"})
        EXPECT_EQ(check_file(name), 0) << name;
    (void)maker_zip_close(zip);
}

TEST_F(update_package_test, may_name_the_program_folder_itself)
{
    ASSERT_EQ(maker_zip_add_folder(zip, "."), 0);
    ASSERT_EQ(maker_zip_add_folder(zip, ""), 0);
    add("./player");
    EXPECT_EQ(check(), 0);
}

TEST_F(update_package_test, with_a_file_over_a_folder_is_refused)
{
    ASSERT_EQ(mkdir("music", 0755), 0);
    ASSERT_EQ(symlink("music", "songs"), 0);
    EXPECT_EQ(check_file("music"), -1);
    EXPECT_EQ(check_file("songs"), -1);
    ASSERT_EQ(maker_zip_add_folder(zip, "made"), 0);
    add("made");
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, with_a_folder_over_its_own_file_is_refused)
{
    add("bin");
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/player");
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, with_a_link_or_a_device_is_refused)
{
    ASSERT_EQ(maker_zip_add_link(zip, "player", "/etc/passwd"), 0);
    EXPECT_EQ(check(), -1);
    for (const uint32_t kind : {S_IFCHR, S_IFBLK, S_IFIFO, S_IFSOCK}) {
        zip = maker_zip_open("p.zip");
        ASSERT_EQ(maker_zip_add_special(zip, "player", kind), 0);
        EXPECT_EQ(check(), -1) << kind;
    }
    zip = maker_zip_open("p.zip");
    ASSERT_EQ(maker_zip_add_special(zip, "player", S_IFREG), 0);
    EXPECT_EQ(check(), 0) << "a plain file of no bytes";
}

/* The library ends the name there: "player" would be unpacked, which is not what it says. */
TEST_F(update_package_test, with_a_zero_byte_in_a_name_is_refused)
{
    add("player?cfg");
    ASSERT_EQ(maker_zip_close(zip), 0);
    std::string archive = scratch_read("p.zip");
    for (size_t at = 0; (at = archive.find("player?cfg", at)) != std::string::npos;)
        archive[at + 6] = '\0';
    scratch_write("p.zip", archive);
    EXPECT_EQ(update_package_check("p.zip", [] { return true; }), -1);
}

TEST_F(update_package_test, with_a_wrong_checksum_is_refused)
{
    add("good");
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "bad", "12345", 5), 0);
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, that_lies_about_a_size_is_refused)
{
    const std::string data(5000, 'x');
    for (const uint64_t declared : {100ull, 100000ull}) {
        ASSERT_EQ(maker_zip_add_lie(zip, "lie", data.data(), data.size(), declared), 0);
        EXPECT_EQ(check(), -1) << declared;
        zip = maker_zip_open("p.zip");
    }
    (void)maker_zip_close(zip);
}

TEST_F(update_package_test, of_more_contents_than_we_take_is_refused)
{
    const std::string data(5000, 'x');
    ASSERT_EQ(maker_zip_add_lie(zip, "lie", data.data(), data.size(), (1ull << 30) + 1), 0);
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, that_fits_on_no_disk_is_refused)
{
    add("a");
    fault_set("update_free_space");
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, without_entries_is_no_package)
{
    EXPECT_EQ(check(), -1);
}

TEST_F(update_package_test, of_other_bytes_is_no_package)
{
    EXPECT_EQ(maker_zip_close(zip), 0);
    for (const std::string &bytes : {std::string(), std::string("404 not found"),
                                     std::string(3000, '\0'), std::string("PK\3\4")}) {
        scratch_write("p.zip", bytes);
        EXPECT_EQ(update_package_check("p.zip", [] { return true; }), -1);
    }
    ASSERT_EQ(remove("p.zip"), 0);
    EXPECT_EQ(update_package_check("p.zip", [] { return true; }), -1);
}

TEST_F(update_package_test, cut_or_damaged_at_any_place_never_crashes)
{
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/player", std::string(2000, 'p'));
    add("font", "0123456789");
    EXPECT_EQ(check(), 0);
    const std::string whole = scratch_read("p.zip");
    /* Of the archive's end mark only the last bytes say nothing about its entries. */
    for (size_t size = 0; size < whole.size(); size++) {
        scratch_write("p.zip", whole.substr(0, size));
        const int result = update_package_check("p.zip", [] { return true; });
        EXPECT_TRUE(result == -1 || size > whole.size() - 6) << size;
    }
    for (size_t at = 0; at < whole.size(); at++) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x41);
        scratch_write("p.zip", damaged);
        (void)update_package_check("p.zip", [] { return true; });
    }
}

TEST_F(update_package_test, is_not_read_on_when_nobody_waits)
{
    add("a");
    EXPECT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(update_package_check("p.zip", [] { return false; }), -1);
}

TEST_F(update_package_test, is_only_looked_at)
{
    ASSERT_EQ(maker_zip_add_folder(zip, "bin"), 0);
    add("bin/player");
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(scratch_names("."), std::vector<std::string>{"p.zip"});
}
