/* list_cur_playlist_entries: an array of entries beside an open-addressed set of their paths. */
#include "lists/playlist/list_cur_playlist_entries.h"

#include <cstdlib>
#include <cstring>

constexpr uint32_t fewest_slots = 64; /* a power of two, as every size of the set */

constinit sys_lock list_cur_playlist_lock;
constinit dynamic list_cur_playlist_cur = {};

/* The entries' own paths, each at the first free slot from its hash on; null is free. At most
 * three quarters are taken. */
static constinit const char **slots GUARDED_BY(list_cur_playlist_lock) = nullptr;
static constinit uint32_t slot_count GUARDED_BY(list_cur_playlist_lock) = 0;

/* FNV-1a, 32 bits: quick on short texts and spread well enough for paths of one folder. */
static uint32_t hash_of(const char *path)
{
    uint32_t hash = 2166136261u;
    for (; *path; path++)
        hash = (hash ^ static_cast<uint8_t>(*path)) * 16777619u;
    return hash;
}

/* The slot that holds the path, or the free one where it belongs. */
static uint32_t slot_for_locked(const char *path) REQUIRES(list_cur_playlist_lock)
{
    uint32_t slot = hash_of(path) & (slot_count - 1);
    while (slots[slot] && strcmp(slots[slot], path) != 0)
        slot = (slot + 1) & (slot_count - 1);
    return slot;
}

static const char *owned_path_locked(const char *path) REQUIRES(list_cur_playlist_lock)
{
    return slot_count ? slots[slot_for_locked(path)] : nullptr;
}

static playlist_entry *entries_locked() REQUIRES(list_cur_playlist_lock)
{
    return static_cast<playlist_entry *>(list_cur_playlist_cur.data);
}

/* Makes sure that one more path fits. */
static int slots_reserve_locked() REQUIRES(list_cur_playlist_lock)
{
    const uint64_t wanted = uint64_t{list_cur_playlist_cur.count} + 1;
    if (wanted * 4 <= uint64_t{slot_count} * 3)
        return 0;
    const uint32_t count = slot_count ? slot_count * 2 : fewest_slots;
    auto **grown = count ? static_cast<const char **>(calloc(count, sizeof *slots)) : nullptr;
    if (!grown)
        return -1;
    free(slots);
    slots = grown;
    slot_count = count;
    for (uint32_t i = 0; i < list_cur_playlist_cur.count; i++) {
        const char *path = entries_locked()[i].path;
        slots[slot_for_locked(path)] = path;
    }
    return 0;
}

/* Takes a path out and moves back what a search would no longer reach behind the gap. */
static void slots_remove_locked(const char *path) REQUIRES(list_cur_playlist_lock)
{
    const uint32_t mask = slot_count - 1;
    uint32_t gap = slot_for_locked(path);
    slots[gap] = nullptr;
    for (uint32_t slot = (gap + 1) & mask; slots[slot]; slot = (slot + 1) & mask) {
        const uint32_t home = hash_of(slots[slot]) & mask;
        if (((slot - home) & mask) < ((slot - gap) & mask))
            continue;
        slots[gap] = slots[slot];
        slots[slot] = nullptr;
        gap = slot;
    }
}

static void entry_free(playlist_entry *entry)
{
    free(entry->name);
    free(entry->path);
    *entry = {};
}

int list_cur_playlist_entries_init_locked()
{
    list_cur_playlist_entries_free_locked();
    return dynamic_init(&list_cur_playlist_cur, sizeof(playlist_entry));
}

void list_cur_playlist_entries_free_locked()
{
    list_cur_playlist_entries_clear_locked();
    (void)dynamic_free(&list_cur_playlist_cur);
    free(slots);
    slots = nullptr;
    slot_count = 0;
}

void list_cur_playlist_entries_clear_locked()
{
    for (uint32_t i = 0; i < list_cur_playlist_cur.count; i++)
        entry_free(&entries_locked()[i]);
    (void)dynamic_clear(&list_cur_playlist_cur);
    if (slots)
        memset(slots, 0, slot_count * sizeof *slots);
}

int list_cur_playlist_entries_append_locked(const char *name, const char *path)
{
    if (owned_path_locked(path) || slots_reserve_locked() != 0)
        return -1;
    playlist_entry entry = {.name = strdup(name), .path = strdup(path)};
    if (!entry.name || !entry.path || dynamic_add(&list_cur_playlist_cur, &entry) != 0) {
        entry_free(&entry);
        return -1;
    }
    slots[slot_for_locked(entry.path)] = entry.path;
    return 0;
}

int list_cur_playlist_entries_remove_locked(uint32_t index)
{
    if (index >= list_cur_playlist_cur.count)
        return -1;
    playlist_entry entry = entries_locked()[index];
    slots_remove_locked(entry.path);
    entry_free(&entry);
    return dynamic_remove(&list_cur_playlist_cur, index);
}

bool list_cur_playlist_entries_has_locked(const char *path)
{
    return owned_path_locked(path) != nullptr;
}

int32_t list_cur_playlist_entries_find_locked(const char *path)
{
    const char *owned = owned_path_locked(path);
    for (uint32_t i = 0; owned && i < list_cur_playlist_cur.count; i++)
        if (entries_locked()[i].path == owned)
            return static_cast<int32_t>(i);
    return -1;
}

const playlist_entry *list_cur_playlist_entries_at_locked(uint32_t index)
{
    return index < list_cur_playlist_cur.count ? &entries_locked()[index] : nullptr;
}
