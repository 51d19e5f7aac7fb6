/* Packages: names, walks of archives and folders, and what is refused. */
#include "skin/skin_package.h"

#include "unit/skin/skin_fixture.h"

#include <cstring>

struct skin_package_test : skin_test {
};

static bool matches(const char *name, const char *wanted_part, int32_t wanted_variant)
{
    char part[skin_name_size];
    int32_t variant = -1;
    return skin_match_part(name, part, &variant) && strcmp(part, wanted_part) == 0 &&
           variant == wanted_variant;
}

static int note_name(skin_package *, const char *name, void *user)
{
    static_cast<std::vector<std::string> *>(user)->push_back(name);
    return 0;
}

static int refuse_name(skin_package *, const char *, void *)
{
    return -1;
}

static int take_first(skin_package *, const char *, void *)
{
    return 1;
}

/* The names that a walk visits; "failed" at the end when it fails. */
static std::vector<std::string> walk(const char *path, bool deep)
{
    std::vector<std::string> names;
    skin_package package;
    if (skin_package_open(&package, path) != 0)
        return {"not opened"};
    if (skin_package_walk(&package, deep, note_name, &names) != 0)
        names.push_back("failed");
    EXPECT_EQ(skin_package_close(&package), 0);
    return names;
}

using names = std::vector<std::string>;

TEST_F(skin_package_test, tells_part_files_by_their_names)
{
    EXPECT_TRUE(matches("list.xml", "list", 0));
    EXPECT_TRUE(matches("list2.xml", "list", 2));
    EXPECT_TRUE(matches("list-2.txt", "list", 2));
    EXPECT_TRUE(matches("list-0.xml", "list", 0));
    EXPECT_TRUE(matches("list007.txt", "list", 7));
    EXPECT_TRUE(matches("play_big.xml", "play_big", 0));
    EXPECT_TRUE(matches("list99999999999.xml", "list", INT32_MAX));
    char part[skin_name_size];
    int32_t variant = 0;
    for (const char *name :
         {"List.xml", "my-list.xml", "skin/list.xml", "list--2.xml", "list-.xml", "list2a.xml",
          "list.XML", ".xml", "list.xml.bak", " list.xml", "list.xml\n", "l\xC3\xADst.xml", ""})
        EXPECT_FALSE(skin_match_part(name, part, &variant)) << name;
}

TEST_F(skin_package_test, matches_nothing_before_it_is_ready)
{
    char part[skin_name_size];
    int32_t variant = 0;
    ASSERT_EQ(skin_exit(), 0);
    EXPECT_FALSE(skin_match_part("list.xml", part, &variant));
    EXPECT_EQ(skin_exit(), 0);
    EXPECT_EQ(skin_init(), 0);
    EXPECT_EQ(skin_init(), 0);
}

TEST_F(skin_package_test, filters_the_skins_folder)
{
    struct stat folder = {}, file = {};
    folder.st_mode = S_IFDIR | 0755;
    file.st_mode = S_IFREG | 0644;
    EXPECT_EQ(skin_file_filter("anything", &folder), 1);
    EXPECT_EQ(skin_file_filter("..", &folder), 1);
    EXPECT_EQ(skin_file_filter("x.ZIP", &file), 1);
    EXPECT_EQ(skin_file_filter("x.zip", &file), 1);
    EXPECT_EQ(skin_file_filter("x.zip.bak", &file), 0);
    EXPECT_EQ(skin_file_filter("x.zi", &file), 0);
    EXPECT_EQ(skin_file_filter("zip", &file), 0);
    EXPECT_EQ(skin_file_filter(".zip", &file), 0);
}

TEST_F(skin_package_test, walks_an_archive_in_its_order_without_folders)
{
    maker_zip *zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_folder(zip, "images"), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "play.xml", "p"), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "images/b.png", "b"), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "list.xml", "l"), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(walk("a.zip", false), (names{"play.xml", "images/b.png", "list.xml"}));
    EXPECT_EQ(walk("a.zip", true), (names{"play.xml", "images/b.png", "list.xml"}));
}

