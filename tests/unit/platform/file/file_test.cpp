#include "platform/file/file.h"

#include "platform/base/fault.h"
#include "support/scratch.h"

#include <climits>
#include <cstring>

static std::string resolved(const char *path, size_t size = 512)
{
    std::string out(size, '#');
    return file_resolve_path(path, out.data(), size) == 0 ? out.c_str() : "(fails)";
}

static std::string basename_of(std::string path)
{
    path.push_back('\0');
    return file_basename(path.data());
}

static std::string dirname_of(std::string path)
{
    path.push_back('\0');
    return file_dirname(path.data());
}

TEST(file_fopen, closes_on_exec_and_makes_no_folders)
{
    const scratch folder;
    FILE *file = file_fopen("a.txt", "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_NE(fcntl(fileno(file), F_GETFD) & FD_CLOEXEC, 0);
    fclose(file);
    EXPECT_EQ(file_fopen("missing/a.txt", "wb"), nullptr);
    EXPECT_EQ(file_fopen("missing.txt", "rb"), nullptr);
    EXPECT_EQ(file_fopen(nullptr, "rb"), nullptr);
}

TEST(file_fopen, opens_for_reading_as_for_writing)
{
    const scratch folder;
    scratch_write("a.txt", "text");
    for (const char *mode : {"r", "rb", "r+b"}) {
        FILE *file = file_fopen("a.txt", mode);
        ASSERT_NE(file, nullptr) << mode;
        EXPECT_NE(fcntl(fileno(file), F_GETFD) & FD_CLOEXEC, 0) << mode;
        EXPECT_EQ(fcntl(fileno(file), F_GETFL) & O_NONBLOCK, 0) << mode;
        EXPECT_EQ(fgetc(file), 't') << mode;
        EXPECT_EQ(fclose(file), 0);
    }
}

TEST(file_fopen, does_not_wait_for_a_writer_of_a_pipe)
{
    const scratch folder;
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    FILE *file = file_fopen("pipe", "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fgetc(file), EOF);
    EXPECT_EQ(ferror(file), 0);
    EXPECT_EQ(fclose(file), 0);
}

TEST(file_fopen, reads_what_the_writer_of_a_pipe_has_to_say)
{
    const scratch folder;
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const int keeps_open = open("pipe", O_RDWR | O_CLOEXEC);
    ASSERT_GE(keeps_open, 0);
    FILE *file = file_fopen("pipe", "rb");
    ASSERT_NE(file, nullptr);
    const pid_t child = fork();
    if (child == 0)
        _exit(write(keeps_open, "x", 1) == 1 ? 0 : 1);
    EXPECT_EQ(fgetc(file), 'x');
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(fclose(file), 0);
    close(keeps_open);
}

TEST(file_fopen, refuses_to_write_a_running_program)
{
    const scratch folder;
    ASSERT_EQ(system("cp /bin/sleep busy"), 0);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        execl("./busy", "busy", "100", static_cast<char *>(nullptr));
        _exit(1);
    }
    close(ends[1]);
    char byte = 0;
    ASSERT_EQ(read(ends[0], &byte, 1), 0); /* the program has taken the place of the child */
    close(ends[0]);
    EXPECT_EQ(file_fopen("busy", "wb"), nullptr);
    EXPECT_EQ(errno, ETXTBSY);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(file_fopen, fails_on_request)
{
    const scratch folder;
    scratch_write("a", "x");
    fault_set("file_fopen:2");
    FILE *first = file_fopen("a", "rb");
    EXPECT_NE(first, nullptr);
    fclose(first);
    EXPECT_EQ(file_fopen("a", "rb"), nullptr);
    fault_set(nullptr);
}

TEST(file_get_ext, is_the_last_dot_of_the_base_name)
{
    EXPECT_STREQ(file_get_ext("/a/song.mp3"), ".mp3");
    EXPECT_STREQ(file_get_ext("x.zip.bak"), ".bak");
    EXPECT_STREQ(file_get_ext("a."), ".");
    EXPECT_EQ(file_get_ext("/m/a.b/song"), nullptr);
    EXPECT_EQ(file_get_ext("song"), nullptr);
    EXPECT_EQ(file_get_ext("/m/.hidden"), nullptr);
    EXPECT_STREQ(file_get_ext("/m/.hidden.ogg"), ".ogg");
    EXPECT_EQ(file_get_ext(""), nullptr);
    EXPECT_EQ(file_get_ext(nullptr), nullptr);
    const char *path = "/m/a.b/song.flac";
    EXPECT_EQ(file_get_ext(path), path + 11);
}

TEST(file_basename, is_the_last_part)
{
    EXPECT_EQ(basename_of("/a/b.mp3"), "b.mp3");
    EXPECT_EQ(basename_of("/a/b/"), "b");
    EXPECT_EQ(basename_of("/a/b///"), "b");
    EXPECT_EQ(basename_of("b"), "b");
    EXPECT_EQ(basename_of("/"), "/");
    EXPECT_EQ(basename_of("//"), "/");
    EXPECT_EQ(basename_of(""), "");
}

TEST(file_dirname, is_what_stands_before_the_last_part)
{
    EXPECT_EQ(dirname_of("/music/list.m3u"), "/music");
    EXPECT_EQ(dirname_of("current.m3u"), ".");
    EXPECT_EQ(dirname_of("a/b"), "a");
    EXPECT_EQ(dirname_of("/x"), "/");
    EXPECT_EQ(dirname_of("/"), "/");
    EXPECT_EQ(dirname_of("//"), "/");
    EXPECT_EQ(dirname_of("//x"), "/");
    EXPECT_EQ(dirname_of("/a/b/"), "/a");
    EXPECT_EQ(dirname_of("/a//b"), "/a");
    EXPECT_EQ(dirname_of("a"), ".");
    EXPECT_EQ(dirname_of(""), ".");
}

TEST(file_is_absolute_path, asks_for_a_leading_slash)
{
    EXPECT_TRUE(file_is_absolute_path("/a"));
    EXPECT_FALSE(file_is_absolute_path("a/b"));
    EXPECT_FALSE(file_is_absolute_path(""));
    EXPECT_FALSE(file_is_absolute_path(nullptr));
}

TEST(file_resolve_path, normalises_without_looking_at_the_disk)
{
    EXPECT_EQ(resolved("/music/a/../b.mp3"), "/music/b.mp3");
    EXPECT_EQ(resolved("/a//b/./c/"), "/a/b/c");
    EXPECT_EQ(resolved("/a/bc", 6), "/a/bc") << "with its end it fills the room";
    EXPECT_EQ(resolved("/a/bc", 5), "(fails)");
    std::string longest;
    for (int i = 0; i < PATH_MAX - 1; i++)
        longest += "/a";
    longest += "b";
    EXPECT_EQ(resolved(longest.c_str(), 4 * PATH_MAX), longest) << "as long as two paths";
    longest += "b";
    EXPECT_EQ(resolved(longest.c_str(), 4 * PATH_MAX), "(fails)");
    EXPECT_EQ(resolved("/.."), "/");
    EXPECT_EQ(resolved("/../../a"), "/a");
    EXPECT_EQ(resolved("/a/.."), "/");
    EXPECT_EQ(resolved("/a/..b/...c/.d"), "/a/..b/...c/.d");
    EXPECT_EQ(resolved("/a/b./.c/d"), "/a/b./.c/d"); /* of two characters, but not ".." */
    EXPECT_EQ(resolved("//"), "/");
}

TEST(file_resolve_path, makes_relative_paths_absolute)
{
    const scratch folder;
    EXPECT_EQ(resolved("./x.mp3"), folder.path + "/x.mp3");
    EXPECT_EQ(resolved("a/../b"), folder.path + "/b");
    EXPECT_EQ(resolved("."), folder.path);
    EXPECT_EQ(resolved("../../../../../.."), "/");
}

TEST(file_resolve_path, fails_and_leaves_an_empty_text_for_nothing_and_for_too_much)
{
    char out[16] = "before";
    EXPECT_EQ(file_resolve_path("", out, sizeof(out)), -1);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(file_resolve_path(nullptr, out, sizeof(out)), -1);
    EXPECT_EQ(file_resolve_path("/a", out, 0), -1);
    EXPECT_EQ(file_resolve_path("/56789012345678", out, sizeof(out)), 0);
    EXPECT_STREQ(out, "/56789012345678");
    EXPECT_EQ(file_resolve_path("/567890123456789", out, sizeof(out)), -1);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(resolved("/", 2), "/");
    EXPECT_EQ(resolved("/", 1), "(fails)");
    EXPECT_EQ(file_get_absolute_path("", out, sizeof(out)), -1);
    EXPECT_STREQ(out, "");
}

TEST(file_resolve_path, fits_when_the_result_does_though_the_way_to_it_is_longer)
{
    char out[4];
    EXPECT_EQ(file_resolve_path("/long/long/../../ab", out, sizeof(out)), 0);
    EXPECT_STREQ(out, "/ab");
    const std::string endless(3 * PATH_MAX, 'x');
    EXPECT_EQ(resolved(("/" + endless).c_str(), 4 * PATH_MAX), "(fails)");
    std::string deep;
    for (int i = 0; i < PATH_MAX; i++)
        deep += "/ab";
    EXPECT_EQ(resolved(deep.c_str(), 4 * PATH_MAX), "(fails)");
}

TEST(file_resolve_path, may_write_over_its_own_argument)
{
    char path[64] = "/a/b/../c";
    EXPECT_EQ(file_resolve_path(path, path, sizeof(path)), 0);
    EXPECT_STREQ(path, "/a/c");
}

TEST(file_mkdir, makes_one_folder_and_accepts_an_existing_one)
{
    const scratch folder;
    EXPECT_EQ(file_mkdir("a"), 0);
    EXPECT_EQ(file_mkdir("a"), 0);
    EXPECT_EQ(file_mkdir("./a/b/"), 0);
    EXPECT_EQ(file_mkdir("."), 0);
    EXPECT_EQ(file_mkdir("x/y"), -1);
    scratch_write("f", "");
    EXPECT_EQ(file_mkdir("f"), -1);
    EXPECT_EQ(file_mkdir(nullptr), -1);
    struct stat entry;
    ASSERT_EQ(stat("a", &entry), 0);
    EXPECT_EQ(entry.st_mode & 0777 & ~0755u, 0u);
}

TEST(file_remove, removes_a_folder_with_its_contents)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir -p t/a/b t/c && touch t/x t/a/y t/a/b/z t/.hidden && mkfifo t/pipe"),
              0);
    EXPECT_EQ(file_remove("t/x"), 0);
    EXPECT_EQ(file_remove("t/"), 0);
    EXPECT_FALSE(scratch_exists("t"));
    EXPECT_EQ(file_remove("t"), -1);
    EXPECT_EQ(file_remove(nullptr), -1);
    EXPECT_EQ(file_remove(""), -1);
}

