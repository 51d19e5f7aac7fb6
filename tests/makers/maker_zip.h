/* maker_zip: archives for tests, honest and dishonest ones.
 *
 * Functions return 0 or -1. Names are written as they are given. */
#pragma once

#include <cstddef>
#include <cstdint>

struct maker_zip;

enum maker_zip_method { maker_zip_store, maker_zip_deflate };

/* Makes a new archive, over an old file. Null on failure. */
[[nodiscard]] maker_zip *maker_zip_open(const char *path);
/* Writes the directory and frees the record. */
[[nodiscard]] int maker_zip_close(maker_zip *zip);

[[nodiscard]] int maker_zip_add(maker_zip *zip, const char *name, const void *data, size_t size,
                                maker_zip_method method);
/* Deflated text. */
[[nodiscard]] int maker_zip_add_text(maker_zip *zip, const char *name, const char *text);
/* A folder's entry: "/" is appended to the name. */
[[nodiscard]] int maker_zip_add_folder(maker_zip *zip, const char *name);
/* A symbolic link as archivers of POSIX systems store it. */
[[nodiscard]] int maker_zip_add_link(maker_zip *zip, const char *name, const char *target);
/* What archivers store of a device or a pipe: no data, and its kind, an S_IF value. */
[[nodiscard]] int maker_zip_add_special(maker_zip *zip, const char *name, uint32_t kind);
/* Stored data whose checksum does not fit. */
[[nodiscard]] int maker_zip_add_bad_crc(maker_zip *zip, const char *name, const void *data,
                                        size_t size);
/* Deflated data that claims to unpack to `declared` bytes. */
[[nodiscard]] int maker_zip_add_lie(maker_zip *zip, const char *name, const void *data, size_t size,
                                    uint64_t declared);
/* `size` equal bytes, honestly declared: a small archive that unpacks to a large file. */
[[nodiscard]] int maker_zip_add_bomb(maker_zip *zip, const char *name, char byte, uint64_t size);
