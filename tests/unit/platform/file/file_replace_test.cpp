#include "unit/platform/file/file_replace_fixture.h"

#include "support/scratch.h"
#include "support/traced.h"

#include <cstring>
#include <sys/file.h>
#include <sys/resource.h>
#include <thread>

TEST(file_replace, makes_a_file_and_replaces_it)
{
    const scratch folder;
    EXPECT_EQ(replace("a", "one"), 0);
    EXPECT_EQ(scratch_read("a"), "one");
    EXPECT_EQ(replace("./a", "2"), 0);
    EXPECT_EQ(scratch_read("a"), "2");
    EXPECT_EQ(replace((folder.path + "/a").c_str(), ""), 0);
    EXPECT_EQ(scratch_read("a"), "");
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

TEST(file_replace, shows_nothing_before_the_commit)
{
    const scratch folder;
    scratch_write("a", "old");
    file_replacement *replacement = file_replace_open("a");
    ASSERT_NE(replacement, nullptr);
    fputs("new", file_replace_stream(replacement));
    fflush(file_replace_stream(replacement));
    EXPECT_EQ(scratch_read("a"), "old");
    file_replace_cancel(replacement);
    EXPECT_EQ(scratch_read("a"), "old");
    EXPECT_EQ(scratch_names("."), texts{"a"});
    file_replace_cancel(nullptr);
    EXPECT_EQ(file_replace_commit(nullptr), -1);
}

TEST(file_replace, keeps_the_mode_of_the_file)
{
    const scratch folder;
    scratch_write("a", "old");
    ASSERT_EQ(chmod("a", 0751), 0);
    EXPECT_EQ(replace("a", "new"), 0);
    struct stat entry;
    ASSERT_EQ(stat("a", &entry), 0);
    EXPECT_EQ(entry.st_mode & 07777, 0751u);
}

TEST(file_replace, gives_a_new_file_the_usual_mode)
{
    const scratch folder;
    const mode_t before = umask(027);
    EXPECT_EQ(replace("a", "new"), 0);
    umask(before);
    struct stat entry;
    ASSERT_EQ(stat("a", &entry), 0);
    EXPECT_EQ(entry.st_mode & 07777, 0640u);
}

TEST(file_replace, replaces_what_a_link_points_at)
{
    const scratch folder;
    ASSERT_EQ(mkdir("d", 0755), 0);
    scratch_write("d/real", "old");
    ASSERT_EQ(symlink("d/real", "link"), 0);
    EXPECT_EQ(replace("link", "new"), 0);
    EXPECT_EQ(scratch_read("d/real"), "new");
    struct stat entry;
    ASSERT_EQ(lstat("link", &entry), 0);
    EXPECT_TRUE(S_ISLNK(entry.st_mode));
}

TEST(file_replace, makes_the_file_that_a_link_names)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir -p d/e && ln -s d/first link && ln -s e/../e/real d/first"), 0);
    EXPECT_EQ(replace("link", "new"), 0);
    EXPECT_EQ(scratch_read("d/e/real"), "new");
    struct stat entry;
    ASSERT_EQ(lstat("link", &entry), 0);
    EXPECT_TRUE(S_ISLNK(entry.st_mode));
    ASSERT_EQ(lstat("d/first", &entry), 0);
    EXPECT_TRUE(S_ISLNK(entry.st_mode));
    EXPECT_EQ(scratch_names("d/e"), texts{"real"});
}

