#include "skin/skin_keep.h"

#include "platform/base/owner.h"
#include "platform/image/image.h"
#include "skin/skin_package.h"

#include <algorithm>
#include <cstdlib>

/* Larger files are rare, and decoded at once instead of being held. */
constexpr size_t most_bytes = 256 * 1024;
constexpr size_t most_bytes_of_part = 2 * 1024 * 1024;
constexpr size_t first_bytes = 4096;

using bytes_owner = owner<void, free>;

/* Fills up `size` bytes unless the member ends before; the bytes read, or -1. */
static int64_t read_bytes(skin_package *package, uint8_t *to, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const int got = skin_member_read(package, to + done, static_cast<unsigned>(size - done));
        if (got <= 0)
            return got < 0 ? -1 : static_cast<int64_t>(done);
        done += static_cast<size_t>(got);
    }
    return static_cast<int64_t>(done);
}

/* The whole of an open member, null where it is too large or cannot be read. */
static void *read_whole(skin_package *package, size_t *size)
{
    bytes_owner bytes(malloc(first_bytes));
    size_t held = 0;
    for (size_t room = first_bytes; bytes; room *= 2) {
        uint8_t *rest = static_cast<uint8_t *>(bytes.get()) + held;
        const int64_t got = read_bytes(package, rest, room - held);
        if (got < 0)
            return nullptr;
        held += static_cast<size_t>(got);
        *size = held;
        if (held < room)
            return bytes.release();
        void *grown = room < most_bytes ? realloc(bytes.get(), room * 2) : nullptr;
        if (!grown)
            return nullptr;
        (void)bytes.release();
        bytes.reset(grown);
    }
    return nullptr;
}

int skin_keep_read(skin_package *package, skin_picture_file *file)
{
    if (skin_member_open(package) != 0)
        return -1;
    skin_picture_file found = {};
    bytes_owner bytes(read_whole(package, &found.kept.size));
    /* The package's own checksum is compared here. */
    if (skin_member_close(package) != 0 || !bytes ||
        !image_is_whole_png(bytes.get(), found.kept.size, &found.width, &found.height))
        return -1;
    *file = found;
    file->kept.bytes = bytes.release();
    return 0;
}

int skin_keep_add(skin_part *part, const skin_kept &kept)
{
    size_t held = kept.size;
    for (uint32_t i = 0; i < part->kept_count; i++)
        held += part->kept[i].size;
    if (held > most_bytes_of_part)
        return -1;
    void *grown = realloc(part->kept, (part->kept_count + 1) * sizeof(skin_kept));
    if (!grown)
        return -1;
    part->kept = static_cast<skin_kept *>(grown);
    part->kept[part->kept_count++] = kept;
    return 0;
}

void skin_keep_for(skin_element *element, const skin_part *part, const skin_picture_file &file)
{
    (void)image_free(element->image); /* the package holds two files of this name */
    element->image = nullptr;
    element->kept = part->kept_count;
    if (element->width == 0)
        element->width = file.width;
    if (element->height == 0)
        element->height = file.height;
}

void skin_keep_note_pages(skin_part *part)
{
    for (uint32_t i = 0; i < part->count; i++) {
        skin_page *page = &part->pages[i];
        page->waits = std::any_of(page->elements, page->elements + page->element_count,
                                  [](const skin_element &each) { return each.kept != 0; });
    }
}

static int show_element(const skin_part *part, skin_element *element)
{
    const skin_kept &kept = part->kept[element->kept - 1];
    element->kept = 0;
    image *picture = image_read_from_memory("", kept.bytes, kept.size);
    if (!picture || image_dither(picture) != 0) {
        (void)image_free(picture);
        return -1;
    }
    element->image = picture;
    return 0;
}

int skin_show_page(const skin_part *part, skin_page *page)
{
    int result = 0;
    for (uint32_t i = 0; page->waits && i < page->element_count; i++)
        if (page->elements[i].kept && show_element(part, &page->elements[i]) != 0)
            result = -1;
    page->waits = false;
    return result;
}
