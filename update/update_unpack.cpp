#include "update/update_unpack.h"

#include "core/services/program.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "update/update_package.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr uint32_t fresh_in_folder = 256; /* memory cards search a folder from its start */

/* Where one entry goes. */
struct file_placement {
    char fresh[64]; /* its content, extracted */
    char target[1024];
    char parking[512];
    mode_t mode;
};

/* ---- Extracting ---- */

static void fresh_folder(uint32_t number, char (&path)[64])
{
    (void)str_format(path, "_tmp/new%u", number);
}

static void fresh_path(uint32_t index, char (&path)[64])
{
    (void)str_format(path, "_tmp/new%u/%u", index / fresh_in_folder, index);
}

static int write_piece(void *context, const void *piece, size_t size)
{
    return fwrite(piece, 1, size, static_cast<FILE *>(context)) == size ? 0 : -1;
}

/* The packer's mode, else the old file's; what could be run stays so. */
static mode_t choose_mode(const update_entry *entry, const char *target)
{
    struct stat old;
    const bool replaces = stat(target, &old) == 0 && S_ISREG(old.st_mode);
    mode_t mode = entry->mode;
    if (mode == 0)
        mode = replaces ? old.st_mode & 0777 : 0644;
    if (replaces)
        mode |= old.st_mode & 0111;
    return mode | 0600;
}

static bool plan(const update_entry *entry, file_placement *place)
{
    char name[update_name_size];
    str_copy(name, entry->name);
    fresh_path(entry->index, place->fresh);
    if (!str_format(place->target, "%s/%s", ".", entry->name) ||
        !str_format(place->parking, "_tmp/%s.%u", file_basename(name), entry->index))
        return false;
    place->mode = choose_mode(entry, place->target);
    return true;
}

static int extract_file(update_package *package, const update_entry *entry)
{
    file_placement place;
    char folder[64];
    fresh_folder(entry->index / fresh_in_folder, folder);
    if (!plan(entry, &place) || file_mkdir(folder) != 0)
        return -1;
    owner<FILE, fclose> file(file_fopen(place.fresh, "wb"));
    if (!file || update_package_read(package, write_piece, file.get()) != 0 ||
        fflush(file.get()) != 0)
        return -1;
    (void)fchmod(fileno(file.get()), place.mode); /* a memory card knows no modes */
    return fclose(file.release()) == 0 ? 0 : -1;
}

/* Before a file takes its place its content is on the disk, else a power cut could leave an empty
 * one there. All of them at once: a card takes as long for one. */
static int sync_disk_of(const char *folder)
{
    const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    int result = syncfs(fd);
    if (result != 0 && errno == ENOSYS) {
        sync();
        result = 0;
    }
    close(fd);
    return result;
}

/* What is done with one entry. 0, or -1 to stop. */
using entry_work = int (*)(update_package *package, const update_entry *entry, void *context);

/* In the archive's order. */
static int for_each_entry(const char *package_path, entry_work work, void *context, bool (*go_on)())
{
    const owner<update_package, update_package_close> package(update_package_open(package_path));
    if (!package)
        return -1;
    const uint32_t count = update_package_count(package.get());
    for (uint32_t i = 0; i < count; i++) {
        update_entry entry;
        if ((go_on && !go_on()) || (i > 0 && update_package_next(package.get()) != 0) ||
            update_package_entry(package.get(), &entry) != 0 ||
            work(package.get(), &entry, context) != 0)
            return -1;
    }
    return 0;
}

static int extract_entry(update_package *package, const update_entry *entry, void *)
{
    return entry->is_folder ? 0 : extract_file(package, entry);
}

static int drop_entry(update_package *, const update_entry *entry, void *)
{
    char folder[64];
    fresh_folder(entry->index / fresh_in_folder, folder);
    struct stat state;
    return lstat(folder, &state) == 0 ? file_remove(folder) : 0;
}

/* ---- Placing ---- */

static bool can_be_written(const char *target)
{
    const owner<FILE, fclose> file(file_fopen(target, "r+b"));
    return file != nullptr;
}

/* A second name first, where the disk knows such: then the target is never missing. */
static void park(const file_placement *place)
{
    if (link(place->target, place->parking) != 0)
        (void)file_rename(place->target, place->parking);
}

static int copy_file(FILE *from, FILE *to)
{
    char piece[4096];
    size_t got = 0;
    while ((got = fread(piece, 1, sizeof piece, from)) > 0)
        if (fwrite(piece, 1, got, to) != got)
            return -1;
    return ferror(from) ? -1 : 0;
}