TEST(file_replace, waits_for_no_reader_of_a_pipe)
{
    const scratch folder;
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    EXPECT_EQ(replace("pipe", "for nobody"), -1);
    const int reader = open("pipe", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(replace("pipe", "for you"), 0);
    char said[8] = "";
    EXPECT_EQ(read(reader, said, 7), 7);
    EXPECT_STREQ(said, "for you");
    EXPECT_EQ(replace("pipe", std::string(1 << 20, 'x')), -1) << "more than a pipe holds";
    close(reader);
}

TEST(file_replace, refuses_folders_missing_folders_and_links_to_nowhere)
{
    const scratch folder;
    ASSERT_EQ(mkdir("d", 0755), 0);
    ASSERT_EQ(symlink("nowhere/file", "link"), 0);
    ASSERT_EQ(symlink("loop", "loop"), 0);
    EXPECT_EQ(file_replace_open("d"), nullptr);
    EXPECT_EQ(file_replace_open("loop"), nullptr);
    EXPECT_EQ(file_replace_open("missing/a"), nullptr);
    EXPECT_EQ(file_replace_open("link"), nullptr);
    EXPECT_EQ(file_replace_open(""), nullptr);
    EXPECT_EQ(file_replace_open(nullptr), nullptr);
}

TEST(file_replace, lets_sixteen_write_a_file_at_once)
{
    const scratch folder;
    std::vector<file_replacement *> writers;
    for (int i = 0; i < 16; i++) {
        writers.push_back(file_replace_open("a"));
        ASSERT_NE(writers.back(), nullptr) << i;
    }
    EXPECT_EQ(file_replace_open("a"), nullptr);
    for (file_replacement *writer : writers)
        file_replace_cancel(writer);
    EXPECT_EQ(scratch_names("."), texts{});
    for (const char *name : {".a.new", ".a.new15", ".a.new16"})
        scratch_write(name, "left");
    file_replace_sweep("a");
    EXPECT_EQ(scratch_names("."), texts{".a.new16"}) << "nobody's name";
}

/* A program that was started without a standard input. */
static bool is_zero_free()
{
    return fcntl(0, F_GETFD) < 0;
}

TEST(file_replace, may_get_the_descriptor_zero)
{
    const scratch folder;
    scratch_write("a", "old");
    ASSERT_EQ(system("mkdir -p t/d && touch t/d/x"), 0);
    const auto work = [] {
        close(0);
        if (replace("made", "new") != 0 || !is_zero_free())
            return 1;
        if (replace("a", "newer") != 0 || !is_zero_free())
            return 2;
        if (file_keep_old("a") != 0 || !is_zero_free())
            return 3;
        scratch_write(".a.new", "left by a writer that was killed");
        file_replace_sweep("a");
        if (scratch_exists(".a.new") || !is_zero_free())
            return 4;
        return file_remove("t") == 0 && is_zero_free() ? 0 : 5;
    };
    EXPECT_EQ(scratch_in_child(work), 0);
    EXPECT_EQ(scratch_read("a.old"), "newer");
    ASSERT_EQ(mkdir("closed", 0755), 0);
    scratch_write("closed/a", "a longer old content");
    ASSERT_EQ(chmod("closed/a", 0666), 0);
    ASSERT_EQ(chmod("closed", 0555), 0);
    const auto work_in_place = [] {
        close(0);
        return replace("closed/a", "new") == 0 && is_zero_free() ? 0 : 1;
    };
    EXPECT_EQ(scratch_as_nobody(work_in_place), 0);
    EXPECT_EQ(scratch_read("closed/a"), "new");
}

TEST(file_replace, follows_as_many_links_as_the_system)
{
    const scratch folder;
    std::string last = "target";
    for (int links = 1; links <= 41; links++) {
        const std::string link = "link" + std::to_string(links);
        ASSERT_EQ(symlink(last.c_str(), link.c_str()), 0);
        last = link;
        if (links < 39)
            continue;
        const int fd = open(link.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        EXPECT_EQ(fd >= 0, links <= 40) << "what the system does";
        if (fd >= 0)
            close(fd);
        (void)remove("target");
        EXPECT_EQ(replace(link.c_str(), "new"), links <= 40 ? 0 : -1) << links;
        EXPECT_EQ(scratch_exists("target"), links <= 40) << links;
        (void)remove("target");
    }
}

TEST(file_replace, sweeps_away_what_a_killed_writer_left)
{
    const scratch folder;
    scratch_write("a", "old");
    scratch_write(".a.new", "half of some");
    ASSERT_EQ(chmod(".a.new", 0400), 0);
    EXPECT_EQ(replace("a", "new"), 0);
    EXPECT_EQ(scratch_read("a"), "new");
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

TEST(file_replace, leaves_the_file_of_a_writer_at_work_alone)
{
    const scratch folder;
    file_replacement *first = file_replace_open("a");
    file_replacement *second = file_replace_open("a");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    fputs("first", file_replace_stream(first));
    fputs("second", file_replace_stream(second));
    EXPECT_EQ(file_replace_commit(second), 0);
    EXPECT_EQ(scratch_read("a"), "second");
    EXPECT_EQ(file_replace_commit(first), 0);
    EXPECT_EQ(scratch_read("a"), "first");
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

TEST(file_replace, follows_no_link_under_its_own_name)
{
    const scratch folder;
    scratch_write("victim", "safe");
    ASSERT_EQ(symlink("victim", ".a.new"), 0);
    EXPECT_EQ(replace("a", "new"), 0);
    EXPECT_EQ(scratch_read("victim"), "safe");
    EXPECT_EQ(scratch_read("a"), "new");
}

TEST(file_replace, accepts_the_longest_name)
{
    const scratch folder;
    const std::string name(255, 'n');
    EXPECT_EQ(replace(name.c_str(), "one"), 0);
    EXPECT_EQ(replace(name.c_str(), "two"), 0);
    EXPECT_EQ(scratch_read(name), "two");
}

TEST(file_replace, writes_in_place_where_the_folder_is_closed)
{
    const scratch folder;
    ASSERT_EQ(mkdir("closed", 0755), 0);
    scratch_write("closed/a", "a longer old content");
    ASSERT_EQ(chmod("closed/a", 0666), 0);
    ASSERT_EQ(chmod("closed", 0555), 0);
    const int result = scratch_as_nobody([] {
        file_replacement *cancelled = file_replace_open("closed/a");
        if (!cancelled)
            return 1;
        fputs("dropped", file_replace_stream(cancelled));
        file_replace_cancel(cancelled);
        if (scratch_read("closed/a") != "a longer old content")
            return 2;
        return replace("closed/a", "new") == 0 ? 0 : 3;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(scratch_read("closed/a"), "new");
    EXPECT_EQ(scratch_names("closed"), texts{"a"});
}

TEST(file_replace, refuses_a_file_without_permission)
{
    const scratch folder;
    ASSERT_EQ(mkdir("open", 0777), 0);
    ASSERT_EQ(chmod("open", 0777), 0);
    scratch_write("open/a", "old");
    ASSERT_EQ(chmod("open/a", 0444), 0);
    EXPECT_EQ(scratch_as_nobody([] { return replace("open/a", "new") == -1 ? 0 : 1; }), 0);
    EXPECT_EQ(scratch_as_nobody([] { return replace("/nobody-may-write-here", "") == -1 ? 0 : 1; }),
              0);
    EXPECT_EQ(scratch_read("open/a"), "old");
    EXPECT_EQ(scratch_names("open"), texts{"a"});
}

TEST(file_replace, copies_over_a_file_that_may_not_be_renamed_over)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can make a file of another user";
    const scratch folder;
    ASSERT_EQ(mkdir("sticky", 0755), 0);
    ASSERT_EQ(chmod("sticky", 01777), 0);
    scratch_write("sticky/a", "a longer old content");
    ASSERT_EQ(chmod("sticky/a", 0666), 0);
    EXPECT_EQ(scratch_as_nobody([] { return replace("sticky/a", "new") == 0 ? 0 : 1; }), 0);
    EXPECT_EQ(scratch_read("sticky/a"), "new");
    EXPECT_EQ(scratch_names("sticky"), texts{"a"});
}

TEST(file_replace, writes_to_a_device)
{
    EXPECT_EQ(replace("/dev/null", "gone"), 0);
    struct stat entry;
    ASSERT_EQ(stat("/dev/null", &entry), 0);
    EXPECT_TRUE(S_ISCHR(entry.st_mode));
    EXPECT_EQ(replace("/dev/full", "no room"), -1);
}

TEST(file_replace, keeps_the_old_content_when_the_disk_is_full)
{
    const scratch folder;
    scratch_write("a", "old");
    const int result = scratch_as_nobody([] { return 0; });
    ASSERT_EQ(result, 0);
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(replace("a", std::string(5000, 'x')) == -1 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(scratch_read("a"), "old");
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

TEST(file_replace, lets_many_threads_write_one_file)
{
    const scratch folder;
    auto writer = [](char letter) {
        for (int i = 0; i < 50; i++)
            EXPECT_EQ(replace("a", std::string(3000, letter)), 0);
    };
    std::thread one(writer, 'x');
    std::thread two(writer, 'y');
    one.join();
    two.join();
    const std::string content = scratch_read("a");
    EXPECT_TRUE(content == std::string(3000, 'x') || content == std::string(3000, 'y'));
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

TEST(file_replace, leaves_a_whole_file_whenever_the_writer_is_killed)
{
    if (!traced_possible())
        GTEST_SKIP() << "an emulator stops no program at its calls";
    const scratch folder;
    const std::string before(5000, 'a'), after(8000, 'b');
    int old_ones = 0, new_ones = 0;
    for (int stops = 0;; stops++) {
        ASSERT_EQ(replace("a", before), 0);
        const traced_end end = traced_kill([&] { return replace("a", after) == 0 ? 0 : 1; }, stops);
        if (end == traced_end::ended)
            break;
        ASSERT_EQ(end, traced_end::killed);
        const std::string left = scratch_read("a");
        ASSERT_TRUE(left == before || left == after) << "stop " << stops << ", " << left.size();
        (left == before ? old_ones : new_ones)++;
    }
    EXPECT_GT(old_ones, 10);
    EXPECT_GT(new_ones, 1) << "no kill came behind the rename";
    /* At most what the last one left stays beside it, and the next writer sweeps that away. */
    ASSERT_EQ(replace("a", "end"), 0);
    EXPECT_EQ(scratch_names("."), texts{"a"});
}