TEST_F(skin_package_test, walks_a_folder_at_its_top_or_whole)
{
    make_folder(
        "f", {{"list.xml", ""}, {"b/c/d.png", ""}, {"b/a.png", ""}, {"10.png", ""}, {"2.png", ""}});
    EXPECT_EQ(walk("f", false), (names{"2.png", "10.png", "list.xml"}));
    EXPECT_EQ(walk("f", true), (names{"2.png", "10.png", "list.xml", "b/a.png", "b/c/d.png"}));
    EXPECT_EQ(walk("f/", true), walk("f", true));
}

TEST_F(skin_package_test, opens_neither_missing_paths_nor_other_files)
{
    write_file("plain.zip", "this is no archive");
    write_file("empty.zip", "");
    const int before = count_open_files();
    EXPECT_EQ(walk("missing", false), names{"not opened"});
    EXPECT_EQ(walk("plain.zip", false), names{"not opened"});
    EXPECT_EQ(walk("empty.zip", false), names{"not opened"});
    EXPECT_EQ(walk("", false), names{"not opened"});
    EXPECT_EQ(walk(std::string(5000, 'a').c_str(), false), names{"not opened"});
    make_zip("none.zip", {});
    EXPECT_EQ(walk("none.zip", false), names{"not opened"});
    EXPECT_EQ(count_open_files(), before);
}

TEST_F(skin_package_test, ends_a_walk_when_the_visit_wants_it)
{
    make_zip("a.zip", {{"a", ""}, {"b", ""}});
    make_folder("f", {{"a", ""}, {"b/c", ""}});
    for (const char *path : {"a.zip", "f"}) {
        skin_package package;
        ASSERT_EQ(skin_package_open(&package, path), 0);
        EXPECT_EQ(skin_package_walk(&package, true, take_first, nullptr), 1);
        EXPECT_EQ(skin_package_walk(&package, true, refuse_name, nullptr), -1);
        EXPECT_EQ(skin_package_close(&package), 0);
        EXPECT_EQ(skin_package_close(&package), 0);
    }
}

static int read_member(skin_package *package, const char *, void *user)
{
    std::string *content = static_cast<std::string *>(user);
    if (skin_member_open(package) != 0)
        return content->append("[closed]"), 0;
    char buffer[7];
    int got = 0;
    while ((got = skin_member_read(package, buffer, sizeof(buffer))) > 0)
        content->append(buffer, static_cast<size_t>(got));
    content->append(got < 0 ? "[failed]" : ";");
    if (skin_member_close(package) != 0)
        content->append("[damaged]");
    return 0;
}

static std::string read_all(const char *path)
{
    std::string content;
    skin_package package;
    EXPECT_EQ(skin_package_open(&package, path), 0);
    EXPECT_EQ(skin_package_walk(&package, true, read_member, &content), 0);
    EXPECT_EQ(skin_package_close(&package), 0);
    return content;
}

TEST_F(skin_package_test, reads_members_of_both_kinds)
{
    const members files = {{"a", "first content"}, {"b", ""}, {"c/d", "third"}};
    make_zip("a.zip", files);
    make_folder("f", files);
    EXPECT_EQ(read_all("a.zip"), "first content;;third;");
    EXPECT_EQ(read_all("f"), "first content;;third;");
}

TEST_F(skin_package_test, tells_a_wrong_checksum_when_a_member_closes)
{
    maker_zip *zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "a", "content", 7), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "b", "good"), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(read_all("a.zip"), "content;[damaged]good;");
}

TEST_F(skin_package_test, reads_no_more_of_a_member_than_it_declares)
{
    maker_zip *zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_lie(zip, "a", "a long content", 14, 6), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(read_all("a.zip").substr(0, 7), "a long;");
}

TEST_F(skin_package_test, opens_no_member_above_the_limit)
{
    maker_zip *zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bomb(zip, "a", 0, skin_limit_member + 1), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "b", "small"), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(read_all("a.zip"), "[closed]small;");
    zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bomb(zip, "a", 'x', skin_limit_member), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    skin_package package;
    ASSERT_EQ(skin_package_open(&package, "a.zip"), 0);
    int opened = -1;
    const auto open = [](skin_package *of, const char *, void *result) {
        *static_cast<int *>(result) = skin_member_open(of);
        return skin_member_close(of);
    };
    (void)skin_package_walk(&package, true, open, &opened);
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(skin_package_close(&package), 0);
}

