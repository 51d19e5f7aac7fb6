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
constexpr uint64_t reserve = 1ull << 20; /* left free for settings and the playlist */
constexpr uLong made_on_unix = 3;
constexpr uLong flag_encrypted = 1;

struct update_package {
    unzFile file;
    uint32_t count, index;
};

/* Folders that the archive will have made, in a row, each with its end mark. */
struct folder_names {
    char *names; /* owned */
    size_t size;
};

static int free_folder_names(folder_names *folders)
{
    free(folders->names);
    return 0;
}

update_package *update_package_open(const char *path)
{
    auto *package = new (std::nothrow) update_package{unzOpen64(path), 0, 0};
    owner<update_package, update_package_close> owned(package);
    unz_global_info64 info;
    if (!package || !package->file || unzGetGlobalInfo64(package->file, &info) != UNZ_OK ||
        info.number_entry < 1 || info.number_entry > most_entries ||
        unzGoToFirstFile(package->file) != UNZ_OK)
        return nullptr;
    package->count = (uint32_t)info.number_entry;
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
    return info->version >> 8 == made_on_unix ? (uint32_t)(info->external_fa >> 16) : 0;
}

static bool kind_is_allowed(uint32_t mode)
{
    const uint32_t kind = mode & S_IFMT;
    return kind == 0 || kind == S_IFREG || kind == S_IFDIR;
}

int update_package_entry(update_package *package, update_entry *entry)
{
    char name[512] = "";
    unz_file_info64 info;
    /* The library ends a name only where it does not fill the array. */
    if (unzGetCurrentFileInfo64(package->file, &info, name, sizeof name - 1, nullptr, 0, nullptr,
                                0) != UNZ_OK ||
        info.size_filename >= sizeof name || strlen(name) != info.size_filename)
        return -1;
    const uint32_t mode = unix_mode(&info);
    if (!update_name_clean(name, entry->name) || !kind_is_allowed(mode) ||
        info.flag & flag_encrypted)
        return -1;
    entry->is_folder = name[strlen(name) - 1] == '/';
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
        if ((uint64_t)got > left || take(context, piece, (size_t)got) != 0)
            return -1;
        left -= (uint64_t)got;
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

static bool is_folder_on_disk(const char *name)
{
    char path[1024];
    struct stat state;
    return str_format(path, "./%s", name) && stat(path, &state) == 0 && S_ISDIR(state.st_mode);
}

static bool folder_will_exist(const folder_names *folders, const char *name)
{
    for (size_t at = 0; at < folders->size; at += strlen(folders->names + at) + 1)
        if (strcmp(folders->names + at, name) == 0)
            return true;
    return is_folder_on_disk(name);
}

/* An entry whose folder is missing could not be written when its turn comes. */
static bool parent_will_exist(const folder_names *folders, const char *name)
{
    char parent[512];
    str_copy(parent, name);
    char *slash = strrchr(parent, '/');
    if (!slash)
        return true;
    *slash = '\0';
    return folder_will_exist(folders, parent);
}

static int note_folder(folder_names *folders, const char *name)
{
    if (!parent_will_exist(folders, name) || folder_will_exist(folders, name))
        return 0;
    struct stat state;
    char path[1024];
    if (str_format(path, "./%s", name) && lstat(path, &state) == 0)
        return 0; /* a file stands there; making the folder will fail */
    const size_t length = strlen(name) + 1;
    auto *names = (char *)realloc(folders->names, folders->size + length);
    if (!names)
        return -1;
    memcpy(names + folders->size, name, length);
    folders->names = names;
    folders->size += length;
    return 0;
}

/* Names and sizes: cheap, so that an archive that would fill the disk is not even read. */
static int check_names(update_package *package)
{
    folder_names folders = {};
    const owner<folder_names, free_folder_names> freed(&folders);
    uint64_t total = 0;
    for (uint32_t i = 0; i < package->count; i++) {
        update_entry entry;
        if ((i > 0 && update_package_next(package) != 0) ||
            update_package_entry(package, &entry) != 0)
            return -1;
        if (entry.is_folder ? note_folder(&folders, entry.name) != 0
                            : !parent_will_exist(&folders, entry.name))
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

static bool component_is(const char *start, size_t length, const char *word)
{
    return strlen(word) == length && memcmp(start, word, length) == 0;
}

bool update_name_clean(const char *name, char (&to)[512])
{
    const bool has_drive = ((name[0] | 0x20) >= 'a' && (name[0] | 0x20) <= 'z') && name[1] == ':';
    if (name[0] == '/' || has_drive || strchr(name, '\\') || strlen(name) >= sizeof to)
        return false;
    size_t used = 0;
    for (const char *at = name; *at;) {
        const size_t length = strcspn(at, "/");
        if (component_is(at, length, "..") || (used == 0 && component_is(at, length, "_tmp")))
            return false;
        if (length > 0 && !component_is(at, length, ".")) {
            if (used > 0)
                to[used++] = '/';
            memcpy(to + used, at, length);
            used += length;
        }
        at += length + (at[length] == '/' ? 1 : 0);
    }
    to[used] = '\0';
    return used > 0;
}

uint64_t update_free_space()
{
    struct statvfs state;
    if (fault_hit("update_free_space") || statvfs(".", &state) != 0)
        return 0;
    return (uint64_t)state.f_bavail * state.f_frsize;
}
