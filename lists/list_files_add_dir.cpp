/* list_files_add_dir: queues a folder with everything below it. */
#include "library/media.h"
#include "lists/list_files.h"
#include "lists/playlist/list_cur_playlist.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <sys/stat.h>

/* The folders that are being walked, innermost first. A link that leads back into one of them
 * would otherwise repeat its files until the path gets too long for the system. */
struct open_folder {
    dev_t device;
    ino_t inode;
    const open_folder *outer;
};

/* Where the walk puts the path to play first. */
struct first_path {
    char *out; /* null, or empty until the first file */
    size_t size;
};

using listing_owner = owner<file_listing, file_free_dir>;

static bool is_open(const open_folder *inner, const struct stat &about)
{
    for (; inner; inner = inner->outer)
        if (inner->device == about.st_dev && inner->inode == about.st_ino)
            return true;
    return false;
}

static void add_files(const file_listing &listing, const first_path &first)
{
    for (uint32_t i = listing.dir_count; i < listing.count; i++) {
        (void)list_cur_playlist_add(listing.paths[i], nullptr, nullptr); /* queued before: fine */
        if (first.out && first.out[0] == '\0')
            (void)str_copy_to(first.out, first.size, listing.paths[i]);
    }
}

static int add_dir(const char *dir, const first_path &first, const open_folder *outer)
{
    struct stat about;
    if (stat(dir, &about) != 0 || is_open(outer, about))
        return -1;
    const open_folder here = {.device = about.st_dev, .inode = about.st_ino, .outer = outer};
    file_listing listing;
    const int result = file_list_dir(&listing, dir, audio_file_filter);
    if (result != 0)
        return result;
    const listing_owner held(&listing);
    for (uint32_t i = 1; i < listing.dir_count; i++)   /* 0 leads to the parent */
        (void)add_dir(listing.paths[i], first, &here); /* an unreadable one is left out */
    add_files(listing, first);
    return 0;
}

int list_files_add_dir(const char *dir, char *first_out, size_t size)
{
    return add_dir(dir, {.out = first_out, .size = size}, nullptr);
}
