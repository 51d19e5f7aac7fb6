/* update_package: the zip archive of a new version, read with care: it came over the network and
 * nobody need have signed it. Worker thread. */
#pragma once

#include "update/update_name.h"

#include <cstddef>
#include <cstdint>

struct update_package;

struct update_entry {
    char name[update_name_size]; /* as update_name_clean() writes it; "" for folders only */
    bool is_folder;
    uint32_t index; /* place in the archive, from 0 */
    uint32_t mode;  /* permission bits that the packer kept, 0 when it kept none */
    uint64_t size;  /* bytes, as declared */
};

/* Null when it is no archive or an empty one. The first entry is the current one. */
[[nodiscard]] update_package *update_package_open(const char *path);
/* Accepts null. */
int update_package_close(update_package *package);
uint32_t update_package_count(const update_package *package);
/* Describes the current entry. -1 for a name that must not be unpacked, for symbolic links and
 * devices, and for entries that are encrypted or packed otherwise than by store and deflate. */
[[nodiscard]] int update_package_entry(update_package *package, update_entry *entry);
/* Hands the current entry's content over in pieces; `take` returns -1 to stop. -1 also for damaged
 * data, for another length than declared, and for a wrong checksum, which shows only after the last
 * piece. */
[[nodiscard]] int update_package_read(update_package *package,
                                      int (*take)(void *context, const void *piece, size_t size),
                                      void *context);
/* -1 at the end and for a damaged archive. */
[[nodiscard]] int update_package_next(update_package *package);

/* Whether every entry can be unpacked: names, folders, checksums, no file over a folder, and room
 * for all of it on the disk. Changes nothing.
 *   go_on  asked between entries; false gives up
 * 0 or -1. */
[[nodiscard]] int update_package_check(const char *path, bool (*go_on)());

/* Bytes free to us in the program folder. */
uint64_t update_free_space();
