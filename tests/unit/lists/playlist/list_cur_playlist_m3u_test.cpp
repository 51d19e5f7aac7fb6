/* M3U files: what is read, what is written, and what a kill leaves behind. */
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "support/traced.h"
#include "unit/lists/fake_program.h"

#include "lists/playlist/list_cur_playlist_m3u.h"
#include "platform/base/fault.h"

#include <dirent.h>
#include <sys/wait.h>

class list_cur_playlist_m3u : public lists_test
{
  protected:
    /* The paths that a playlist of these bytes in the scratch folder queues. */
    texts load(const std::string &bytes)
    {
        write_file("list.m3u", bytes);
        EXPECT_EQ(list_cur_playlist_load("list.m3u", 0, nullptr, 0), 0);
        return queued_paths();
    }
};

TEST_F(list_cur_playlist_m3u, reads_lines_that_end_either_way)
{
    EXPECT_EQ(load("/a.mp3\r\n/b.mp3\r\n"), (texts{"/a.mp3", "/b.mp3"}));
    EXPECT_EQ(load("/a.mp3\n/b.mp3\n"), (texts{"/a.mp3", "/b.mp3"}));
    EXPECT_EQ(load("/a.mp3\n\r\n\n/b.mp3"), (texts{"/a.mp3", "/b.mp3"}));
    EXPECT_EQ(load("/a.mp3\rrest\n"), (texts{"/a.mp3"})); /* to the first CR */
    EXPECT_EQ(load("\r/a.mp3\n"), texts{});
    EXPECT_EQ(load(""), texts{});
    EXPECT_EQ(load("\n\n\n"), texts{});
}

TEST_F(list_cur_playlist_m3u, skips_comments)
{
    EXPECT_EQ(load("#EXTM3U\r\n#EXTINF:12,Artist - Title\r\n/a.mp3\r\n#/b.mp3\r\n"),
              texts{"/a.mp3"});
    EXPECT_EQ(load(" #EXTM3U\n"), texts{at(" #EXTM3U")}); /* only in the first column */
}

TEST_F(list_cur_playlist_m3u, keeps_the_bytes_of_a_path)
{
    EXPECT_EQ(load("/ blank first\n/-dash\n/#hash\n/\xff\xfe\n/tab\there \n//double/../x\n"),
              (texts{"/ blank first", "/-dash", "/#hash", "/\xff\xfe", "/tab\there ",
                     "//double/../x"})); /* absolute lines are not normalised */
    EXPECT_EQ(load(" blank\n-dash\n"), (texts{at(" blank"), at("-dash")}));
    /* No character set is known here, so a byte order mark is part of the first path. */
    EXPECT_EQ(load("\xef\xbb\xbf/a.mp3\n"), texts{at("\xef\xbb\xbf/a.mp3")});
}

TEST_F(list_cur_playlist_m3u, stops_a_line_at_a_zero_byte)
{
    EXPECT_EQ(load(std::string("/a.mp3\0junk\n/b.mp3\n", 19)), (texts{"/a.mp3", "/b.mp3"}));
    EXPECT_EQ(load(std::string("\0/a.mp3\n", 8)), texts{});
    EXPECT_EQ(load(std::string(100000, '\0')), texts{});
}

TEST_F(list_cur_playlist_m3u, resolves_relative_lines_against_its_folder)
{
    make_dir("music");
    write_file("music/list.m3u", "x.mp3\na/../b.mp3\n../c.mp3\n./d.mp3\na//e.mp3\n");
    EXPECT_EQ(list_cur_playlist_load(at("music/list.m3u").c_str(), 0, nullptr, 0), 0);
    const texts expected = {at("music/x.mp3"), at("music/b.mp3"), at("c.mp3"), at("music/d.mp3"),
                            at("music/a/e.mp3")};
    EXPECT_EQ(queued_paths(), expected);

    /* Through a relative path of the playlist itself the same files come out. */
    EXPECT_EQ(list_cur_playlist_load("music/list.m3u", 0, nullptr, 0), 0);
    EXPECT_EQ(queued_paths(), expected);
    std::string saved;
    for (const std::string &path : expected)
        saved += path + "\r\n";
    EXPECT_EQ(read_file("current.m3u"), saved);
}

