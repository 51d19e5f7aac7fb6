/* skin_part: finds the variants of a part in a package and puts them together. */
#include "skin/skin.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "skin/skin_package.h"
#include "skin/skin_parse.h"
#include "skin/skin_read.h"
#include "skin/skin_watch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

constexpr uint32_t first_capacity = 4;

using package_owner = owner<skin_package, skin_package_close>;
using part_owner = owner<skin_part, skin_free_part>;

/* A part file, by its number and by how many of the part stand before it in the package. */
struct variant_rank {
    int32_t variant;
    uint32_t order;
};

/* Which files of a part are read: those with the lowest numbers, as many as a part may have. */
struct variant_choice {
    const char *part_name;
    variant_rank lowest[skin_limit_variants]; /* ascending */
    uint32_t count;
    uint32_t met;
};

struct part_reading {
    const char *part_name;
    skin_part *part;
    uint32_t capacity; /* pages that the array has room for */
    variant_choice choice;
    uint32_t met; /* part files met so far */
    skin_room room;
    const skin_watcher *watcher;
};

static bool is_wanted(const char *name, const char *part_name, int32_t *variant)
{
    char part[skin_name_size];
    return skin_match_part(name, part, variant) && strcmp(part, part_name) == 0;
}

static int find_part(skin_package *, const char *name, void *user)
{
    int32_t variant = 0;
    return is_wanted(name, static_cast<const char *>(user), &variant) ? 1 : 0;
}

static bool comes_before(const variant_rank &a, const variant_rank &b)
{
    return a.variant != b.variant ? a.variant < b.variant : a.order < b.order;
}

static int rank_variant(skin_package *, const char *name, void *user)
{
    variant_choice *choice = static_cast<variant_choice *>(user);
    variant_rank rank = {0, choice->met};
    if (!is_wanted(name, choice->part_name, &rank.variant))
        return 0;
    choice->met++;
    variant_rank *end = choice->lowest + choice->count;
    variant_rank *place = std::upper_bound(choice->lowest, end, rank, comes_before);
    if (choice->count < skin_limit_variants)
        choice->count++;
    else if (place == end)
        return 0;
    else
        end--;
    std::copy_backward(place, end, end + 1);
    *place = rank;
    return 0;
}

static bool is_chosen(const variant_choice &choice, const variant_rank &rank)
{
    return std::binary_search(choice.lowest, choice.lowest + choice.count, rank, comes_before);
}

int skin_is_part_available(const char *package_path, const char *part_name)
{
    skin_package package;
    if (skin_package_open(&package, package_path) != 0)
        return 0;
    const package_owner holder(&package);
    char *wanted = strdup(part_name); /* the visit's argument is not const */
    const int found = wanted ? skin_package_walk(&package, false, find_part, wanted) : -1;
    free(wanted);
    return found > 0;
}

static bool grow(part_reading *reading)
{
    skin_part *part = reading->part;
    if (part->count < reading->capacity)
        return true;
    const uint32_t capacity = reading->capacity ? reading->capacity * 2 : first_capacity;
    void *grown = realloc(part->pages, capacity * sizeof(skin_page));
    if (!grown)
        return false;
    part->pages = static_cast<skin_page *>(grown);
    reading->capacity = capacity;
    return true;
}

/* The member's checksum is known only once it is closed, so a page is good only then. */
static int parse_member(skin_package *package, part_reading *reading, const char *name,
                        skin_page *page)
{
    if (skin_member_open(package) != 0) {
        skin_watch_file(reading->watcher, "unreadable", name, {0, 0}, package->member_reason);
        return -1;
    }
    const skin_source source = {
        .read = skin_member_read,
        .handle = package,
        .file = name,
        .room = &reading->room,
        .watcher = reading->watcher,
    };
    const int parsed = skin_parse(&source, page);
    const int closed = skin_member_close(package);
    if (parsed == 0 && closed != 0) {
        skin_watch_file(reading->watcher, "damaged", name, {0, 0}, "the file's checksum is wrong");
        skin_page_clear(page);
    }
    return parsed == 0 && closed == 0 ? 0 : -1;
}

/* A file that is refused is left out; the other variants are still worth having. */
static int read_page(skin_package *package, const char *name, void *user)
{
    part_reading *reading = static_cast<part_reading *>(user);
    const skin_watcher *watcher = reading->watcher;
    int32_t variant = 0;
    if (!is_wanted(name, reading->part_name, &variant))
        return 0;
    if (watcher && watcher->file_begin)
        watcher->file_begin(watcher->user, name, variant);
    bool taken = is_chosen(reading->choice, {variant, reading->met++});
    if (!taken)
        skin_watch_file(watcher, "too-many", name, {0, 0},
                        "the part has more than 256 variants: the lowest numbers are used");
    skin_page page = {};
    taken = taken && grow(reading) && parse_member(package, reading, name, &page) == 0;
    if (taken) {
        page.variant = variant;
        reading->part->pages[reading->part->count++] = page;
    }
    if (watcher && watcher->file_end)
        watcher->file_end(watcher->user, name, taken);
    return 0;
}

/* Equal numbers stay in the order of the package. */
static void sort_pages(skin_part *part)
{
    std::stable_sort(part->pages, part->pages + part->count,
                     [](const skin_page &a, const skin_page &b) { return a.variant < b.variant; });
}

skin_part *skin_read_pages(skin_package *package, const char *part_name,
                           const skin_watcher *watcher)
{
    part_owner part(static_cast<skin_part *>(calloc(1, sizeof(skin_part))));
    if (!part)
        return nullptr;
    part_reading reading = {
        .part_name = part_name,
        .part = part.get(),
        .capacity = 0,
        .choice = {.part_name = part_name, .lowest = {}, .count = 0, .met = 0},
        .met = 0,
        .room = skin_room_of_part,
        .watcher = watcher,
    };
    if (skin_package_walk(package, false, rank_variant, &reading.choice) != 0 ||
        skin_package_walk(package, false, read_page, &reading) != 0) {
        skin_package_tell(package, watcher);
        return nullptr;
    }
    if (part->count == 0)
        return nullptr;
    sort_pages(part.get());
    return part.release();
}

static skin_part *read_part(const char *package_path, const char *part_name,
                            const skin_watcher *watcher, bool may_wait)
{
    skin_package package;
    if (skin_package_open(&package, package_path) != 0) {
        skin_package_tell(&package, watcher);
        return nullptr;
    }
    part_owner part(skin_read_pages(&package, part_name, watcher));
    const bool whole = part && skin_load_images(&package, part.get(), watcher, may_wait) == 0;
    const int closed = skin_package_close(&package);
    return whole && closed == 0 ? part.release() : nullptr;
}

skin_part *skin_read_part_watched(const char *package_path, const char *part_name,
                                  const skin_watcher *watcher)
{
    return read_part(package_path, part_name, watcher, false);
}

skin_part *skin_read_part(const char *package_path, const char *part_name)
{
    return read_part(package_path, part_name, nullptr, false);
}

skin_part *skin_read_part_sparing(const char *package_path, const char *part_name)
{
    return read_part(package_path, part_name, nullptr, true);
}

int skin_free_part(skin_part *part)
{
    if (!part)
        return 0;
    for (uint32_t i = 0; i < part->count; i++)
        skin_page_clear(&part->pages[i]);
    for (uint32_t i = 0; i < part->kept_count; i++)
        free(part->kept[i].bytes);
    free(part->kept);
    free(part->pages);
    free(part);
    return 0;
}
