#include "update/update_name.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/stat.h>

constexpr size_t longest_component = 255;
constexpr size_t first_room = 4096; /* bytes */

static constexpr std::string_view reserved_names[] = {
    "_tmp",           "config.txt",     "current.m3u", "library.db", "library.db-journal",
    "library.db-wal", "library.db-shm",
};

struct name_slot {
    uint32_t at; /* of the name in `text`, plus one; 0: the slot is free */
    update_kind kind;
};

struct update_names {
    name_slot *slots; /* owned; `mask` + 1 of them, a power of two, never all taken */
    uint32_t mask;
    char *text; /* owned; the names in a row, each with its end mark */
    size_t used, room;
};

static bool same_without_case(std::string_view left, std::string_view right)
{
    if (left.size() != right.size())
        return false;
    for (size_t i = 0; i < left.size(); i++) {
        const char letter =
            left[i] >= 'A' && left[i] <= 'Z' ? static_cast<char>(left[i] + 32) : left[i];
        if (letter != right[i])
            return false;
    }
    return true;
}

static bool is_reserved(std::string_view component)
{
    while (component.ends_with('.') || component.ends_with(' '))
        component.remove_suffix(1);
    for (const std::string_view each : reserved_names)
        if (same_without_case(component, each))
            return true;
    return false;
}

bool update_name_clean(const char *name, char (&to)[update_name_size])
{
    if (strlen(name) >= sizeof to)
        return false;
    size_t used = 0;
    for (const char *at = name; *at;) {
        const std::string_view component(at, strcspn(at, "/"));
        at += component.size() + (at[component.size()] == '/' ? 1 : 0);
        if (component.empty() || component == ".")
            continue;
        if (component == ".." || component.size() > longest_component ||
            (used == 0 && is_reserved(component)))
            return false;
        if (used > 0)
            to[used++] = '/';
        memcpy(to + used, component.data(), component.size());
        used += component.size();
    }
    to[used] = '\0';
    return true;
}

/* FNV-1a. */
static uint32_t hash(const char *name)
{
    uint32_t value = 2166136261;
    for (; *name; name++)
        value = (value ^ static_cast<unsigned char>(*name)) * 16777619;
    return value;
}

/* The name's slot, or the free one that it would take. */
static name_slot *find_slot(const update_names *names, const char *name)
{
    for (uint32_t at = hash(name) & names->mask;; at = (at + 1) & names->mask) {
        name_slot *slot = &names->slots[at];
        if (slot->at == 0 || strcmp(names->text + slot->at - 1, name) == 0)
            return slot;
    }
}

update_names *update_names_new(uint32_t most)
{
    uint32_t slots = 16;
    while (slots < most * 2)
        slots *= 2;
    owner<update_names, update_names_free> names(new (std::nothrow) update_names{});
    if (!names)
        return nullptr;
    names->mask = slots - 1;
    names->slots = static_cast<name_slot *>(calloc(slots, sizeof(name_slot)));
    return names->slots ? names.release() : nullptr;
}

int update_names_free(update_names *names)
{
    if (names) {
        free(names->slots);
        free(names->text);
    }
    delete names;
    return 0;
}

update_kind update_names_find(const update_names *names, const char *name)
{
    if (*name == '\0')
        return update_kind::folder; /* the program folder */
    const name_slot *slot = find_slot(names, name);
    if (slot->at != 0)
        return slot->kind;
    char path[1024];
    struct stat state;
    if (!str_format(path, "./%s", name) || lstat(path, &state) != 0)
        return update_kind::nothing;
    const bool is_folder = stat(path, &state) == 0 && S_ISDIR(state.st_mode);
    return is_folder ? update_kind::folder : update_kind::file;
}

bool update_names_have_parent(const update_names *names, const char *name)
{
    char parent[update_name_size];
    str_copy(parent, name);
    char *slash = strrchr(parent, '/');
    if (!slash)
        return true;
    *slash = '\0';
    return update_names_find(names, parent) == update_kind::folder;
}

static int keep_text(update_names *names, const char *name, uint32_t *at)
{
    const size_t length = strlen(name) + 1;
    if (names->used + length > names->room) {
        const size_t room = names->room > 0 ? names->room * 2 : first_room;
        auto *text = static_cast<char *>(realloc(names->text, room));
        if (!text)
            return -1;
        names->text = text;
        names->room = room;
    }
    memcpy(names->text + names->used, name, length);
    *at = static_cast<uint32_t>(names->used) + 1;
    names->used += length;
    return 0;
}

int update_names_note(update_names *names, const char *name, update_kind kind)
{
    name_slot *slot = find_slot(names, name);
    if (slot->at == 0 && keep_text(names, name, &slot->at) != 0)
        return -1;
    slot->kind = kind;
    return 0;
}
