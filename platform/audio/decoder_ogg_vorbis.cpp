/* decoder_ogg_vorbis: samples as vorbisfile makes them. */
#include "platform/audio/decoder_ogg_library.h"

#include <bit>
#include <cstdint>

long ogg_library_read(OggVorbis_File *vorbis, void *to, size_t bytes)
{
    constexpr int big_endian = std::endian::native == std::endian::big;
    return ov_read(vorbis, static_cast<char *>(to), static_cast<int>(bytes), big_endian,
                   sizeof(int16_t), 1, nullptr);
}
