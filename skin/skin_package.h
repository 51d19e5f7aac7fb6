/* skin_package: the files of a skin, whether they lie in an archive or in a folder.
 *
 * A package is read by one thread at a time. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <regex.h>

#include "platform/file/file.h"

struct skin_package;
struct skin_watcher;

constexpr size_t skin_name_size = 512;            /* longest name of a member, with its end */
constexpr uint32_t skin_limit_entries = 100000;   /* entries of a package, folders included */
constexpr uint32_t skin_limit_depth = 16;         /* folders within folders */
constexpr uint32_t skin_limit_member = 64u << 20; /* bytes of a member */

/* The pattern of part file names; skin_init() compiles it. */
extern regex_t re_pages;

/* Called for each file, which may be opened with skin_member_open() until it returns.
 *   name  path inside the package, "/" between folders
 * Returns 0 to go on, 1 to end the walk, -1 to end it as failed. */
typedef int (*skin_visit)(skin_package *package, const char *name, void *user);

struct skin_package_driver {
    const char *name;
    /* 1: opened; 0: the path is not of this kind; -1: it is, and cannot be used. */
    int (*open)(skin_package *package, const char *path);
    /* deep: folders within the package too; an archive is always walked whole. */
    int (*walk)(skin_package *package, bool deep, skin_visit visit, void *user);
    int (*member_open)(skin_package *package);
    int (*member_read)(skin_package *package, void *to, unsigned size);
    int (*member_close)(skin_package *package);
    int (*close)(skin_package *package);
};

struct skin_package {
    const skin_package_driver *driver;
    char path[1024];
    const char *reason; /* why a walk or the opening failed, for a watcher; null: unknown */
    char reason_name[skin_name_size]; /* the member that is meant, or "" */
    const char *left_out; /* why the first member that a walk left out was; null: none was */
    char left_out_name[skin_name_size];
    uint64_t member_left;      /* bytes that the open member may still give */
    const char *member_reason; /* why the last member did not open, for a watcher */
    /* archive */
    void *zip;
    uint64_t entries;
    /* folder */
    file_listing top;
    uint32_t seen;           /* entries met on the walk that is under way */
    const char *member_path; /* the file being visited */
    FILE *member;
};

extern const skin_package_driver skin_package_zip;
extern const skin_package_driver skin_package_folder;

/* -1 when it is neither an archive nor a folder; the record is closed then. */
[[nodiscard]] int skin_package_open(skin_package *package, const char *path);
/* Accepts a closed record. -1 when the archive does not close. */
int skin_package_close(skin_package *package);
/* Visits the files in their order. Returns 0 at the end, 1 when the visit ended it, -1 when the
 * visit or the package failed. */
[[nodiscard]] int skin_package_walk(skin_package *package, bool deep, skin_visit visit, void *user);

/* The file being visited. One at a time; a failed opening leaves nothing open. */
[[nodiscard]] int skin_member_open(skin_package *package);
/* > 0 bytes read, 0 at the end, < 0 on error. `handle` is the skin_package. */
int skin_member_read(void *handle, void *to, unsigned size);
/* -1 when the content was damaged. */
int skin_member_close(skin_package *package);

/* True when the name is one of a part file; fills the part's name (skin_name_size) and variant. */
bool skin_match_part(const char *name, char *part, int32_t *variant);
/* True when a name of an archive leads out of the folder it would be unpacked in. */
bool skin_name_leaves(const char *name);
/* Notes that a member is left out, for a watcher; returns 0. */
int skin_package_leave_out(skin_package *package, const char *reason, const char *name);
/* Notes why the package fails, for a watcher; returns -1. */
int skin_package_fail(skin_package *package, const char *reason, const char *name);
/* Tells a watcher (may be null) what was noted. */
void skin_package_tell(const skin_package *package, const skin_watcher *watcher);
