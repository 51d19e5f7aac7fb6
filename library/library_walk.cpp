/* library_walk: every music file and playlist below a folder.
 *
 * The open folders are kept in a list on the heap: workers have small stacks, and a tree may be as
 * deep as a path may be long. */
#include "library/library_walk.h"

#include "library/media.h"
#include "platform/file/file.h"

#include <cstdint>
#include <cstdlib>
#include <sys/stat.h>

struct walk_folder {
    walk_folder *above;
    file_listing listing;
    uint32_t next; /* the subfolder to enter next */
    dev_t device;
    ino_t inode;
};

static bool walk_is_open(const walk_folder *innermost, const struct stat *entry)
{
    for (const walk_folder *folder = innermost; folder; folder = folder->above)
        if (folder->device == entry->st_dev && folder->inode == entry->st_ino)
            return true;
    return false;
}

/* Null when the folder cannot be entered or is open already. */
static walk_folder *walk_enter(walk_folder *above, const char *dir)
{
    struct stat entry;
    if (stat(dir, &entry) != 0 || walk_is_open(above, &entry))
        return nullptr;
    walk_folder *folder = static_cast<walk_folder *>(calloc(1, sizeof(walk_folder)));
    if (!folder)
        return nullptr;
    folder->above = above;
    folder->next = 1; /* the first is the parent */
    folder->device = entry.st_dev;
    folder->inode = entry.st_ino;
    if (file_list_dir(&folder->listing, dir, media_file_filter) == 0)
        return folder;
    free(folder);
    return nullptr;
}

static walk_folder *walk_leave(walk_folder *folder)
{
    walk_folder *above = folder->above;
    (void)file_free_dir(&folder->listing);
    free(folder);
    return above;
}

static int walk_files(const walk_folder *folder, const char *dir, library_walk_visit visit,
                      void *user)
{
    const file_listing *listing = &folder->listing;
    for (uint32_t i = listing->dir_count; i < listing->count; i++)
        if (visit(user, listing->paths[i], dir) != 0)
            return -1;
    return 0;
}

/* Returns the folder to go on with, null when the walk has ended. */
static walk_folder *walk_down(walk_folder *above, const char *dir, library_walk_visit visit,
                              void *user)
{
    walk_folder *folder = walk_enter(above, dir);
    if (!folder)
        return above;
    if (walk_files(folder, dir, visit, user) == 0)
        return folder;
    while (folder)
        folder = walk_leave(folder);
    return nullptr;
}

void library_walk(const char *dir, library_walk_visit visit, void *user)
{
    walk_folder *folder = walk_down(nullptr, dir, visit, user);
    while (folder) {
        if (folder->next < folder->listing.dir_count)
            folder = walk_down(folder, folder->listing.paths[folder->next++], visit, user);
        else
            folder = walk_leave(folder);
    }
}
