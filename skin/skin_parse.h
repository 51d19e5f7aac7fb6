/* skin_parse: one part file, from its bytes to a page. */
#pragma once

#include <cstdint>

struct skin_page;
struct skin_watcher;

constexpr uint32_t skin_limit_text = 1024 * 1024; /* bytes of a part file */
/* Rows of a list element: any number up to the first; beyond, no more than the second, and so many
 * that the row in their middle, which the cursor is on, is on the screen. */
constexpr uint32_t skin_plain_rows = 64;
constexpr uint32_t skin_limit_rows = 480;

/* What one part may still take. A package is somebody else's work: a file of a few bytes can stand
 * for any number of elements, and an archive for any number of files. */
struct skin_room {
    uint32_t text;     /* bytes */
    uint32_t elements; /* rows of lists included */
    uint32_t content;  /* bytes of values and of text between tags, entities replaced */
};

constexpr skin_room skin_room_of_part = {
    .text = 16 * skin_limit_text,
    .elements = 16384,
    .content = 16 * skin_limit_text,
};

/* Reads up to `length` bytes: > 0 bytes read, 0 at the end, < 0 on error. */
typedef int (*skin_read)(void *handle, void *buffer, unsigned length);

struct skin_source {
    skin_read read;
    void *handle;
    const char *file;            /* for the watcher */
    skin_room *room;             /* reduced by what was read, also when the file is refused */
    const skin_watcher *watcher; /* may be null */
};

/* Parses a whole file into `page`, which it overwrites, `variant` stays 0. -1 when it is refused;
 * the page is empty then. The caller ends the page with skin_page_clear(). */
[[nodiscard]] int skin_parse(const skin_source *source, skin_page *page);
/* How many rows a list element makes, and would make without a limit. The list needs a font size
 * above 0. */
struct skin_row_count {
    uint32_t made;
    uint64_t wanted;
};
skin_row_count skin_count_rows(int32_t y, int32_t height, int32_t font_size);
/* Frees what a page holds and leaves it empty. */
void skin_page_clear(skin_page *page);
