#include "platform/file/file.h"

#include "support/scratch.h"

#include <clocale>
#include <cstring>

static std::vector<std::string> names_of(const file_listing &listing)
{
    return {listing.names, listing.names + listing.count};
}

static std::vector<std::string> list(const char *dir, file_filter filter = nullptr)
{
    file_listing listing;
    if (file_list_dir(&listing, dir, filter) != 0)
        return {"(fails)"};
    const std::vector<std::string> names = names_of(listing);
    file_free_dir(&listing);
    return names;
}

typedef std::vector<std::string> texts;

TEST(file_list, puts_the_parent_first_then_folders_then_files)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir z 10 9 && touch b A c1"), 0);
    file_listing listing;
    ASSERT_EQ(file_list_dir(&listing, ".", nullptr), 0);
    EXPECT_EQ(names_of(listing), (texts{"..", "9", "10", "z", "A", "b", "c1"}));
    EXPECT_EQ(listing.count, 7u);
    EXPECT_EQ(listing.dir_count, 4u);
    file_free_dir(&listing);
    EXPECT_EQ(listing.count, 0u);
    EXPECT_EQ(listing.names, nullptr);
    EXPECT_EQ(file_free_dir(&listing), 0);
}

TEST(file_list, sorts_numbers_as_numbers_and_letters_without_case)
{
    const scratch folder;
    ASSERT_EQ(system("touch '2 x' '10 x' b1 B2 b10 a 01 1 001 _ 未 'x 99999999999999999999999' "
                     "'x 100000000000000000000000' b 'b 1'"),
              0);
    EXPECT_EQ(list("."),
              (texts{"..", "001", "01", "1", "2 x", "10 x", "_", "a", "b", "b 1", "b1", "B2", "b10",
                     "x 99999999999999999999999", "x 100000000000000000000000", "未"}));
}

TEST(file_list, breaks_ties_by_bytes)
{
    const scratch folder;
    ASSERT_EQ(system("touch ab AB Ab aB a1b a01B"), 0);
    EXPECT_EQ(list("."), (texts{"..", "a01B", "a1b", "AB", "Ab", "aB", "ab"}));
}

TEST(file_list, is_the_same_in_every_language)
{
    const scratch folder;
    ASSERT_EQ(system("touch Z é e z É"), 0);
    const texts plain = list(".");
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    EXPECT_EQ(list("."), plain);
    setlocale(LC_ALL, "C");
    EXPECT_EQ(plain, (texts{"..", "e", "Z", "z", "É", "é"}));
}

TEST(file_list, gives_paths_that_start_with_the_folder_as_given)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir -p skins/sub && touch skins/a.zip"), 0);
    file_listing listing;
    ASSERT_EQ(file_list_dir(&listing, "skins", nullptr), 0);
    EXPECT_STREQ(listing.paths[0], "skins/..");
    EXPECT_STREQ(listing.paths[1], "skins/sub");
    EXPECT_STREQ(listing.paths[2], "skins/a.zip");
    file_free_dir(&listing);
    ASSERT_EQ(file_list_dir(&listing, "skins/", nullptr), 0);
    EXPECT_STREQ(listing.paths[2], "skins/a.zip");
    file_free_dir(&listing);
}

TEST(file_list, writes_the_parent_of_an_absolute_folder_out)
{
    const scratch folder;
    ASSERT_EQ(mkdir("sub", 0755), 0);
    file_listing listing;
    ASSERT_EQ(file_list_dir(&listing, (folder.path + "/sub").c_str(), nullptr), 0);
    EXPECT_STREQ(listing.names[0], "..");
    EXPECT_STREQ(listing.paths[0], folder.path.c_str());
    file_free_dir(&listing);
}

TEST(file_list, lists_a_parent_of_the_root_too)
{
    file_listing listing;
    ASSERT_EQ(file_list_dir(&listing, "/", nullptr), 0);
    EXPECT_STREQ(listing.names[0], "..");
    EXPECT_STREQ(listing.paths[0], "/");
    ASSERT_GT(listing.dir_count, 2u);
    EXPECT_EQ(std::string(listing.paths[1]), std::string("/") + listing.names[1]);
    file_free_dir(&listing);
}

