/* skin_image: the images of a part, decoded straight out of the package. */
#include "skin/skin_read.h"

#include "platform/base/owner.h"
#include "platform/image/image.h"
#include "skin/skin.h"
#include "skin/skin_keep.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

/* An image costs work whatever its size: a package may hold a name a thousand times. */
constexpr uint64_t least_pixels = 1024;
/* A watcher hears of so many: what fails has cost the work of an image without counting as one. */
constexpr uint32_t most_failures = 16;

using image_owner = owner<image, image_free>;

/* An element that wants an image. Each has its own copy. */
struct image_want {
    const char *src; /* the element's */
    skin_element *element;
};

/* The wants stand in the order of their names: a package may hold a hundred thousand files. */
struct image_loading {
    skin_part *part;
    image_want *wants;
    size_t count;
    uint64_t pixels_left, bytes_left;
    const skin_watcher *watcher;
    uint32_t failed; /* images */
    bool may_wait;
};

static bool comes_before(const image_want &want, const char *name)
{
    return strcmp(want.src, name) < 0;
}

static size_t count_wants(const skin_part *part)
{
    size_t count = 0;
    for (uint32_t page = 0; page < part->count; page++)
        for (uint32_t i = 0; i < part->pages[page].element_count; i++)
            count += part->pages[page].elements[i].src != nullptr;
    return count;
}

static void collect_wants(const skin_part *part, image_loading *loading)
{
    for (uint32_t page = 0; page < part->count; page++)
        for (uint32_t i = 0; i < part->pages[page].element_count; i++) {
            skin_element *element = &part->pages[page].elements[i];
            if (element->src)
                loading->wants[loading->count++] = {element->src, element};
        }
    std::sort(loading->wants, loading->wants + loading->count,
              [](const image_want &a, const image_want &b) { return comes_before(a, b.src); });
}

struct counted_member {
    skin_package *package;
    uint64_t *left; /* bytes */
};

static int read_counted(void *handle, void *to, unsigned size)
{
    counted_member *member = static_cast<counted_member *>(handle);
    const int got = skin_member_read(member->package, to, size);
    if (got <= 0)
        return got;
    if (static_cast<uint64_t>(got) > *member->left)
        return -1;
    *member->left -= static_cast<uint64_t>(got);
    return got;
}

static int refuse(const image_loading *loading, const char *name, const char *code,
                  const char *reason)
{
    skin_watch_file(loading->watcher, code, name, {0, 0}, reason);
    return -1;
}

/* Decoders stop at the end of the picture, the checksum is compared at the end of the member. */
static int read_rest(counted_member *member)
{
    char rest[1024];
    int got = 0;
    while ((got = read_counted(member, rest, sizeof(rest))) > 0)
        continue;
    return got;
}

static image *decode(skin_package *package, const char *name, image_loading *loading)
{
    if (skin_member_open(package) != 0) {
        (void)refuse(loading, name, "image", package->member_reason);
        return nullptr;
    }
    counted_member member = {package, &loading->bytes_left};
    image_owner picture(image_read_with_cb(name, read_counted, &member));
    const bool whole = picture && read_rest(&member) == 0;
    const int closed = skin_member_close(package);
    if (!whole || closed != 0 || image_dither(picture.get()) != 0) {
        (void)refuse(loading, name, "image",
                     picture ? "the image is damaged" : "the image does not decode");
        return nullptr;
    }
    return picture.release();
}

static void take_image(skin_element *element, image *picture)
{
    (void)image_free(element->image); /* the package holds two files of this name */
    element->image = picture;
    element->kept = 0;
    if (element->width == 0)
        element->width = picture->width;
    if (element->height == 0)
        element->height = picture->height;
}

static uint64_t pixels_of(int32_t width, int32_t height)
{
    return std::max(static_cast<uint64_t>(width) * static_cast<uint64_t>(height), least_pixels);
}

static int load_one(skin_package *package, const char *name, image_loading *loading,
                    skin_element *element)
{
    image_owner picture(decode(package, name, loading));
    if (!picture)
        return -1;
    const uint64_t pixels = pixels_of(picture->width, picture->height);
    if (pixels > loading->pixels_left)
        return refuse(loading, name, "too-many", "the images of the part are too large together");
    loading->pixels_left -= pixels;
    take_image(element, picture.release());
    return 0;
}

static uint64_t count_uses(const image_loading *loading, const image_want *want)
{
    const image_want *end = loading->wants + loading->count, *next = want;
    while (next != end && strcmp(next->src, want->src) == 0)
        next++;
    return static_cast<uint64_t>(next - want);
}

/* Whether the file was kept for those who want it. The budget is the one of decoding: what waits is
 * refused no later than what does not. */
static bool keep(skin_package *package, image_loading *loading, const image_want *want)
{
    skin_picture_file file = {};
    if (skin_keep_read(package, &file) != 0)
        return false;
    const uint64_t uses = count_uses(loading, want);
    const uint64_t pixels = pixels_of(file.width, file.height) * uses;
    if (pixels > loading->pixels_left || file.kept.size * uses > loading->bytes_left ||
        skin_keep_add(loading->part, file.kept) != 0) {
        free(file.kept.bytes);
        return false;
    }
    loading->pixels_left -= pixels;
    loading->bytes_left -= file.kept.size * uses;
    for (uint64_t i = 0; i < uses; i++)
        skin_keep_for(want[i].element, loading->part, file);
    return true;
}

static int load_file(skin_package *package, const char *name, void *user)
{
    image_loading *loading = static_cast<image_loading *>(user);
    image_want *end = loading->wants + loading->count;
    image_want *want = std::lower_bound(loading->wants, end, name, comes_before);
    if (want == end || strcmp(want->src, name) != 0)
        return 0;
    if (loading->may_wait && keep(package, loading, want))
        return 0;
    for (; want != end && strcmp(want->src, name) == 0; want++) {
        if (load_one(package, name, loading, want->element) == 0)
            continue;
        if (!loading->watcher || ++loading->failed == most_failures)
            return -1;
        return 0; /* it would fail for the other elements too */
    }
    return 0;
}

int skin_load_images(skin_package *package, skin_part *part, const skin_watcher *watcher,
                     bool may_wait)
{
    const size_t count = count_wants(part);
    const owner<image_want, free> wants(
        static_cast<image_want *>(calloc(count + 1, sizeof(image_want))));
    if (!wants)
        return -1;
    image_loading loading = {
        .part = part,
        .wants = wants.get(),
        .count = 0,
        .pixels_left = skin_limit_pixels,
        .bytes_left = skin_limit_image_bytes,
        .watcher = watcher,
        .failed = 0,
        .may_wait = may_wait,
    };
    collect_wants(part, &loading);
    if (skin_package_walk(package, true, load_file, &loading) != 0) {
        skin_package_tell(package, watcher);
        return -1;
    }
    skin_keep_note_pages(part);
    return loading.failed > 0 ? -1 : 0;
}
