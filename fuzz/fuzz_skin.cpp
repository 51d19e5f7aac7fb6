/* fuzz_skin: part files, and whole packages when the input begins like an archive. */
#include "fuzz/fuzz.h"
#include "skin/skin.h"
#include "skin/skin_parse.h"
#include "skin/skin_read.h"

#include <algorithm>
#include <cstring>

struct input {
    const uint8_t *data;
    size_t left;
};

static int read_input(void *handle, void *buffer, unsigned length)
{
    input *from = static_cast<input *>(handle);
    const size_t size = std::min<size_t>(length, from->left);
    if (size == 0)
        return 0; /* an empty input may have no address */
    memcpy(buffer, from->data, size);
    from->data += size;
    from->left -= size;
    return static_cast<int>(size);
}

/* Asks for every place, so that the search in the tag's own text is tried as well. */
static void note_tag(void *, const skin_tag *tag)
{
    for (const char *const *at = tag->attributes; *at; at += 2)
        if (skin_tag_attribute_place(tag, at[0]).line < tag->place.line)
            abort();
}

static const skin_watcher watcher = {.user = nullptr, .tag = note_tag};

static void try_part(const uint8_t *data, size_t size)
{
    input from = {data, size};
    skin_room room = skin_room_of_part;
    const skin_source source = {read_input, &from, "", &room, &watcher};
    skin_page page;
    if (skin_parse(&source, &page) == 0)
        for (uint32_t i = 0; i < page.element_count; i++)
            (void)skin_get_scroll_permillage(&page.elements[i], 10, 10);
    skin_page_clear(&page);
}

static void try_package(const uint8_t *data, size_t size)
{
    const fuzz_file file(data, size);
    for (const char *part : {"list", "play"}) {
        (void)skin_is_part_available(file.path, part);
        skin_part *read = skin_read_part_watched(file.path, part, &watcher);
        (void)skin_free_part(read);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool ready = skin_init() == 0;
    if (!ready)
        abort();
    if (size >= 2 && memcmp(data, "PK", 2) == 0)
        try_package(data, size);
    else
        try_part(data, size);
    return 0;
}
