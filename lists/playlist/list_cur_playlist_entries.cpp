/* list_cur_playlist_entries: an array of entries beside an open-addressed set of their paths. */
#include "lists/playlist/list_cur_playlist_entries.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

constexpr uint32_t fewest_slots = 64; /* a power of two, as every size of the set */

constinit sys_lock list_cur_playlist_lock;
constinit dynamic list_cur_playlist_cur = {};

/* Stands at the first free place from its path's hash on. */
struct path_slot {
    uint32_t hash;
    uint32_t number; /* the entry's index plus one; 0: free */
};

/* At most three quarters are taken. */
static constinit path_slot *slots GUARDED_BY(list_cur_playlist_lock) = nullptr;
static constinit uint32_t slot_count GUARDED_BY(list_cur_playlist_lock) = 0;

static playlist_entry *entries_locked() REQUIRES(list_cur_playlist_lock)
{
    return static_cast<playlist_entry *>(list_cur_playlist_cur.data);
}

/* FNV-1a over four bytes at a time. Its low bits know little of the high ones of the last word, so
 * these are folded in. */
static uint32_t hash_of(const char *path)
{
    uint32_t hash = 2166136261u;
    for (size_t left = strlen(path); left > 0;) {
        uint32_t word = 0;
        const size_t length = left < sizeof word ? left : sizeof word;
        memcpy(&word, path, length);
        hash = (hash ^ word) * 16777619u;
        hash ^= hash >> 15;
        path += length;
        left -= length;
    }
    return hash;
}

/* The slot that holds the path, or the free one where it belongs. */
static uint32_t slot_for_locked(const char *path, uint32_t hash) REQUIRES(list_cur_playlist_lock)
{
    assert(slot_count > list_cur_playlist_cur.count); /* a search ends at a free slot */
    const uint32_t mask = slot_count - 1;
    uint32_t at = hash & mask;
    while (slots[at].number && (slots[at].hash != hash ||
                                strcmp(entries_locked()[slots[at].number - 1].path, path) != 0))
        at = (at + 1) & mask;
    return at;
}

/* Makes sure that one more path fits. */
static int slots_reserve_locked() REQUIRES(list_cur_playlist_lock)
{
    const uint64_t wanted = uint64_t{list_cur_playlist_cur.count} + 1;
    if (wanted * 4 <= uint64_t{slot_count} * 3)
        return 0;
    const uint32_t count = slot_count ? slot_count * 2 : fewest_slots;
    auto *grown = count ? static_cast<path_slot *>(calloc(count, sizeof *slots)) : nullptr;
    if (!grown)
        return -1;
    for (uint32_t i = 0; i < slot_count; i++) {
        uint32_t at = slots[i].hash & (count - 1);
        while (slots[i].number && grown[at].number)
            at = (at + 1) & (count - 1);
        if (slots[i].number)
            grown[at] = slots[i];
    }
    free(slots);
    slots = grown;
    slot_count = count;
    return 0;
}

/* Takes a path out and moves back what a search would no longer reach behind the gap. */
static void slots_remove_locked(const char *path) REQUIRES(list_cur_playlist_lock)
{
    const uint32_t mask = slot_count - 1;
    uint32_t gap = slot_for_locked(path, hash_of(path));
    const uint32_t removed = slots[gap].number;
    assert(removed > 0); /* what is queued has its slot */
    slots[gap] = {};
    for (uint32_t at = (gap + 1) & mask; slots[at].number; at = (at + 1) & mask) {
        const uint32_t home = slots[at].hash & mask;
        if (((at - home) & mask) < ((at - gap) & mask))
            continue;
        slots[gap] = slots[at];
        slots[at] = {};
        gap = at;
    }
    /* The entries behind it move up by one. */
    for (uint32_t i = 0; i < slot_count; i++)
        slots[i].number -= slots[i].number > removed;
}

/* Both texts in one block: fifty thousand entries are a good part of a small device's memory. */
static int entry_init(playlist_entry *entry, const char *name, const char *path)
{
    const size_t path_length = strlen(path);
    const size_t name_length = strlen(name);
    const bool is_end = name_length <= path_length &&
                        memcmp(path + path_length - name_length, name, name_length) == 0;
    const size_t size = path_length + 1 + (is_end ? 0 : name_length + 1);
    char *block = static_cast<char *>(malloc(size));
    if (!block)
        return -1;
    memcpy(block, path, path_length + 1);
    char *own_name = block + (is_end ? path_length - name_length : path_length + 1);
    if (!is_end)
        memcpy(own_name, name, name_length + 1);
    *entry = {.name = own_name, .path = block};
    return 0;
}

static void entry_free(playlist_entry *entry)
{
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
    if (slots_reserve_locked() != 0)
        return -1;
    const uint32_t hash = hash_of(path);
    path_slot *slot = &slots[slot_for_locked(path, hash)];
    playlist_entry entry = {};
    if (slot->number || entry_init(&entry, name, path) != 0)
        return -1;
    if (dynamic_add(&list_cur_playlist_cur, &entry) != 0) {
        entry_free(&entry);
        return -1;
    }
    *slot = {.hash = hash, .number = list_cur_playlist_cur.count};
    return 0;
}

int list_cur_playlist_entries_name_locked(uint32_t index, const char *name)
{
    assert(index < list_cur_playlist_cur.count);
    playlist_entry named = {};
    playlist_entry *entry = &entries_locked()[index];
    if (entry_init(&named, name, entry->path) != 0)
        return -1;
    entry_free(entry);
    *entry = named;
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
    return list_cur_playlist_entries_find_locked(path) >= 0;
}

int32_t list_cur_playlist_entries_find_locked(const char *path)
{
    if (slot_count == 0)
        return -1;
    return static_cast<int32_t>(slots[slot_for_locked(path, hash_of(path))].number) - 1;
}

const playlist_entry *list_cur_playlist_entries_at_locked(uint32_t index)
{
    return index < list_cur_playlist_cur.count ? &entries_locked()[index] : nullptr;
}
