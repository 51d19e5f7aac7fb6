/* decoder_ogg_tremor: samples as Tremor makes them. Its own call for them cuts off what is below 16
 * bits; here they are rounded, which leaves a quarter of that noise. */
#include "platform/audio/decoder_ogg_library.h"

#include <algorithm>
#include <cstdint>
#include <tremor/ivorbiscodec.h>

constexpr int shift = 24 - 15; /* its full scale is 24 bits and a sign */

static int16_t reduce(ogg_int32_t sample)
{
    const ogg_int32_t value = (sample + (1 << (shift - 1))) >> shift;
    return static_cast<int16_t>(std::clamp<ogg_int32_t>(value, INT16_MIN, INT16_MAX));
}

/* Samples per channel that are decoded and not fetched yet. */
static int ready(OggVorbis_File *vorbis, ogg_int32_t ***from)
{
    return vorbis->ready_state == INITSET ? vorbis_synthesis_pcmout(&vorbis->vd, from) : 0;
}

long ogg_library_read(OggVorbis_File *vorbis, void *to, size_t bytes)
{
    ogg_int32_t **from;
    int link;
    char none;
    /* Asked for nothing, it decodes up to samples that it could give. */
    const long result = ready(vorbis, &from) ? 0 : ov_read(vorbis, &none, 0, &link);
    const int frames = result == 0 ? ready(vorbis, &from) : 0;
    const vorbis_info *info = ov_info(vorbis, -1);
    if (frames <= 0 || !info || info->channels < 1)
        return result;
    const size_t channels = static_cast<size_t>(info->channels);
    const size_t count = std::min(static_cast<size_t>(frames), bytes / channels / sizeof(int16_t));
    int16_t *out = static_cast<int16_t *>(to);
    for (size_t channel = 0; channel < channels; channel++)
        for (size_t i = 0; i < count; i++)
            out[i * channels + channel] = reduce(from[channel][i]);
    vorbis_synthesis_read(&vorbis->vd, static_cast<int>(count));
    vorbis->pcm_offset += static_cast<ogg_int64_t>(count);
    return static_cast<long>(count * channels * sizeof(int16_t));
}