/* What takes part in no such thing, as a pipe, has nothing to lose. */
static int sync_file(FILE *file)
{
    if (fflush(file) != 0)
        return -1;
    return fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOSYS ? 0 : -1;
}

/* For targets that cannot be replaced by a rename: a link that somebody made, a folder in which
 * nothing can be made, another disk. */
static int overwrite(const file_placement *place)
{
    owner<FILE, fclose> from(file_fopen(place->fresh, "rb"));
    owner<FILE, fclose> to(file_fopen(place->target, "wb"));
    if (!to) {
        (void)file_rename(place->target, place->parking);
        to.reset(file_fopen(place->target, "wb"));
    }
    if (!from || !to || copy_file(from.get(), to.get()) != 0 || sync_file(to.get()) != 0)
        return -1;
    /* Somebody else's file may be written and yet keep its mode. */
    (void)fchmod(fileno(to.get()), place->mode);
    return fclose(to.release()) == 0 ? 0 : -1;
}

static bool is_folder(const char *path)
{
    struct stat state;
    return stat(path, &state) == 0 && S_ISDIR(state.st_mode);
}

/* The check refuses files over folders; one that was made since then stays where it is too. */
static int put_in_place(const file_placement *place)
{
    struct stat old;
    if (is_folder(place->target))
        return -1;
    const bool exists = lstat(place->target, &old) == 0;
    if (exists && S_ISLNK(old.st_mode))
        return overwrite(place);
    if (exists && !can_be_written(place->target))
        park(place);
    if (file_rename(place->fresh, place->target) == 0)
        return 0;
    return overwrite(place);
}

/* True for a name that the disk cannot hold: a memory card knows no "a:b". */
static bool name_is_refused(const char *path)
{
    struct stat state;
    if (lstat(path, &state) == 0)
        return false;
    if (mkdir(path, 0755) == 0) {
        (void)rmdir(path);
        return false;
    }
    return errno == EINVAL || errno == EILSEQ || errno == ENAMETOOLONG;
}

/* The name of a folder above may be the reason. */
static bool path_is_refused(const char *path)
{
    char above[1024];
    str_copy(above, path);
    for (char *slash = strchr(above, '/'); slash; slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        if (name_is_refused(above))
            return true;
        *slash = '/';
    }
    return name_is_refused(above);
}

static int place_file(const update_entry *entry)
{
    file_placement place;
    if (!plan(entry, &place))
        return -1;
    if (put_in_place(&place) == 0)
        return 0;
    if (!path_is_refused(place.target))
        return -1;
    char text[update_name_size + 64];
    str_format(text, "update: left out %s, which this disk has no name for", entry->name);
    program_perror(text);
    return 0;
}

static int place_entry(update_package *, const update_entry *entry, void *)
{
    if (!entry->is_folder)
        return place_file(entry);
    char path[1024];
    if (str_format(path, "%s/%s", ".", entry->name))
        (void)file_mkdir(path); /* a file that needs it fails by itself */
    return 0;
}

/* The new names themselves reach the disk with their folder, which may be on another one.
 *   context  the folder that was synced last: entries of one folder mostly follow one another */
static int sync_folder_of(update_package *, const update_entry *entry, void *context)
{
    auto &last = *static_cast<char(*)[1024]>(context);
    char path[1024];
    if (!str_format(path, "%s/%s", ".", entry->name))
        return 0;
    const char *folder = file_dirname(path);
    if (strcmp(folder, last) == 0)
        return 0;
    str_copy(last, folder);
    const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        (void)fsync(fd);
        close(fd);
    }
    return 0;
}

int update_extract(const char *package_path, bool (*go_on)())
{
    if (for_each_entry(package_path, extract_entry, nullptr, go_on) == 0 &&
        sync_disk_of("_tmp") == 0)
        return 0;
    /* What stays of it the next check removes. */
    (void)for_each_entry(package_path, drop_entry, nullptr, nullptr);
    return -1;
}

int update_place(const char *package_path)
{
    char last[1024] = "";
    (void)file_mkdir(".");
    if (for_each_entry(package_path, place_entry, nullptr, nullptr) != 0)
        return -1;
    /* Where each file lies, a memory card writes with the file and not with its folder: without
     * this the program would be empty after a power cut. A disk that cannot do this leaves old or
     * new files, which is all that is promised. */
    (void)sync_disk_of(".");
    return for_each_entry(package_path, sync_folder_of, last, nullptr);
}
