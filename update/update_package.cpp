#include "update/update_package.h"

#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unzip.h>

constexpr uint32_t most_entries = 20000;
constexpr uint64_t largest_content = 1ull << 30;
constexpr uint64_t reserve = 64u << 10; /* left free for settings and the playlist */
constexpr uLong made_on_unix = 3;
constexpr uLong flag_encrypted = 1;
constexpr uLong method_store = 0, method_deflate = 8;

struct update_package {
    unzFile file;
    uint32_t count, index;
};

update_package *update_package_open(const char *path)
{
    auto *package = new (std::nothrow) update_package{unzOpen64(path), 0, 0};
    owner<update_package, update_package_close> owned(package);
    unz_global_info64 info;
    if (!package || !package->file || unzGetGlobalInfo64(package->file, &info) != UNZ_OK ||
        info.number_entry < 1 || info.number_entry > most_entries ||
        unzGoToFirstFile(package->file) != UNZ_OK)
        return nullptr;
    package->count = static_cast<uint32_t>(info.number_entry);
    return owned.release();
}

int update_package_close(update_package *package)
{
    if (package && package->file)
        (void)unzClose(package->file);
    delete package;
    return 0;
}

uint32_t update_package_count(const update_package *package)
{
    return package->count;
}

/* The bits that say what kind of file the packer saw; 0 from systems without them. */
static uint32_t unix_mode(const unz_file_info64 *info)
{
    return info->version >> 8 == made_on_unix ? static_cast<uint32_t>(info->external_fa >> 16) : 0;
}

static bool kind_is_allowed(uint32_t mode)
{
    const uint32_t kind = mode & S_IFMT;
    return kind == 0 || kind == S_IFREG || kind == S_IFDIR;
}

/* The library takes bytes of other methods for the content itself. */
static bool can_be_read(const unz_file_info64 *info)
{
    return !(info->flag & flag_encrypted) &&
           (info->compression_method == method_store || info->compression_method == method_deflate);
}

int update_package_entry(update_package *package, update_entry *entry)
{
    char name[update_name_size] = "";
    unz_file_info64 info;
    /* The library ends a name only where it does not fill the array. */
    if (unzGetCurrentFileInfo64(package->file, &info, name, sizeof name - 1, nullptr, 0, nullptr,
                                0) != UNZ_OK ||
        info.size_filename >= sizeof name || strlen(name) != info.size_filename)
        return -1;
    const uint32_t mode = unix_mode(&info);
    if (!update_name_clean(name, entry->name) || !kind_is_allowed(mode) || !can_be_read(&info))
        return -1;
    entry->is_folder = info.size_filename > 0 && name[info.size_filename - 1] == '/';
    if (entry->name[0] == '\0' && !entry->is_folder)
        return -1;
    entry->index = package->index;
    entry->mode = mode & 0777;
    entry->size = info.uncompressed_size;
    return 0;
}

/* The library is content with data that ends early, and checks no checksum then. */
static int read_pieces(unzFile file, uint64_t declared, int (*take)(void *, const void *, size_t),
                       void *context)
{
    char piece[1023];
    for (uint64_t left = declared;;) {
        const int got = unzReadCurrentFile(file, piece, sizeof piece);
        if (got <= 0)
            return got < 0 || left > 0 ? -1 : 0;
        if (static_cast<uint64_t>(got) > left ||
            take(context, piece, static_cast<size_t>(got)) != 0)
            return -1;
        left -= static_cast<uint64_t>(got);
    }
}

int update_package_read(update_package *package, int (*take)(void *, const void *, size_t),
                        void *context)
{
    unz_file_info64 info;
    if (unzGetCurrentFileInfo64(package->file, &info, nullptr, 0, nullptr, 0, nullptr, 0) !=
            UNZ_OK ||
        unzOpenCurrentFile(package->file) != UNZ_OK)
        return -1;
    const int result = read_pieces(package->file, info.uncompressed_size, take, context);
    return unzCloseCurrentFile(package->file) == UNZ_OK && result == 0 ? 0 : -1;
}

int update_package_next(update_package *package)
{
    package->index++;
    return unzGoToNextFile(package->file) == UNZ_OK ? 0 : -1;
}

/* Making a folder may fail: what needs it then has no parent. */
static int check_folder(update_names *names, const char *name)
{
    if (!update_names_have_parent(names, name) ||
        update_names_find(names, name) != update_kind::nothing)
        return 0;
    return update_names_note(names, name, update_kind::folder);
}

/* A folder in a file's place may be the user's music. */
static int check_file(update_names *names, const char *name)
{
    if (!update_names_have_parent(names, name))
        return -1;
    switch (update_names_find(names, name)) {
    case update_kind::file:
        return 0;
    case update_kind::folder:
        return -1;
    case update_kind::nothing:
        break;
    }
    return update_names_note(names, name, update_kind::file);
}

/* Names and sizes: cheap, so that an archive that would fill the disk is not even read. */
static int check_names(update_package *package)
{
    const owner<update_names, update_names_free> names(update_names_new(package->count));
    uint64_t total = 0;
    for (uint32_t i = 0; i < package->count; i++) {
        update_entry entry;
        if (!names || (i > 0 && update_package_next(package) != 0) ||
            update_package_entry(package, &entry) != 0)
            return -1;
        if (entry.is_folder ? check_folder(names.get(), entry.name) != 0
                            : check_file(names.get(), entry.name) != 0)
            return -1;
        if (entry.size > largest_content - total)
            return -1;
        total += entry.size;
    }
    return total + reserve <= update_free_space() ? 0 : -1;
}

static int ignore_piece(void *, const void *, size_t)
{
    return 0;
}

static int check_contents(update_package *package, bool (*go_on)())
{
    for (uint32_t i = 0; i < package->count; i++) {
        update_entry entry;
        if (!go_on() || (i > 0 && update_package_next(package) != 0) ||
            update_package_entry(package, &entry) != 0)
            return -1;
        if (!entry.is_folder && update_package_read(package, ignore_piece, nullptr) != 0)
            return -1;
    }
    return 0;
}

int update_package_check(const char *path, bool (*go_on)())
{
    owner<update_package, update_package_close> package(update_package_open(path));
    if (!package || check_names(package.get()) != 0)
        return -1;
    package.reset(update_package_open(path));
    return package ? check_contents(package.get(), go_on) : -1;
}

uint64_t update_free_space()
{
    struct statvfs state;
    if (fault_hit("update_free_space") || statvfs(".", &state) != 0)
        return 0;
    return static_cast<uint64_t>(state.f_bavail) * state.f_frsize;
}