TEST_F(skin_package_test, keeps_duplicate_names_apart)
{
    make_zip("a.zip", {{"list.xml", "one"}, {"list.xml", "two"}, {"b", "three"}});
    EXPECT_EQ(read_all("a.zip"), "one;two;three;");
}

TEST_F(skin_package_test, reads_members_with_long_names)
{
    const std::string longest(511, 'n'), longer(300, 'm');
    make_zip("a.zip", {{longest, "511"},
                       {longer, "300"},
                       {std::string(512, 'o'), "512"},
                       {std::string(2000, 'p'), "2000"}});
    EXPECT_EQ(walk("a.zip", false), (names{longest, longer}));
    EXPECT_EQ(read_all("a.zip"), "511;300;");
}

static std::string left_out(const char *path, bool deep)
{
    skin_package package;
    EXPECT_EQ(skin_package_open(&package, path), 0);
    names found;
    EXPECT_EQ(skin_package_walk(&package, deep, note_name, &found), 0);
    const std::string told =
        package.left_out ? std::string(package.left_out_name) + ": " + package.left_out : "";
    EXPECT_EQ(skin_package_close(&package), 0);
    return told;
}

TEST(skin_name, leaves_the_folder_when_it_is_absolute_or_climbs)
{
    for (const char *name : {"/etc/x", "\\x", "../x", "a/../../x", "a\\..\\x", "..", "a/..", "C:x",
                             "c:\\x", "..\\x", "a//../b"})
        EXPECT_TRUE(skin_name_leaves(name)) << name;
    for (const char *name : {"a", "a/b", "..a", "a..", "a/..b/c", "...", "", "a/", ".", "./a"})
        EXPECT_FALSE(skin_name_leaves(name)) << name;
}

TEST_F(skin_package_test, takes_archives_whose_names_leave_the_folder)
{
    /* Nothing is ever written from them. */
    for (const char *name : {"../x", "/x", "a/../../x", "C:\\x", "\\x"}) {
        make_zip("a.zip", {{name, ""}, {"list.xml", ""}});
        EXPECT_EQ(walk("a.zip", false), (names{name, "list.xml"})) << name;
    }
}

TEST_F(skin_package_test, leaves_out_links_of_an_archive)
{
    maker_zip *zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_link(zip, "list.xml", "/etc/passwd"), 0);
    ASSERT_EQ(maker_zip_add(zip, "play.xml", "", 0, maker_zip_store), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(walk("a.zip", false), names{"play.xml"});
    EXPECT_EQ(left_out("a.zip", false), "list.xml: a member is a symbolic link");
}

TEST_F(skin_package_test, refuses_archives_with_too_many_entries)
{
    maker_zip *zip = maker_zip_open("a.zip");
    ASSERT_NE(zip, nullptr);
    char name[32];
    for (uint32_t i = 0; i <= skin_limit_entries; i++) {
        snprintf(name, sizeof(name), "%u", i);
        ASSERT_EQ(maker_zip_add(zip, name, "", 0, maker_zip_store), 0);
    }
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(walk("a.zip", false).back(), "failed");
}

static void put(std::string *to, uint64_t value, int bytes)
{
    for (int i = 0; i < bytes; i++)
        to->push_back(static_cast<char>(value >> (8 * i)));
}

/* An archive that is nothing but the records of its end, in the form for large archives. */
static std::string empty_archive_of(uint64_t entries)
{
    std::string bytes = "........PK\x06\x06"; /* the library takes a record at 0 for none */
    put(&bytes, 44, 8);
    bytes.append(12, '\0'); /* versions, disks */
    put(&bytes, entries, 8);
    put(&bytes, entries, 8);
    bytes.append(16, '\0'); /* the directory's size and place */
    bytes += "PK\x06\x07";
    put(&bytes, 0, 4);
    put(&bytes, 8, 8);
    put(&bytes, 1, 4);
    bytes += "PK\x05\x06";
    put(&bytes, 0, 4);
    put(&bytes, UINT64_MAX, 8);
    put(&bytes, UINT64_MAX, 4);
    put(&bytes, 0, 2);
    return bytes;
}

