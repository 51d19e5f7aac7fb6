#include "update/update_unpack.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "update/update_package.h"

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

constexpr char fresh_path[] = "_tmp/.new";

/* Where one entry goes. */
struct placement {
    char target[1024];
    char parking[512];
    mode_t mode;
};

static int write_piece(void *context, const void *piece, size_t size)
{
    return fwrite(piece, 1, size, (FILE *)context) == size ? 0 : -1;
}

/* On the disk before it takes its place, else a power cut could leave an empty file there. */
static int finish_file(FILE *file, mode_t mode)
{
    if (fflush(file) != 0 || fchmod(fileno(file), mode) != 0 || fsync(fileno(file)) != 0)
        return -1;
    return 0;
}

static int extract(update_package *package, mode_t mode)
{
    owner<FILE, fclose> file(file_fopen(fresh_path, "wb"));
    if (!file || update_package_read(package, write_piece, file.get()) != 0 ||
        finish_file(file.get(), mode) != 0)
        return -1;
    return fclose(file.release()) == 0 ? 0 : -1;
}

static bool can_be_written(const char *target)
{
    const owner<FILE, fclose> file(file_fopen(target, "r+b"));
    return file != nullptr;
}

/* A second name first, where the disk knows such: then the target is never missing. */
static void park(const placement *place)
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

/* For targets that cannot be replaced by a rename: a link that somebody made, a folder in which
 * nothing can be made, another disk. */
static int overwrite(const placement *place)
{
    owner<FILE, fclose> from(file_fopen(fresh_path, "rb"));
    owner<FILE, fclose> to(file_fopen(place->target, "wb"));
    if (!to) {
        (void)file_rename(place->target, place->parking);
        to.reset(file_fopen(place->target, "wb"));
    }
    if (!from || !to || copy_file(from.get(), to.get()) != 0 || fflush(to.get()) != 0 ||
        fsync(fileno(to.get())) != 0)
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
static int put_in_place(const placement *place)
{
    struct stat old;
    if (is_folder(place->target))
        return -1;
    const bool exists = lstat(place->target, &old) == 0;
    if (exists && S_ISLNK(old.st_mode))
        return overwrite(place);
    if (exists && !can_be_written(place->target))
        park(place);
    if (file_rename(fresh_path, place->target) == 0)
        return 0;
    return overwrite(place);
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

static int unpack_file(update_package *package, const update_entry *entry)
{
    placement place;
    char name[update_name_size];
    str_copy(name, entry->name);
    if (!str_format(place.target, "%s/%s", ".", entry->name) ||
        !str_format(place.parking, "_tmp/%s.%u", file_basename(name), entry->index))
        return -1;
    place.mode = choose_mode(entry, place.target);
    if (extract(package, place.mode) != 0)
        return -1;
    return put_in_place(&place);
}

static void unpack_folder(const update_entry *entry)
{
    char path[1024];
    if (str_format(path, "%s/%s", ".", entry->name))
        (void)file_mkdir(path); /* a file that needs it fails by itself */
}

int update_unpack(const char *package_path)
{
    const owner<update_package, update_package_close> package(update_package_open(package_path));
    if (!package)
        return -1;
    (void)file_mkdir(".");
    const uint32_t count = update_package_count(package.get());
    for (uint32_t i = 0; i < count; i++) {
        update_entry entry;
        if ((i > 0 && update_package_next(package.get()) != 0) ||
            update_package_entry(package.get(), &entry) != 0)
            return -1;
        if (entry.is_folder)
            unpack_folder(&entry);
        else if (unpack_file(package.get(), &entry) != 0)
            return -1;
    }
    return 0;
}
