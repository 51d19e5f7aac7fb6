/* skin_folder: packages that are folders. */
#include "skin/skin_package.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <cstring>
#include <sys/stat.h>

/* The folders from the package down to the one being walked, so that a link back to one of them
 * is not followed. */
struct folder_trail {
    const folder_trail *above;
    dev_t device;
    ino_t inode;
    uint32_t depth;
};

struct folder_walk {
    skin_package *package;
    skin_visit visit;
    void *user;
};

using listing_owner = owner<file_listing, file_free_dir>;

static int folder_open(skin_package *package, const char *path)
{
    return file_list_dir(&package->top, path, nullptr) == 0 ? 1 : 0;
}

static int visit_files(const folder_walk &walk, const file_listing *listing, const char *inside)
{
    skin_package *package = walk.package;
    for (uint32_t i = listing->dir_count; i < listing->count; i++) {
        char name[skin_name_size];
        if (++package->seen > skin_limit_entries)
            return skin_package_fail(package, "the folder has too many entries", inside);
        /* What does not fit is longer than what a part could name. */
        if (!str_format(name, "%s%s", inside, listing->names[i])) {
            (void)skin_package_leave_out(package, "a name is too long", inside);
            continue;
        }
        package->member_path = listing->paths[i];
        const int result = walk.visit(package, name, walk.user);
        package->member_path = nullptr;
        if (result != 0)
            return result;
    }
    return 0;
}

static int walk_folder(const folder_walk &walk, const file_listing *listing, const char *inside,
                       const folder_trail *above);

static bool is_above(const folder_trail *trail, const struct stat &entry)
{
    for (; trail; trail = trail->above)
        if (trail->device == entry.st_dev && trail->inode == entry.st_ino)
            return true;
    return false;
}

static int enter_folder(const folder_walk &walk, const char *path, const char *inside,
                        const folder_trail *above)
{
    skin_package *package = walk.package;
    struct stat entry = {};
    if (stat(path, &entry) != 0)
        return 0; /* gone since it was listed */
    if (is_above(above, entry))
        return 0;
    if (above->depth >= skin_limit_depth)
        return skin_package_leave_out(package, "a folder is too deep", inside);
    file_listing below = {};
    if (file_list_dir(&below, path, nullptr) != 0)
        return skin_package_fail(package, "a folder cannot be listed", inside);
    const listing_owner holder(&below);
    const folder_trail trail = {above, entry.st_dev, entry.st_ino, above->depth + 1};
    return walk_folder(walk, &below, inside, &trail);
}

static int walk_folder(const folder_walk &walk, const file_listing *listing, const char *inside,
                       const folder_trail *above)
{
    const int result = visit_files(walk, listing, inside);
    if (result != 0)
        return result;
    for (uint32_t i = 0; i < listing->dir_count; i++) {
        char name[skin_name_size];
        if (strcmp(listing->names[i], "..") == 0)
            continue;
        if (++walk.package->seen > skin_limit_entries)
            return skin_package_fail(walk.package, "the folder has too many entries", inside);
        if (!str_format(name, "%s%s/", inside, listing->names[i])) {
            (void)skin_package_leave_out(walk.package, "a name is too long", inside);
            continue;
        }
        const int below = enter_folder(walk, listing->paths[i], name, above);
        if (below != 0)
            return below;
    }
    return 0;
}

static int folder_walk_all(skin_package *package, bool deep, skin_visit visit, void *user)
{
    const folder_walk walk = {package, visit, user};
    package->seen = 0;
    if (!deep)
        return visit_files(walk, &package->top, "");
    struct stat entry = {};
    if (stat(package->path, &entry) != 0)
        return skin_package_fail(package, "the folder is gone", "");
    const folder_trail trail = {nullptr, entry.st_dev, entry.st_ino, 0};
    return walk_folder(walk, &package->top, "", &trail);
}

static int folder_member_open(skin_package *package)
{
    package->member = file_fopen(package->member_path, "rb");
    package->member_left = skin_limit_member;
    return package->member ? 0 : -1;
}

static int folder_member_read(skin_package *package, void *to, unsigned size)
{
    const size_t got = fread(to, 1, size, package->member);
    if (got == 0 && ferror(package->member))
        return -1;
    return static_cast<int>(got);
}

static int folder_member_close(skin_package *package)
{
    FILE *member = package->member;
    package->member = nullptr;
    return fclose(member) == 0 ? 0 : -1;
}

static int folder_close(skin_package *package)
{
    return file_free_dir(&package->top);
}

constinit const skin_package_driver skin_package_folder = {
    .name = "folder",
    .open = folder_open,
    .walk = folder_walk_all,
    .member_open = folder_member_open,
    .member_read = folder_member_read,
    .member_close = folder_member_close,
    .close = folder_close,
};
