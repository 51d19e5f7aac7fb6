/* library_walk: every file below a folder.
 *
 * The open folders are kept in a list on the heap: workers have small stacks, and a tree may be as
 * deep as a path may be long. Of each only the names of its subfolders are kept while they are
 * walked. */
#include "library/library_walk.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <sys/stat.h>

/* Folders that were entered through links; more links than this are not followed. */
constexpr uint32_t walk_most_links = 1024;

struct walk_identity {
    dev_t device;
    ino_t inode;
};

struct walk_folder {
    walk_folder *above;
    file_listing listing;
    const char *path; /* belongs to the folder above, or to the caller */
    uint32_t next;    /* the subfolder to enter next */
    walk_identity identity;
    bool files_are_due;
};

struct walk {
    const library_walk_plan *plan;
    walk_folder *innermost;
    uint32_t names; /* to be walked, of all open folders */
    uint32_t link_count;
    bool stopped;
    int root_error;  /* why the folder itself could not be listed, 0: it could */
    bool has_failed; /* some other folder could not be listed */
    walk_identity links[walk_most_links];
};

static bool walk_is_same(const walk_identity &left, const walk_identity &right)
{
    return left.device == right.device && left.inode == right.inode;
}

/* Notes that a folder cannot be listed; errno says why. */
static void walk_fail(walk *the)
{
    if (!the->innermost)
        the->root_error = errno;
    the->has_failed = true;
}

static bool walk_is_open(const walk *the, const walk_identity &wanted)
{
    for (const walk_folder *folder = the->innermost; folder; folder = folder->above)
        if (walk_is_same(folder->identity, wanted))
            return true;
    return false;
}

/* Whether a link may be followed; remembers where it leads. */
static bool walk_take_link(walk *the, const walk_identity &to)
{
    for (uint32_t i = 0; i < the->link_count; i++)
        if (walk_is_same(the->links[i], to))
            return false;
    if (the->link_count == walk_most_links)
        return false;
    the->links[the->link_count++] = to;
    return true;
}

static bool walk_is_link(const char *path)
{
    struct stat entry;
    return lstat(path, &entry) == 0 && S_ISLNK(entry.st_mode);
}

/* Whether a folder is one to enter; where it lies on the disk comes out. */
static bool walk_may_enter(walk *the, const char *path, walk_identity *out)
{
    struct stat about;
    if (stat(path, &about) != 0) {
        walk_fail(the);
        return false;
    }
    *out = {.device = about.st_dev, .inode = about.st_ino};
    const walk_folder *above = the->innermost;
    if (walk_is_open(the, *out))
        return false;
    /* Another file system begins where the device changes. */
    if ((!above || above->identity.device != about.st_dev) && file_is_kernels_own(path, &about))
        return false;
    return !above || !walk_is_link(path) || walk_take_link(the, *out);
}

static bool walk_goes_on(walk *the)
{
    the->stopped = the->stopped || !the->plan->go_on(the->plan->user);
    return !the->stopped;
}

static int walk_list(walk *the, const char *path, file_listing *out)
{
    const library_walk_plan *plan = the->plan;
    if (file_list_dir_while(out, path, plan->filter, plan->go_on, plan->user) == 0)
        return 0;
    the->stopped = the->stopped || errno == ECANCELED;
    walk_fail(the);
    return -1;
}

static void walk_visit_files(walk *the, const file_listing *listing, const char *dir)
{
    for (uint32_t i = listing->dir_count; i < listing->count && !the->stopped; i++)
        the->stopped = the->plan->visit(the->plan->user, listing->paths[i], dir) != 0;
}

/* Forgets the names of the files, which are the many. */
static void walk_drop_files(file_listing *listing)
{
    while (listing->count > listing->dir_count)
        free(listing->paths[--listing->count]);
}

/* Files come before the subfolders, or at once when there are none of these; else later. */
static void walk_take_files(walk *the, walk_folder *folder)
{
    const bool has_folders = folder->listing.dir_count > 1;
    const bool has_files = folder->listing.count > folder->listing.dir_count;
    folder->files_are_due =
        the->plan->order == library_walk_order::folders_first && has_folders && has_files;
    if (!folder->files_are_due)
        walk_visit_files(the, &folder->listing, folder->path);
    walk_drop_files(&folder->listing);
}

static void walk_enter(walk *the, const char *path)
{
    walk_identity identity;
    if (!walk_goes_on(the) || !walk_may_enter(the, path, &identity))
        return;
    walk_folder *folder = static_cast<walk_folder *>(calloc(1, sizeof(walk_folder)));
    if (!folder)
        walk_fail(the);
    if (!folder || walk_list(the, path, &folder->listing) != 0) {
        free(folder);
        return;
    }
    folder->above = the->innermost;
    folder->path = path;
    folder->next = 1; /* the first is the parent */
    folder->identity = identity;
    walk_take_files(the, folder);
    if (folder->listing.dir_count > the->plan->most_names - the->names)
        folder->next = folder->listing.dir_count;
    the->names += folder->listing.dir_count;
    the->innermost = folder;
}

/* The files that had to wait are listed again. */
static void walk_visit_due(walk *the, const walk_folder *folder)
{
    file_listing again;
    if (!walk_goes_on(the) || walk_list(the, folder->path, &again) != 0)
        return;
    walk_visit_files(the, &again, folder->path);
    (void)file_free_dir(&again);
}

static void walk_leave(walk *the)
{
    walk_folder *folder = the->innermost;
    if (folder->files_are_due && !the->stopped)
        walk_visit_due(the, folder);
    the->innermost = folder->above;
    the->names -= folder->listing.dir_count;
    (void)file_free_dir(&folder->listing);
    free(folder);
}

/* 0, or why a folder cannot be listed. */
static int walk_error_of(const char *dir)
{
    file_listing listing;
    const auto no_names = [](const char *, const struct stat *) { return 0; };
    if (file_list_dir(&listing, dir, no_names) != 0)
        return errno;
    (void)file_free_dir(&listing);
    return 0;
}

static bool walk_is_absent(int error)
{
    return error == ENOENT || error == ENOTDIR || error == EACCES || error == ELOOP ||
           error == ENAMETOOLONG;
}

/* A subfolder with a bad block is left out; a card that is gone takes its folder along. */
static library_walk_end walk_end_of(const walk *the, const char *dir)
{
    if (the->stopped)
        return library_walk_end::stopped;
    int error = the->root_error;
    if (error != 0 && walk_is_absent(error))
        return library_walk_end::absent;
    if (error == 0 && the->has_failed)
        error = walk_error_of(dir);
    return error == 0 || walk_is_absent(error) ? library_walk_end::done : library_walk_end::failed;
}

library_walk_end library_walk(const char *dir, const library_walk_plan *plan)
{
    if (!*dir)
        return library_walk_end::absent;
    walk *the = static_cast<walk *>(calloc(1, sizeof(walk)));
    if (!the)
        return library_walk_end::failed;
    the->plan = plan;
    walk_enter(the, dir);
    while (the->innermost) {
        walk_folder *folder = the->innermost;
        if (!the->stopped && folder->next < folder->listing.dir_count)
            walk_enter(the, folder->listing.paths[folder->next++]);
        else
            walk_leave(the);
    }
    const library_walk_end end = walk_end_of(the, dir);
    free(the);
    return end;
}