TEST_F(skin_package_test, refuses_archives_that_claim_too_many_entries)
{
    skin_package package;
    write_file("a.zip", empty_archive_of(skin_limit_entries + 1));
    EXPECT_EQ(skin_package_open(&package, "a.zip"), -1);
    EXPECT_STREQ(package.reason, "the archive has too many entries");
    write_file("a.zip", empty_archive_of(0));
    EXPECT_EQ(skin_package_open(&package, "a.zip"), -1);
    EXPECT_STREQ(package.reason, "the archive is empty or damaged");
    write_file("a.zip", empty_archive_of(skin_limit_entries));
    ASSERT_EQ(skin_package_open(&package, "a.zip"), 0);
    EXPECT_EQ(skin_package_walk(&package, false, refuse_name, nullptr), -1);
    EXPECT_STREQ(package.reason, "the archive is damaged");
    EXPECT_EQ(skin_package_close(&package), 0);
}

TEST_F(skin_package_test, survives_archives_cut_off_or_changed_anywhere)
{
    make_zip("whole.zip", {{"list.xml", "some content"}, {"a/b.png", std::string(300, 'x')}});
    FILE *file = fopen("whole.zip", "rb");
    ASSERT_NE(file, nullptr);
    char bytes[4096];
    const size_t size = fread(bytes, 1, sizeof(bytes), file);
    ASSERT_EQ(fclose(file), 0);
    const int before = count_open_files();
    for (size_t i = 0; i < size; i++) {
        std::string changed(bytes, size);
        changed[i] = static_cast<char>(changed[i] ^ 0xFF);
        write_file("cut.zip", std::string(bytes, i));
        write_file("changed.zip", changed);
        for (const char *path : {"cut.zip", "changed.zip"}) {
            std::string content;
            skin_package package;
            if (skin_package_open(&package, path) != 0)
                continue;
            (void)skin_package_walk(&package, true, read_member, &content);
            (void)skin_package_close(&package);
            EXPECT_LE(content.size(), 2000u);
        }
    }
    EXPECT_EQ(count_open_files(), before);
}

TEST_F(skin_package_test, does_not_follow_a_link_back_to_a_folder_above)
{
    make_folder("f", {{"a.png", ""}, {"b/c.png", ""}});
    ASSERT_EQ(symlink("..", "f/b/up"), 0);
    ASSERT_EQ(symlink(".", "f/b/self"), 0);
    EXPECT_EQ(walk("f", true), (names{"a.png", "b/c.png"}));
}

TEST_F(skin_package_test, ends_in_a_maze_of_links)
{
    for (char a = 'a'; a < 'm'; a++) {
        make_folder(std::string("f/") + a, {{"x.png", ""}});
        for (char b = 'a'; b < 'm'; b++)
            ASSERT_EQ(symlink((std::string("../") + b).c_str(),
                              (std::string("f/") + a + "/to_" + b).c_str()),
                      0);
    }
    const names found = walk("f", true);
    EXPECT_EQ(found.back(), "failed");
    EXPECT_LE(found.size(), skin_limit_entries + 1);
}

TEST_F(skin_package_test, leaves_out_folders_that_are_too_deep)
{
    std::string path = "f";
    for (uint32_t i = 0; i < skin_limit_depth; i++)
        path += "/d";
    make_folder(path, {{"x", ""}});
    EXPECT_EQ(walk("f", true).size(), 1u);
    EXPECT_EQ(left_out("f", true), "");
    make_folder(path + "/d", {{"y", ""}});
    make_folder("f/e", {{"z", ""}});
    EXPECT_EQ(walk("f", true), (names{path.substr(2) + "/x", "e/z"}));
    EXPECT_EQ(left_out("f", true), path.substr(2) + "/d/: a folder is too deep");
    EXPECT_EQ(walk("f", false), names{});
}