TEST(file_list, leaves_out_what_is_neither_file_nor_folder)
{
    const scratch folder;
    ASSERT_EQ(system("mkfifo x.mp3 && ln -s missing broken && ln -s loop loop && touch real && "
                     "ln -s real link && mkdir d && ln -s d dlink"),
              0);
    file_listing listing;
    ASSERT_EQ(file_list_dir(&listing, ".", nullptr), 0);
    EXPECT_EQ(names_of(listing), (texts{"..", "d", "dlink", "link", "real"}));
    EXPECT_EQ(listing.dir_count, 3u);
    file_free_dir(&listing);
}

static int keep_large(const char *name, const struct stat *entry)
{
    EXPECT_EQ(strchr(name, '/'), nullptr);
    return S_ISDIR(entry->st_mode) || entry->st_size > 3;
}

TEST(file_list, asks_the_filter_with_name_and_state)
{
    const scratch folder;
    scratch_write("small", "abc");
    scratch_write("large", "abcd");
    ASSERT_EQ(symlink("large", "link"), 0);
    ASSERT_EQ(mkdir(".hidden", 0755), 0);
    EXPECT_EQ(list(".", keep_large), (texts{"..", ".hidden", "large", "link"}));
}

static int keep_nothing(const char *, const struct stat *)
{
    return 0;
}

TEST(file_list, has_room_for_any_number)
{
    const scratch folder;
    ASSERT_EQ(mkdir("d", 0755), 0);
    for (size_t count = 1; count <= 130; count++) {
        scratch_write("d/" + std::to_string(count), "");
        EXPECT_EQ(list("d", nullptr).size(), count + 1) << "with the parent";
    }
}

TEST(file_list, keeps_the_parent_whatever_the_filter_says)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir a && touch b"), 0);
    EXPECT_EQ(list(".", keep_nothing), texts{".."});
}

TEST(file_list, fails_with_an_empty_record)
{
    const scratch folder;
    scratch_write("file", "");
    for (const char *dir : {"missing", "file", "", static_cast<const char *>(nullptr)}) {
        file_listing listing;
        memset(&listing, 0x55, sizeof(listing));
        EXPECT_EQ(file_list_dir(&listing, dir, nullptr), -1);
        EXPECT_EQ(listing.count, 0u);
        EXPECT_EQ(listing.paths, nullptr);
        EXPECT_EQ(file_free_dir(&listing), 0);
    }
}

TEST(file_list, fails_for_a_folder_without_permission_and_leaves_out_hidden_entries)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir -m 0 closed && mkdir -m 744 nosearch && touch nosearch/x"), 0);
    const int result = scratch_as_nobody([] {
        file_listing listing;
        if (file_list_dir(&listing, "closed", nullptr) != -1)
            return 1;
        if (file_list_dir(&listing, "nosearch", nullptr) != 0)
            return 2;
        return listing.count == 1 ? 0 : 3; /* x cannot be looked at */
    });
    EXPECT_EQ(result, 0);
}

TEST(file_list, reads_names_that_are_no_text)
{
    const scratch folder;
    scratch_write("\xff\xfe bad", "");
    scratch_write("new\nline", "");
    const std::string longest(255, 'n');
    scratch_write(longest, "");
    EXPECT_EQ(list("."), (texts{"..", "new\nline", longest, "\xff\xfe bad"}));
}

/* A folder with so long a path, within the one at hand. */
static std::string make_deep(const scratch &in, size_t length)
{
    std::string path = in.path;
    while (path.size() < length) {
        const size_t left = length - path.size();
        const std::string name(left <= 201 ? left - 1 : left < 300 ? 100 : 200, 'd');
        EXPECT_EQ(mkdir(name.c_str(), 0755), 0);
        EXPECT_EQ(chdir(name.c_str()), 0);
        path += "/" + name;
    }
    EXPECT_EQ(path.size(), length);
    EXPECT_EQ(chdir(in.path.c_str()), 0);
    return path;
}

TEST(file_list, a_folder_whose_parent_cannot_be_named_is_refused)
{
    const scratch folder;
    const std::string longest = make_deep(folder, PATH_MAX - 4); /* with "/.." and an end */
    EXPECT_EQ(list(longest.c_str()), (texts{".."}));
    const scratch other;
    const std::string longer = make_deep(other, PATH_MAX - 3);
    file_listing listing = {};
    EXPECT_EQ(file_list_dir(&listing, longer.c_str(), nullptr), -1);
    EXPECT_EQ(listing.count, 0u);
}