TEST(file_remove, removes_a_large_folder)
{
    const scratch folder;
    ASSERT_EQ(mkdir("t", 0755), 0);
    for (int i = 0; i < 3000; i++)
        scratch_write("t/" + std::to_string(i), "");
    EXPECT_EQ(file_remove("t"), 0);
    EXPECT_FALSE(scratch_exists("t"));
}

TEST(file_remove, never_follows_a_link)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir keep t && touch keep/me && ln -s ../keep t/link && ln -s keep top"), 0);
    EXPECT_EQ(file_remove("t"), 0);
    EXPECT_FALSE(scratch_exists("t"));
    EXPECT_EQ(file_remove("top/"), 0);
    EXPECT_FALSE(scratch_exists("top"));
    EXPECT_TRUE(scratch_exists("keep/me"));
}

TEST(file_remove, gives_up_on_a_folder_without_permission)
{
    const scratch folder;
    ASSERT_EQ(system("mkdir -p open t && touch t/x && chmod 755 t"), 0);
    EXPECT_EQ(scratch_as_nobody([] { return file_remove("t") == -1 ? 0 : 1; }),
              getuid() == 0 ? 0 : 1);
}

TEST(file_remove, gives_up_on_a_tree_of_absurd_depth_without_losing_its_stack)
{
    const scratch folder;
    const struct {
        int depth, result;
    } trees[] = {{200, 0}, {201, -1}, {600, -1}};
    for (const auto &tree : trees) {
        const std::string name = "t" + std::to_string(tree.depth);
        ASSERT_EQ(mkdir(name.c_str(), 0755), 0);
        ASSERT_EQ(chdir(name.c_str()), 0);
        for (int i = 0; i < tree.depth; i++) {
            ASSERT_EQ(mkdir("d", 0755), 0);
            ASSERT_EQ(chdir("d"), 0);
        }
        ASSERT_EQ(chdir(folder.path.c_str()), 0);
        EXPECT_EQ(file_remove(name.c_str()), tree.result) << tree.depth;
        EXPECT_EQ(scratch_exists(name), tree.result != 0);
    }
}

TEST(file_rename, moves_a_file)
{
    const scratch folder;
    scratch_write("a", "1");
    scratch_write("b", "2");
    EXPECT_EQ(file_rename("a", "b"), 0);
    EXPECT_EQ(scratch_read("b"), "1");
    EXPECT_EQ(file_rename("a", "b"), -1);
    EXPECT_EQ(file_rename(nullptr, "b"), -1);
    EXPECT_EQ(file_rename("b", nullptr), -1);
    fault_set("file_rename");
    EXPECT_EQ(file_rename("b", "c"), -1) << "on request";
    fault_set(nullptr);
    EXPECT_EQ(scratch_read("b"), "1");
}