TEST_F(list_cur_playlist_m3u, climbs_no_higher_than_the_root)
{
    std::string up;
    for (int i = 0; i < 60; i++)
        up += "../";
    EXPECT_EQ(load(up + "x.mp3\n"), texts{"/x.mp3"});
}

TEST_F(list_cur_playlist_m3u, reads_lines_of_1023_bytes_whole)
{
    const std::string longest = "/" + std::string(1022, 'x');
    EXPECT_EQ(load(longest + "\r\n/b.mp3\r\n"), (texts{longest, "/b.mp3"}));
    EXPECT_EQ(load(longest + "\n/b.mp3\n"), (texts{longest, "/b.mp3"}));
    EXPECT_EQ(load(longest), texts{longest});
}

TEST_F(list_cur_playlist_m3u, goes_on_with_a_longer_line_as_another)
{
    const std::string longest = "/" + std::string(1022, 'x');
    EXPECT_EQ(load(longest + "rest\n/b.mp3\n"), (texts{longest, at("rest"), "/b.mp3"}));
    /* That holds for comments as well. */
    EXPECT_EQ(load("#" + std::string(1022, 'x') + "rest\n"), texts{at("rest")});
    EXPECT_EQ(load(std::string(1 << 20, 'y')).size(), 2u); /* 1023 at a time, and the remainder */
}

TEST_F(list_cur_playlist_m3u, queues_a_file_once_however_often_it_is_named)
{
    EXPECT_EQ(load("/a.mp3\n/a.mp3\n/b.mp3\n/a.mp3\n"), (texts{"/a.mp3", "/b.mp3"}));
}

TEST_F(list_cur_playlist_m3u, queues_files_that_do_not_exist)
{
    EXPECT_EQ(load("/nowhere/a.mp3\n"), texts{"/nowhere/a.mp3"});
    EXPECT_EQ(queued_names(), texts{"a.mp3"});
}

TEST_F(list_cur_playlist_m3u, replaces_and_moves_the_cursor)
{
    (void)load("/a.mp3\n/b.mp3\n");
    list_cur_playlist->cursor = 1;
    EXPECT_EQ(load("/c.mp3\n"), texts{"/c.mp3"});
    EXPECT_EQ(list_cur_playlist->cursor, 0);
    EXPECT_EQ(load("# nothing\n"), texts{});
    EXPECT_EQ(list_cur_playlist->cursor, -1);
    EXPECT_EQ(rows_of(list_cur_playlist), texts{});
}

TEST_F(list_cur_playlist_m3u, appends_and_leaves_the_cursor)
{
    (void)load("/a.mp3\n/b.mp3\n");
    list_cur_playlist->cursor = 1;
    write_file("more.m3u", "/b.mp3\n/c.mp3\n");
    EXPECT_EQ(list_cur_playlist_load("more.m3u", 1, nullptr, 0), 0);
    EXPECT_EQ(queued_paths(), (texts{"/a.mp3", "/b.mp3", "/c.mp3"}));
    EXPECT_EQ(list_cur_playlist->cursor, 1);
    EXPECT_EQ(rows_of(list_cur_playlist), (texts{"a.mp3", "b.mp3", "c.mp3"}));

    /* After a clear it stays on no row. */
    (void)choose(list_cur_playlist, 0, 3);
    EXPECT_EQ(list_cur_playlist_load("more.m3u", 1, nullptr, 0), 0);
    EXPECT_EQ(list_cur_playlist->cursor, -1);
}

TEST_F(list_cur_playlist_m3u, tells_the_first_path_even_of_a_file_that_is_queued)
{
    (void)load("/a.mp3\n");
    write_file("more.m3u", "#c\n\nmusic/../x.mp3\n/b.mp3\n");
    char first[512] = "";
    EXPECT_EQ(list_cur_playlist_load("more.m3u", 1, first, sizeof first), 0);
    EXPECT_EQ(first, at("x.mp3"));

    write_file("same.m3u", "/a.mp3\n");
    first[0] = '\0';
    EXPECT_EQ(list_cur_playlist_load("same.m3u", 1, first, sizeof first), 0);
    EXPECT_STREQ(first, "/a.mp3");

    EXPECT_EQ(list_cur_playlist_load("more.m3u", 1, first, sizeof first), 0);
    EXPECT_STREQ(first, "/a.mp3"); /* what stands there is not overwritten */

    write_file("none.m3u", "# nothing\n");
    first[0] = '\0';
    EXPECT_EQ(list_cur_playlist_load("none.m3u", 1, first, sizeof first), 0);
    EXPECT_STREQ(first, "");
}

