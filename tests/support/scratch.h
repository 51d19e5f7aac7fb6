/* scratch: an empty folder for one test, small files, and child processes. Tests only. */
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/* Makes an empty folder, works in it, and leaves and removes it at the end. */
struct scratch {
    std::string path;
    std::string before;

    scratch()
    {
        char here[4096];
        before = getcwd(here, sizeof(here)) ? here : "/";
        char name[] = "/tmp/zerv-test-XXXXXX";
        path = mkdtemp(name) ? name : "";
        EXPECT_FALSE(path.empty());
        EXPECT_EQ(chmod(path.c_str(), 0755), 0);
        EXPECT_EQ(chdir(path.c_str()), 0);
    }
    ~scratch()
    {
        EXPECT_EQ(chdir(before.c_str()), 0);
        /* The code under test does not clean up after itself. */
        const std::string command = "chmod -R u+rwx '" + path + "'; rm -rf '" + path + "'";
        EXPECT_EQ(system(command.c_str()), 0);
    }
    scratch(const scratch &) = delete;
    scratch &operator=(const scratch &) = delete;
};

inline void scratch_write(const std::string &path, const std::string &content)
{
    FILE *file = fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    ASSERT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    ASSERT_EQ(fclose(file), 0);
}

inline std::string scratch_read(const std::string &path)
{
    std::string content;
    FILE *file = fopen(path.c_str(), "rb");
    if (!file)
        return "(missing)";
    char piece[4096];
    for (size_t length = 0; (length = fread(piece, 1, sizeof(piece), file)) > 0;)
        content.append(piece, length);
    fclose(file);
    return content;
}

inline bool scratch_exists(const std::string &path)
{
    struct stat entry;
    return lstat(path.c_str(), &entry) == 0;
}

inline std::vector<std::string> scratch_names(const std::string &folder)
{
    std::vector<std::string> names;
    DIR *dir = opendir(folder.c_str());
    while (const dirent *entry = dir ? readdir(dir) : nullptr)
        if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..")
            names.push_back(entry->d_name);
    if (dir)
        closedir(dir);
    return names;
}

/* Runs in a child. Returns what the work returned, which must lie in 0..100. */
template <typename work_type> int scratch_in_child(work_type work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(work());
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return 102;
    return WEXITSTATUS(status);
}

/* Runs in a child that is no superuser, to whom folders without permission are closed. Returns
 * what the work returned, which must lie in 0..100. */
template <typename work_type> int scratch_as_nobody(work_type work)
{
    return scratch_in_child(
        [&] { return getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0) ? 101 : work(); });
}
