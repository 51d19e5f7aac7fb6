#include "platform/sound/sound_ring.h"

#include "platform/base/lock.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstring>

constexpr uint32_t ring_frames = 8192; /* a power of two above what is ever queued */

/* A leaf: held for copying a few kilobytes. */
static constinit sys_lock ring_lock;
static constinit int16_t ring[ring_frames * 2] GUARDED_BY(ring_lock) = {};
static constinit uint32_t ring_first GUARDED_BY(ring_lock) = 0;
static constinit uint32_t ring_count GUARDED_BY(ring_lock) = 0;
static constinit uint32_t ring_turn GUARDED_BY(ring_lock) = 0;

static constinit std::atomic<uint32_t> count_shown{0}; /* ring_count, for those who may not lock */

static void set_count_locked(uint32_t frames) REQUIRES(ring_lock)
{
    assert(frames <= ring_frames);
    ring_count = frames;
    count_shown.store(frames, std::memory_order_relaxed);
}

void sound_ring_clear()
{
    sys_guard guard(ring_lock);
    ring_turn++;
    set_count_locked(0);
}

uint32_t sound_ring_turn()
{
    sys_guard guard(ring_lock);
    return ring_turn;
}

void sound_ring_put(const int16_t *samples, uint32_t frames, uint32_t turn)
{
    sys_guard guard(ring_lock);
    if (turn != ring_turn)
        return;
    assert(frames <= ring_frames - ring_count);
    const uint32_t at = (ring_first + ring_count) % ring_frames;
    const uint32_t first = std::min(frames, ring_frames - at);
    memcpy(ring + at * 2, samples, static_cast<size_t>(first) * sound_frame_bytes);
    memcpy(ring, samples + first * 2, static_cast<size_t>(frames - first) * sound_frame_bytes);
    set_count_locked(ring_count + frames);
}

uint32_t sound_ring_take(int16_t *to, uint32_t wanted)
{
    sys_guard guard(ring_lock);
    const uint32_t frames = std::min(wanted, ring_count);
    const uint32_t first = std::min(frames, ring_frames - ring_first);
    memcpy(to, ring + ring_first * 2, static_cast<size_t>(first) * sound_frame_bytes);
    memcpy(to + first * 2, ring, static_cast<size_t>(frames - first) * sound_frame_bytes);
    ring_first = (ring_first + frames) % ring_frames;
    set_count_locked(ring_count - frames);
    return frames;
}

uint32_t sound_ring_count()
{
    return count_shown.load(std::memory_order_relaxed);
}