TEST_F(list_cur_playlist_m3u, cuts_the_first_path_to_its_place)
{
    write_file("list.m3u", "/abcdef.mp3\n/b.mp3\n");
    char first[6] = "";
    EXPECT_EQ(list_cur_playlist_load("list.m3u", 1, first, sizeof first), 0);
    EXPECT_STREQ(first, "/abcd");
}

TEST_F(list_cur_playlist_m3u, leaves_the_playlist_alone_when_a_file_cannot_be_read)
{
    (void)load("/a.mp3\n");
    list_cur_playlist->cursor = 0;
    make_dir("folder.m3u");
    ASSERT_EQ(mkfifo("pipe.m3u", 0600), 0);
    const std::string endless = std::string(5000, 'x') + ".m3u";
    for (const char *bad : {"missing.m3u", "folder.m3u", "pipe.m3u", "", endless.c_str()}) {
        char first[512] = "";
        EXPECT_EQ(list_cur_playlist_load(bad, 0, first, sizeof first), -1) << bad;
        EXPECT_STREQ(first, "");
    }
    EXPECT_EQ(queued_paths(), texts{"/a.mp3"});
    EXPECT_EQ(list_cur_playlist->cursor, 0);
}

TEST_F(list_cur_playlist_m3u, reads_its_own_file_back_at_the_next_start)
{
    (void)load("/a.mp3\nb.mp3\n/ c\xff.mp3\n");
    const texts before = queued_paths();
    (void)list_cur_playlist->exit();
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(queued_paths(), before);
    EXPECT_EQ(list_cur_playlist->cursor, 0);
}

TEST_F(list_cur_playlist_m3u, keeps_names_that_its_format_can_carry)
{
    const texts odd = {"/m/ leading blank.mp3",
                       "/m/#hash.mp3",
                       "/m/-dash.mp3",
                       "/m/\xc3\x28 broken utf-8.mp3",
                       "/m/" + std::string(255, 'n'),
                       "/m/100%s %n.mp3"};
    for (const std::string &path : odd)
        EXPECT_EQ(list_cur_playlist_add(path.c_str(), nullptr, nullptr), 0);
    (void)list_cur_playlist->update(nullptr, nullptr);
    (void)list_cur_playlist->exit();
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(queued_paths(), odd);
}

TEST_F(list_cur_playlist_m3u, survives_names_that_its_format_cannot_carry)
{
    EXPECT_EQ(list_cur_playlist_add("/m/line\nbreak.mp3", nullptr, nullptr), 0);
    EXPECT_EQ(list_cur_playlist_add("#relative.mp3", nullptr, nullptr), 0);
    EXPECT_EQ(list_cur_playlist_add("/m/b.mp3", nullptr, nullptr), 0);
    (void)list_cur_playlist->update(nullptr, nullptr);
    EXPECT_EQ(rows_of(list_cur_playlist)[0], "line\nbreak.mp3");
    (void)list_cur_playlist->exit();
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(queued_paths(), (texts{"/m/line", at("break.mp3"), "/m/b.mp3"}));
}

TEST_F(list_cur_playlist_m3u, keeps_a_change_in_memory_when_its_folder_is_gone)
{
    make_dir("gone");
    ASSERT_EQ(chdir("gone"), 0);
    ASSERT_EQ(rmdir(at("gone").c_str()), 0);
    EXPECT_EQ(list_cur_playlist_add("/a.mp3", nullptr, nullptr), 0);
    EXPECT_EQ(list_cur_playlist->update(nullptr, nullptr), 0);
    EXPECT_EQ(rows_of(list_cur_playlist), texts{"a.mp3"});
    EXPECT_EQ(list_cur_playlist_m3u_save("current.m3u"), -1);
    ASSERT_EQ(chdir(folder), 0);
    EXPECT_EQ(list_cur_playlist_m3u_save("current.m3u"), 0);
    EXPECT_EQ(read_file("current.m3u"), "/a.mp3\r\n");
}

