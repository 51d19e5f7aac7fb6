#include "update/update_name.h"

#include "platform/base/owner.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <string>

static std::string clean(const std::string &name)
{
    char to[update_name_size] = "untouched";
    return update_name_clean(name.c_str(), to) ? to : "(refused)";
}

TEST(update_name, is_kept_without_empty_components)
{
    EXPECT_EQ(clean("player"), "player");
    EXPECT_EQ(clean("bin/player"), "bin/player");
    EXPECT_EQ(clean("bin/"), "bin");
    EXPECT_EQ(clean("./bin//player"), "bin/player");
    EXPECT_EQ(clean("a/./b/."), "a/b");
    EXPECT_EQ(clean("..a/b..c/..."), "..a/b..c/...");
    EXPECT_EQ(clean("한국어.ttf"), "한국어.ttf");
    EXPECT_EQ(clean("_tmpfile"), "_tmpfile");
    EXPECT_EQ(clean("skins/_tmp/x"), "skins/_tmp/x");
    EXPECT_EQ(clean("a/" + std::string(255, 'x')), "a/" + std::string(255, 'x'));
}

TEST(update_name, of_other_systems_is_a_name_below_the_folder)
{
    EXPECT_EQ(clean("/x"), "x");
    EXPECT_EQ(clean("//x/y"), "x/y");
    EXPECT_EQ(clean("C:/x"), "C:/x");
    EXPECT_EQ(clean("a:b"), "a:b");
    EXPECT_EQ(clean("12:30.txt"), "12:30.txt");
    EXPECT_EQ(clean("a\\b"), "a\\b");
    EXPECT_EQ(clean("..\\x"), "..\\x");
}

TEST(update_name, of_nothing_means_the_folder_itself)
{
    for (const char *name : {"", ".", "./", "/", "././.", "//"})
        EXPECT_EQ(clean(name), "") << name;
}

TEST(update_name, is_refused_when_it_leaves_the_folder)
{
    for (const char *name : {"../x", "a/../x", "a/..", "..", "../", "/../x", "./.."})
        EXPECT_EQ(clean(name), "(refused)") << name;
}

TEST(update_name, is_refused_when_no_disk_holds_it)
{
    EXPECT_EQ(clean(std::string(256, 'x')), "(refused)");
    EXPECT_EQ(clean("a/" + std::string(256, 'x') + "/b"), "(refused)");
    std::string deep;
    while (deep.size() < 512)
        deep += "deep/";
    EXPECT_EQ(clean(deep.substr(0, 511)), deep.substr(0, 511));
    EXPECT_EQ(clean(deep.substr(0, 512)), "(refused)");
}

TEST(update_name, is_refused_when_it_belongs_to_the_user_or_to_the_update)
{
    for (const char *name : {"_tmp",
                             "_tmp/update.zip",
                             "./_tmp/x",
                             "/_tmp/x",
                             "_tmp/",
                             "_TMP/x",
                             "_tmp./x",
                             "config.txt",
                             "./config.txt",
                             "/config.txt",
                             "CONFIG.TXT",
                             "config.txt.",
                             "config.txt ",
                             "config.txt/",
                             "config.txt/x",
                             "current.m3u",
                             "Current.M3U",
                             "library.db",
                             "library.db-journal",
                             "library.db-wal",
                             "library.db-shm",
                             "Library.DB-Journal"})
        EXPECT_EQ(clean(name), "(refused)") << name;
    for (const char *name : {"config.txt.old", "myconfig.txt", "demo/config.txt", "library.dbx",
                             "library.db-", "current.m3u8", "skins/library.db", "..."})
        EXPECT_EQ(clean(name), name);
}

struct update_names_test : testing::Test {
    void note(const char *name, update_kind kind)
    {
        ASSERT_EQ(update_names_note(names.get(), name, kind), 0);
    }
    update_kind find(const char *name) { return update_names_find(names.get(), name); }

    scratch folder;
    owner<update_names, update_names_free> names{update_names_new(3000)};
};

TEST_F(update_names_test, tell_what_entries_made)
{
    EXPECT_EQ(find("a"), update_kind::nothing);
    note("a", update_kind::folder);
    note("a/b", update_kind::file);
    EXPECT_EQ(find("a"), update_kind::folder);
    EXPECT_EQ(find("a/b"), update_kind::file);
    EXPECT_EQ(find("a/"), update_kind::nothing) << "no clean name";
    EXPECT_EQ(find(""), update_kind::folder);
}

TEST_F(update_names_test, tell_what_the_disk_holds)
{
    ASSERT_EQ(mkdir("folder", 0755), 0);
    scratch_write("file", "x");
    ASSERT_EQ(symlink("folder", "to_folder"), 0);
    ASSERT_EQ(symlink("nowhere", "to_nothing"), 0);
    EXPECT_EQ(find("folder"), update_kind::folder);
    EXPECT_EQ(find("file"), update_kind::file);
    EXPECT_EQ(find("to_folder"), update_kind::folder);
    EXPECT_EQ(find("to_nothing"), update_kind::file) << "it is written through";
}

TEST_F(update_names_test, know_which_parents_there_are)
{
    note("a", update_kind::folder);
    note("file", update_kind::file);
    EXPECT_TRUE(update_names_have_parent(names.get(), "x"));
    EXPECT_TRUE(update_names_have_parent(names.get(), "a/x"));
    EXPECT_FALSE(update_names_have_parent(names.get(), "a/b/x"));
    EXPECT_FALSE(update_names_have_parent(names.get(), "file/x"));
}

TEST_F(update_names_test, hold_as_many_as_were_asked_for)
{
    for (int i = 0; i < 3000; i++)
        note(("name" + std::to_string(i)).c_str(), i % 2 ? update_kind::file : update_kind::folder);
    for (int i = 0; i < 3000; i++)
        EXPECT_EQ(find(("name" + std::to_string(i)).c_str()),
                  i % 2 ? update_kind::file : update_kind::folder);
    EXPECT_EQ(find("name3000"), update_kind::nothing);
}
