/* list_cur_playlist_go: which track follows, by the playback order. Any thread: the sound thread
 * asks at the end of a track, the main thread when somebody presses next or previous. */
#include "config/cfg.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/playlist/list_cur_playlist_entries.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "play/play.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

enum { order_sequence = 0, order_repeat = 1, order_random = 2 };

using text_owner = owner<char, free>;

/* Never the same twice in a row; no history. */
static uint32_t random_other(uint32_t index, uint32_t count)
{
    if (count < 2)
        return 0;
    uint32_t next = index;
    while (next == index)
        next = static_cast<uint32_t>(rand()) % count;
    return next;
}

static uint32_t choose(uint32_t index, int32_t delta, uint32_t count)
{
    assert(index < count);
    switch (__atomic_load_n(&cfg_playback_order, __ATOMIC_RELAXED)) {
    case order_sequence:
        /* Unsigned, so that a step before the first stays inside: 2^32 - 1 modulo count. */
        return (index + static_cast<uint32_t>(delta)) % count;
    case order_random:
        return random_other(index, count);
    case order_repeat:
    default:
        return index;
    }
}

/* The path of the track that follows `playing`; null when that one is not queued. */
static text_owner next_path(const char *playing, int32_t delta)
{
    sys_guard guard(list_cur_playlist_lock);
    const int32_t index = list_cur_playlist_entries_find_locked(playing);
    if (index < 0)
        return nullptr;
    const uint32_t next = choose(static_cast<uint32_t>(index), delta, list_cur_playlist_cur.count);
    return text_owner(strdup(list_cur_playlist_entries_at_locked(next)->path));
}

int list_cur_playlist_go(int32_t delta)
{
    /* The last track counts too: at the end of a track nothing is open any more. */
    char playing[PATH_MAX];
    if (!play_copy_last_path(playing))
        return -1;
    const text_owner path = next_path(playing, delta);
    if (!path)
        return -1;
    (void)play_begin(path.get()); /* a file that will not open leaves playback stopped */
    return 0;
}
