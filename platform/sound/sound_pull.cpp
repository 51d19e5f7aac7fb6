/* sound_pull: what a speaker gets of the queue. */
#include "platform/sound/sound_device.h"

#include "platform/sound/sound.h"
#include "platform/sound/sound_ring.h"

#include <cstring>

uint32_t sound_pull(int16_t *to, uint32_t frames)
{
    const uint32_t got = sound_ring_take(to, frames);
    memset(to + got * 2, 0, static_cast<size_t>(frames - got) * sound_frame_bytes);
    if (got > 0)
        sound_volume_apply(to, got);
    else
        sound_volume_rest();
    return got;
}
