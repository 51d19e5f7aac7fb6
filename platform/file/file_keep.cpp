/* file_keep: whole files, written at once or kept under another name. */
#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

constexpr int keep_names = 9;

using file_owner = owner<FILE, fclose>;
using text_owner = owner<char, free>;

/* The first name that is free. False when none is. */
static bool keep_name(const char *path, char (&to)[PATH_MAX])
{
    for (int number = 1; number <= keep_names; number++) {
        const bool fits =
            number == 1 ? str_format(to, "%s.old", path) : str_format(to, "%s.old%d", path, number);
        struct stat taken;
        if (!fits)
            return false;
        if (lstat(to, &taken) != 0)
            return errno == ENOENT;
    }
    return false;
}

static int keep_copy_to(FILE *from, FILE *to)
{
    char piece[4096];
    size_t length = 0;
    while ((length = fread(piece, 1, sizeof piece, from)) > 0)
        if (fwrite(piece, 1, length, to) != length)
            return -1;
    return ferror(from) ? -1 : 0;
}

static int keep_copy(const char *path, const char *kept)
{
    const file_owner from(file_fopen(path, "rb"));
    file_replacement *copy = from ? file_replace_open(kept) : nullptr;
    if (!copy)
        return -1;
    if (keep_copy_to(from.get(), file_replace_stream(copy)) == 0)
        return file_replace_commit(copy);
    file_replace_cancel(copy);
    return -1;
}

int file_replace_all(const char *path, const void *data, size_t size)
{
    file_replacement *replacement = file_replace_open(path);
    if (!replacement)
        return -1;
    FILE *to = file_replace_stream(replacement);
    /* One write, however much it is. What collects in memory has no descriptor. */
    if (fileno(to) >= 0)
        (void)setvbuf(to, nullptr, _IONBF, 0);
    if (size == 0 || fwrite(data, size, 1, to) == 1)
        return file_replace_commit(replacement);
    file_replace_cancel(replacement);
    return -1;
}

/* A copy leaves the file in its place until it is replaced. One that cannot be read is moved. */
int file_keep_old(const char *path)
{
    char kept[PATH_MAX];
    if (!path || fault_hit("file_keep_old"))
        return -1;
    const text_owner real(realpath(path, nullptr));
    if (!real)
        return errno == ENOENT ? 0 : -1;
    struct stat about;
    if (stat(real.get(), &about) != 0)
        return -1;
    if (!S_ISREG(about.st_mode)) /* what is written in place keeps nothing */
        return 0;
    if (!keep_name(real.get(), kept))
        return -1;
    if (keep_copy(real.get(), kept) == 0)
        return 0;
    return rename(real.get(), kept) == 0 ? 0 : -1;
}
