/* skin_zip: packages that are archives. */
#include "skin/skin_package.h"
#include "skin/skin_zip_file.h"

#include <cstring>
#include <minizip/unzip.h>
#include <sys/stat.h>

constexpr unsigned long made_by_unix = 3; /* the file mode stands in the upper half then */
constexpr unsigned long encrypted = 1;    /* a flag */

static int zip_open(skin_package *package, const char *path)
{
    zlib_filefunc64_def functions = {};
    skin_zip_file_functions(&functions);
    unzFile zip = unzOpen2_64(path, &functions);
    if (!zip)
        return 0;
    unz_global_info64 info = {};
    package->zip = zip;
    if (unzGetGlobalInfo64(zip, &info) != UNZ_OK || info.number_entry == 0)
        (void)skin_package_fail(package, "the archive is empty or damaged", "");
    else if (info.number_entry > skin_limit_entries)
        (void)skin_package_fail(package, "the archive has too many entries", "");
    package->entries = info.number_entry;
    if (!package->reason)
        return 1;
    (void)unzClose(zip); /* it is refused already */
    package->zip = nullptr;
    return -1;
}

static bool is_folder(const char *name)
{
    const size_t length = strlen(name);
    return length > 0 && name[length - 1] == '/';
}

static bool is_link(const unz_file_info64 &info)
{
    return (info.version >> 8) == made_by_unix && S_ISLNK(info.external_fa >> 16);
}

/* Visits the current entry. The name's buffer is one longer than what the library is given: it
 * does not end a name that fills what it got. */
static int visit_entry(skin_package *package, skin_visit visit, void *user)
{
    char name[skin_name_size] = "";
    unz_file_info64 info = {};
    if (unzGetCurrentFileInfo64(package->zip, &info, name, sizeof(name) - 1, nullptr, 0, nullptr,
                                0) != UNZ_OK)
        return skin_package_fail(package, "the archive is damaged", "");
    name[sizeof(name) - 1] = '\0';
    if (is_link(info))
        return skin_package_leave_out(package, "a member is a symbolic link", name);
    if (info.size_filename >= sizeof(name)) /* longer than what a part could name */
        return skin_package_leave_out(package, "a name is too long", name);
    if (is_folder(name))
        return 0;
    return visit(package, name, user);
}

static int zip_walk(skin_package *package, bool, skin_visit visit, void *user)
{
    int moved = unzGoToFirstFile(package->zip);
    for (uint64_t left = package->entries; left > 0; left--) {
        if (moved != UNZ_OK)
            return skin_package_fail(package, "the archive is damaged", "");
        const int result = visit_entry(package, visit, user);
        if (result != 0)
            return result;
        if (left > 1)
            moved = unzGoToNextFile(package->zip);
    }
    /* An archiver that knows only 16 bits for the count writes their largest value for more. */
    if (package->entries == UINT16_MAX && unzGoToNextFile(package->zip) == UNZ_OK)
        return skin_package_fail(package, "the archive has too many entries", "");
    return 0;
}

/* The library does not look for the true sizes of such an entry where they stand. */
static bool is_of_large_archive(const unz_file_info64 &info)
{
    return info.uncompressed_size == UINT32_MAX || info.compressed_size == UINT32_MAX;
}

static const char *why_closed(const unz_file_info64 &info)
{
    if (is_of_large_archive(info))
        return "the file's size is that of a large archive (zip64)";
    if (info.uncompressed_size > skin_limit_member)
        return "the file is too large";
    if ((info.flag & encrypted) != 0)
        return "the file is encrypted";
    if (info.compression_method != 0 && info.compression_method != Z_DEFLATED)
        return "the file is neither stored nor deflated";
    return nullptr;
}

static int zip_member_open(skin_package *package)
{
    unz_file_info64 info = {};
    if (unzGetCurrentFileInfo64(package->zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
        return -1;
    if (const char *reason = why_closed(info)) {
        package->member_reason = reason;
        return -1;
    }
    package->member_left = info.uncompressed_size;
    return unzOpenCurrentFile(package->zip) == UNZ_OK ? 0 : -1;
}

static int zip_member_read(skin_package *package, void *to, unsigned size)
{
    return unzReadCurrentFile(package->zip, to, size);
}

/* A wrong checksum shows here. */
static int zip_member_close(skin_package *package)
{
    return unzCloseCurrentFile(package->zip) == UNZ_OK ? 0 : -1;
}

static int zip_close(skin_package *package)
{
    unzFile zip = package->zip;
    package->zip = nullptr;
    return unzClose(zip) == UNZ_OK ? 0 : -1;
}

constinit const skin_package_driver skin_package_zip = {
    .name = "zip",
    .open = zip_open,
    .walk = zip_walk,
    .member_open = zip_member_open,
    .member_read = zip_member_read,
    .member_close = zip_member_close,
    .close = zip_close,
};
