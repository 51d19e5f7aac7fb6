/* fuzz_unpack: update packages, unpacked into a program folder beside files that are the user's. */
#include "fuzz/fuzz.h"
#include "platform/file/file.h"
#include "update/update_package.h"
#include "update/update_unpack.h"

#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

static const char *const own_files[] = {"config.txt", "current.m3u", "library.db", "music/song"};

static bool go_on()
{
    return true;
}

static void want(bool holds)
{
    if (!holds)
        abort();
}

static void write_file(const char *path, const void *bytes, size_t size)
{
    FILE *file = fopen(path, "wb");
    want(file && fwrite(bytes, 1, size, file) == size && fclose(file) == 0);
}

static std::string read_file(const char *path)
{
    FILE *file = fopen(path, "rb");
    want(file != nullptr);
    char text[64] = "";
    const size_t got = fread(text, 1, sizeof text, file);
    want(fclose(file) == 0);
    return std::string(text, got);
}

/* The fuzzer's own paths are relative: it finds itself where it was afterwards. */
static int started_at = -1;

static void enter_home()
{
    static bool is_there = false;
    static char home[] = "/dev/shm/zerv-unpack-XXXXXX"; /* a disk would be waited for */
    if (!is_there) {
        started_at = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        want(mkdtemp(home) != nullptr);
        want(atexit([] { (void)file_remove(home); }) == 0);
        is_there = true;
    }
    want(chdir(home) == 0);
}

/* Only the program folder, and nothing beside it. */
static void want_nothing_else()
{
    DIR *folder = opendir("..");
    want(folder != nullptr);
    while (const dirent *entry = readdir(folder))
        want(strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0 ||
             strcmp(entry->d_name, "program") == 0);
    closedir(folder);
}

static void make_program_folder(const uint8_t *data, size_t size)
{
    want(mkdir("program", 0755) == 0 && chdir("program") == 0);
    want(mkdir("music", 0755) == 0 && mkdir("_tmp", 0755) == 0);
    for (const char *path : own_files)
        write_file(path, path, strlen(path));
    write_file("zerv-player", "old", 3);
    write_file("_tmp/update.zip", data, size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr char package[] = "_tmp/update.zip";
    enter_home();
    make_program_folder(data, size);
    if (update_package_check(package, go_on) == 0) {
        want(update_extract(package, go_on) == 0);
        want(update_place(package) == 0);
    } else if (update_extract(package, go_on) == 0) {
        (void)update_place(package); /* as far as it comes, and no farther than the folder */
    }
    /* "music/song" is no more the user's than the program's; only its folder stays. */
    for (const char *path : {"config.txt", "current.m3u", "library.db"})
        want(read_file(path) == path);
    struct stat state;
    want(lstat("music", &state) == 0 && S_ISDIR(state.st_mode));
    want_nothing_else();
    enter_home();
    want(file_remove("program") == 0 && fchdir(started_at) == 0);
    return 0;
}
