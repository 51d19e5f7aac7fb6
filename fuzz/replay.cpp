/* replay: runs every file of the folders and files named on the command line through a fuzzer. */
#include "fuzz/fuzz.h"

#include <cstring>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

static bool run_file(const std::string &path)
{
    FILE *file = fopen(path.c_str(), "rb");
    if (!file)
        return false;
    std::vector<uint8_t> bytes;
    uint8_t chunk[4096];
    for (size_t got = 0; (got = fread(chunk, 1, sizeof(chunk), file)) > 0;)
        bytes.insert(bytes.end(), chunk, chunk + got);
    const bool whole = !ferror(file);
    fclose(file);
    if (!whole)
        return false;
    printf("%s\n", path.c_str());
    fflush(stdout); /* names the file when it crashes */
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

/* Returns the files run, -1 when one cannot be read. */
static int run_path(const std::string &path)
{
    struct stat entry = {};
    if (stat(path.c_str(), &entry) != 0)
        return -1;
    if (!S_ISDIR(entry.st_mode))
        return run_file(path) ? 1 : -1;
    DIR *folder = opendir(path.c_str());
    if (!folder)
        return -1;
    int count = 0;
    for (const dirent *found = nullptr; count >= 0 && (found = readdir(folder)) != nullptr;) {
        if (found->d_name[0] == '.')
            continue;
        const int below = run_path(path + "/" + found->d_name);
        count = below < 0 ? -1 : count + below;
    }
    closedir(folder);
    return count;
}

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; i++) {
        const int below = run_path(argv[i]);
        if (below < 0) {
            fprintf(stderr, "%s cannot be read\n", argv[i]);
            return 1;
        }
        count += below;
    }
    printf("%d files\n", count);
    return count > 0 ? 0 : 1;
}
