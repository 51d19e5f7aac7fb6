/* The skins to fall back on. */
#include "config/cfg.h"

#include "unit/skin/skin_fixture.h"

#include <cstring>

struct cfg_skin : skin_test {
    void SetUp() override
    {
        skin_test::SetUp();
        cfg_modified = 0;
        memset(found, 'x', sizeof(found));
        found[sizeof(found) - 1] = '\0';
    }

    char found[512];
};

TEST_F(cfg_skin, names_the_default_package_for_both_screens)
{
    for (const char *part : {"play", "list"}) {
        cfg_set_default_skin_part(found, sizeof(found), part);
        EXPECT_STREQ(found, "skins/Aqua_Ver0.4.zip");
    }
    for (const char *part : {"", "Play", "playlist"}) {
        strcpy(found, "x");
        cfg_set_default_skin_part(found, sizeof(found), part);
        EXPECT_STREQ(found, "");
    }
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(cfg_skin, cuts_the_default_to_its_room)
{
    char small[6] = "xxxxx";
    cfg_set_default_skin_part(small, sizeof(small), "play");
    EXPECT_STREQ(small, "skins");
}

TEST_F(cfg_skin, finds_the_first_package_whose_part_loads)
{
    ASSERT_EQ(mkdir("skins", 0755), 0);
    make_zip("skins/bad.zip", {{"other.xml", skin_xml("")}});
    make_zip("skins/broken.zip", {{"list.xml", skin_xml("<img src=\"a.png\"/>")}, {"a.png", "-"}});
    make_zip("skins/good.zip", {{"list.xml", skin_xml("")}});
    make_zip("skins/later.zip", {{"list.xml", skin_xml("")}});
    write_file("skins/a.txt", "not a package");
    ASSERT_EQ(cfg_find_available_skin_part(found, sizeof(found), "list"), 0);
    EXPECT_STREQ(found, "skins/good.zip");
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_NE(part_owner(skin_read_part(found, "list")), nullptr);
}

TEST_F(cfg_skin, finds_folders_too)
{
    make_folder("skins/mine", {{"play.txt", skin_xml("")}});
    ASSERT_EQ(cfg_find_available_skin_part(found, sizeof(found), "play"), 0);
    EXPECT_STREQ(found, "skins/mine");
}

TEST_F(cfg_skin, does_not_take_the_folder_above_for_a_package)
{
    make_folder(".", {{"list.xml", skin_xml("")}});
    ASSERT_EQ(mkdir("skins", 0755), 0);
    EXPECT_EQ(cfg_find_available_skin_part(found, sizeof(found), "list"), -1);
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(cfg_skin, fails_without_a_package)
{
    EXPECT_EQ(cfg_find_available_skin_part(found, sizeof(found), "list"), -1);
    ASSERT_EQ(mkdir("skins", 0755), 0);
    EXPECT_EQ(cfg_find_available_skin_part(found, sizeof(found), "list"), -1);
    make_zip("skins/a.zip", {{"list.xml", skin_xml("")}});
    EXPECT_EQ(cfg_find_available_skin_part(found, sizeof(found), "play"), -1);
    EXPECT_EQ(found[0], 'x') << "a failure leaves the text";
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(cfg_skin, passes_over_a_path_that_does_not_fit)
{
    make_folder("skins/a_long_name", {{"list.xml", skin_xml("")}});
    make_folder("skins/b", {{"list.xml", skin_xml("")}});
    char small[10];
    ASSERT_EQ(cfg_find_available_skin_part(small, sizeof(small), "list"), 0);
    EXPECT_STREQ(small, "skins/b");
    EXPECT_EQ(cfg_find_available_skin_part(small, strlen("skins/b"), "list"), -1)
        << "no room for its end";
}
