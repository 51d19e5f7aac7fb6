#include "platform/base/fault.h"

#include "platform/base/lock.h"
#include "platform/base/str.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr int fault_most = 64;

struct fault_entry {
    char name[48];
    int32_t nth; /* the call that fails, 0: every one */
    int32_t calls;
};

enum class fault_state : uint8_t { unread, none, some };

static constinit sys_lock fault_lock;
static constinit fault_entry entries[fault_most] GUARDED_BY(fault_lock) = {};
static constinit int entry_count GUARDED_BY(fault_lock) = 0;
static constinit std::atomic<fault_state> state{fault_state::unread};

static void add_locked(const char *text, size_t length) REQUIRES(fault_lock)
{
    char word[64];
    if (length == 0)
        return;
    fault_entry entry = {};
    bool good = length < sizeof word && entry_count < fault_most;
    if (good) {
        memcpy(word, text, length);
        word[length] = 0;
        char *colon = strchr(word, ':');
        const char *rest = "";
        if (colon) {
            *colon = 0;
            entry.nth = str_to_int32(colon + 1, &rest);
        }
        good = str_copy(entry.name, word) && *rest == 0 && (!colon || entry.nth > 0);
    }
    if (good)
        entries[entry_count++] = entry;
    else
        fprintf(stderr, "fault: cannot use \"%.*s\"\n", static_cast<int>(length), text);
}

static void read_list_locked(const char *list) REQUIRES(fault_lock)
{
    entry_count = 0;
    for (const char *at = list ? list : ""; *at;) {
        const size_t length = strcspn(at, ",");
        add_locked(at, length);
        at += length + (at[length] == ',');
    }
    state = entry_count > 0 ? fault_state::some : fault_state::none;
}

bool fault_hit(const char *operation)
{
    if (state.load(std::memory_order_acquire) == fault_state::none)
        return false;
    sys_guard guard(fault_lock);
    if (state == fault_state::unread)
        read_list_locked(getenv("ZERV_FAULT"));
    bool hit = false;
    for (int i = 0; i < entry_count; i++) {
        fault_entry *entry = &entries[i];
        if (strcmp(entry->name, operation) != 0)
            continue;
        if (entry->calls < INT32_MAX)
            entry->calls++;
        hit = hit || entry->nth == 0 || entry->nth == entry->calls;
    }
    return hit;
}

void fault_set(const char *list)
{
    sys_guard guard(fault_lock);
    read_list_locked(list);
}