/* ---- what a start does to the file ---- */

static std::string many_lines(int count)
{
    std::string bytes;
    for (int i = 0; i < count; i++)
        bytes += "/music/" + std::to_string(i) + ".mp3\r\n";
    return bytes;
}

/* Ends the list, and starts it on this file. */
static void start_again_with(const std::string &bytes)
{
    (void)list_cur_playlist->exit();
    write_file("current.m3u", bytes);
    EXPECT_EQ(list_cur_playlist->init(), 0);
}

static ino_t file_number(const char *path)
{
    struct stat about = {};
    EXPECT_EQ(stat(path, &about), 0);
    return about.st_ino;
}

TEST_F(list_cur_playlist_m3u, writes_nothing_at_a_start_that_changes_nothing)
{
    for (const std::string &bytes : {many_lines(300), std::string()}) {
        (void)list_cur_playlist->exit();
        write_file("current.m3u", bytes);
        const ino_t before = file_number("current.m3u");
        EXPECT_EQ(list_cur_playlist->init(), 0);
        EXPECT_EQ(file_number("current.m3u"), before) << bytes.size();
        EXPECT_EQ(read_file("current.m3u"), bytes);
    }
}

TEST_F(list_cur_playlist_m3u, tidies_its_file_at_a_start)
{
    const std::string tidy = "/a.mp3\r\n/b.mp3\r\n";
    for (const char *bytes :
         {"#EXTM3U\r\n/a.mp3\r\n/b.mp3\r\n", "/a.mp3\r\n\r\n/b.mp3\r\n", "/a.mp3\n/b.mp3\n",
          "/a.mp3\r\n/b.mp3", "/a.mp3\r\n/a.mp3\r\n/b.mp3\r\n", "/a.mp3\r/c\r\n/b.mp3\r\n"}) {
        start_again_with(bytes);
        EXPECT_EQ(read_file("current.m3u"), tidy) << bytes;
    }
    start_again_with("a.mp3\r\n");
    EXPECT_EQ(read_file("current.m3u"), at("a.mp3") + "\r\n");
}

TEST_F(list_cur_playlist_m3u, leaves_a_file_that_could_not_be_opened_as_it_is)
{
    const std::string bytes = many_lines(2000);
    (void)list_cur_playlist->exit();
    write_file("current.m3u", bytes);
    fault_set("file_fopen:1");
    EXPECT_EQ(list_cur_playlist->init(), 0);
    fault_set(nullptr);
    EXPECT_EQ(queued_paths(), texts{});
    EXPECT_EQ(read_file("current.m3u"), bytes);
    EXPECT_EQ(read_file("current.m3u.old"), "(no file)");

    /* A change is kept, and so is what could not be read. */
    EXPECT_EQ(list_cur_playlist_add("/new.mp3", nullptr, nullptr), 0);
    (void)list_cur_playlist->update(nullptr, nullptr);
    EXPECT_EQ(read_file("current.m3u"), "/new.mp3\r\n");
    EXPECT_EQ(read_file("current.m3u.old"), bytes);
    EXPECT_EQ(list_cur_playlist_add("/newer.mp3", nullptr, nullptr), 0);
    (void)list_cur_playlist->update(nullptr, nullptr);
    EXPECT_EQ(read_file("current.m3u.old"), bytes);
}

TEST_F(list_cur_playlist_m3u, leaves_a_file_that_could_not_be_read_to_its_end_as_it_is)
{
    const std::string bytes = many_lines(2000);
    (void)list_cur_playlist->exit();
    write_file("current.m3u", bytes);
    fault_set("list_cur_playlist_read:373");
    EXPECT_EQ(list_cur_playlist->init(), 0);
    fault_set(nullptr);
    EXPECT_EQ(queued_paths().size(), 372u);
    EXPECT_EQ(read_file("current.m3u"), bytes);
    (void)choose(list_cur_playlist, 0, 2);
    EXPECT_EQ(read_file("current.m3u.old"), bytes);
}

