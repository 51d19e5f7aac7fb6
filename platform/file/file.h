/* file: paths, folders and files. Paths are bytes; nothing is converted. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct stat;

/* Tells whether a listing keeps an entry.
 *   name   display name, without folder
 *   entry  what stat() says, links followed
 * Returns 1 to keep it, 0 to leave it out. */
typedef int (*file_filter)(const char *name, const struct stat *entry);

/* A folder's contents: folders first, ".." the first of them, then files; each group in natural
 * order ("2" before "10") without regard to ASCII case, then in byte order. */
struct file_listing {
    char **names; /* display names */
    char **paths; /* folder + "/" + name as given; for ".." of an absolute folder its parent */
    uint32_t count;
    uint32_t dir_count; /* folders, ".." included */
};

/* fopen() that closes on exec and does not wait for the writer of a pipe. Null when it fails, and
 * errno says why: only ENOENT means that there is no such file. A "w" mode empties the file at
 * once: small state files go through file_replace_open() instead. */
[[nodiscard]] FILE *file_fopen(const char *path, const char *mode);

/* A writer whose target holds the whole old or the whole new content at any moment: written to a
 * temporary name beside it, synced and renamed. Where the folder cannot be written but the file
 * can, it is written in place. */
struct file_replacement;
[[nodiscard]] file_replacement *file_replace_open(const char *path);
FILE *file_replace_stream(file_replacement *replacement);
/* Puts the new content in place and frees the record. -1 leaves the old content (except in
 * place). */
int file_replace_commit(file_replacement *replacement);
/* Drops the new content and frees the record. Accepts null. */
void file_replace_cancel(file_replacement *replacement);
/* All of it in one go. -1 leaves the old content. */
[[nodiscard]] int file_replace_all(const char *path, const void *data, size_t size);
/* Removes what writers of that file that were killed have left beside it. */
void file_replace_sweep(const char *path);
/* Keeps a file that is about to be replaced as "NAME.old" beside it, or as "NAME.old2" to
 * "NAME.old9" where older ones are kept. 0 also when there is nothing to keep; -1 when it could
 * not be kept and must not be replaced. */
[[nodiscard]] int file_keep_old(const char *path);

/* Lists regular files and folders; null filter keeps all. ".." is always listed, for "/" too. An
 * entry that cannot be looked at is left out. -1: `out` is zeroed, and errno says why. */
[[nodiscard]] int file_list_dir(file_listing *out, const char *dir, file_filter filter);
/* The same for a folder of any size: `go_on` is asked every few entries, and false ends it with
 * ECANCELED. */
[[nodiscard]] int file_list_dir_while(file_listing *out, const char *dir, file_filter filter,
                                      bool (*go_on)(void *user), void *user);
/* Whether a folder, which stat() has told of, belongs to a file system that the kernel makes up
 * (processes, devices, settings): its folders have no end, and no music. */
bool file_is_kernels_own(const char *dir, const struct stat *about);
/* Zeroes the record; a second call is harmless. */
int file_free_dir(file_listing *listing);

/* The last "." of the base name, inside `path`; null when there is none or it leads the name. */
const char *file_get_ext(const char *path);
/* May modify its argument and returns a pointer into it. "/a/b/" gives "b", "/" gives "/". */
char *file_basename(char *path);
/* "/music/list.m3u" gives "/music", "current.m3u" gives ".", "/x" and "/" give "/". */
char *file_dirname(char *path);
int file_is_absolute_path(const char *path);
/* Joins with the working folder and normalises; the path need not exist. "" fails and leaves an
 * empty text; so does what does not fit. */
int file_get_absolute_path(const char *path, char *out, size_t size);
/* Removes ".", ".." and doubled "/" without looking at the disk, and makes it absolute. */
int file_resolve_path(const char *path, char *out, size_t size);
/* Mode 0755; an existing folder is a success. */
int file_mkdir(const char *path);
/* Removes a file, or a folder with its contents. Never follows a symbolic link. */
int file_remove(const char *path);
int file_rename(const char *from, const char *to);
