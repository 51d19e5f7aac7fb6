/* audio_interleave: a loop that is worth vectors. */
#include "platform/audio/audio_interleave.h"

static int16_t raised(int32_t sample, uint32_t shift)
{
    return static_cast<int16_t>(static_cast<uint32_t>(sample) << shift);
}

void audio_interleave_16(const int32_t *__restrict left, const int32_t *__restrict right,
                         uint32_t shift, int16_t *__restrict to, size_t frames)
{
    for (size_t i = 0; i < frames; i++) {
        to[2 * i] = raised(left[i], shift);
        to[2 * i + 1] = raised(right[i], shift);
    }
}