TEST_F(list_cur_playlist_m3u, changes_nothing_for_a_playlist_that_breaks_off)
{
    (void)load("/a.mp3\n");
    write_file("more.m3u", many_lines(20));
    char first[512] = "";
    fault_set("list_cur_playlist_read:5");
    EXPECT_EQ(list_cur_playlist_load("more.m3u", 0, first, sizeof first), -1);
    fault_set(nullptr);
    EXPECT_STREQ(first, "");
    EXPECT_EQ(queued_paths(), texts{"/a.mp3"});
    EXPECT_EQ(read_file("current.m3u"), "/a.mp3\r\n");
}

TEST_F(list_cur_playlist_m3u, makes_the_file_behind_its_link)
{
    (void)list_cur_playlist->exit();
    ASSERT_EQ(remove("current.m3u"), 0);
    make_dir("card");
    ASSERT_EQ(symlink("card/list.m3u", "current.m3u"), 0);
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(read_file("card/list.m3u"), "");
    EXPECT_EQ(list_cur_playlist_add("/a.mp3", nullptr, nullptr), 0);
    (void)list_cur_playlist->update(nullptr, nullptr);
    EXPECT_EQ(read_file("card/list.m3u"), "/a.mp3\r\n");
    struct stat about;
    ASSERT_EQ(lstat("current.m3u", &about), 0);
    EXPECT_TRUE(S_ISLNK(about.st_mode));
}

TEST_F(list_cur_playlist_m3u, waits_for_nobody_at_a_pipe)
{
    (void)list_cur_playlist->exit();
    ASSERT_EQ(remove("current.m3u"), 0);
    ASSERT_EQ(mkfifo("current.m3u", 0600), 0);
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(list_cur_playlist_add("/a.mp3", nullptr, nullptr), 0);
    EXPECT_EQ(list_cur_playlist->update(nullptr, nullptr), 0);
    EXPECT_EQ(queued_paths(), texts{"/a.mp3"});
}

TEST_F(list_cur_playlist_m3u, removes_what_an_interrupted_save_left)
{
    write_file(".current.m3u.new", "half of");
    write_file(".current.m3u.new3", "half of");
    start_again_with("/a.mp3\r\n");
    EXPECT_EQ(read_file(".current.m3u.new"), "(no file)");
    EXPECT_EQ(read_file(".current.m3u.new3"), "(no file)");
    EXPECT_EQ(queued_paths(), texts{"/a.mp3"});
}

/* ---- kills ---- */

static std::string long_playlist(char letter)
{
    std::string bytes;
    for (int i = 0; i < 400; i++)
        bytes += "/music/" + std::string(40, letter) + "/" + std::to_string(i) + ".mp3\r\n";
    return bytes;
}

static size_t files_here()
{
    size_t count = 0;
    DIR *here = opendir(".");
    while (here && readdir(here))
        count++;
    closedir(here);
    return count;
}

TEST_F(list_cur_playlist_m3u, leaves_a_whole_file_behind_when_killed_at_any_moment)
{
    if (!traced_possible())
        GTEST_SKIP() << "an emulator stops no program at its calls";
    const std::string a = long_playlist('a');
    const std::string b = long_playlist('b');
    write_file("a.m3u", a);
    write_file("b.m3u", b);
    ASSERT_EQ(list_cur_playlist_load("a.m3u", 0, nullptr, 0), 0);
    const auto change = [] { return list_cur_playlist_load("b.m3u", 0, nullptr, 0) == 0 ? 0 : 1; };
    int seen_a = 0;
    int seen_b = 0;
    size_t most_files = 0;
    for (int stops = 0;; stops++) {
        ASSERT_EQ(list_cur_playlist_load("a.m3u", 0, nullptr, 0), 0);
        const traced_end end = traced_kill(change, stops);
        if (end == traced_end::ended)
            break;
        ASSERT_EQ(end, traced_end::killed);
        const std::string left = read_file("current.m3u");
        ASSERT_TRUE(left == a || left == b) << stops << ": " << left.size() << " bytes";
        (left == a ? seen_a : seen_b)++;
        most_files = std::max(most_files, files_here());
    }
    EXPECT_GT(seen_a, 10);
    EXPECT_GT(seen_b, 1);
    EXPECT_LE(most_files, 8u); /* ".", "..", three playlists, what the last kill left */
    EXPECT_EQ(list_cur_playlist_load("a.m3u", 0, nullptr, 0), 0);
    EXPECT_EQ(read_file("current.m3u"), a);
}
