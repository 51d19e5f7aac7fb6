/* decoder_ogg_library: the library behind Ogg Vorbis. One thread a stream. */
#pragma once

#include <cstddef>

#define OV_EXCLUDE_STATIC_CALLBACKS
#include <vorbis/vorbisfile.h>

/* Decodes up to `bytes` of 16-bit samples, interleaved. Returns the bytes, 0 at the end, or an
 * error of the library's; OV_HOLE is one that may be passed over. */
long ogg_library_read(OggVorbis_File *vorbis, void *to, size_t bytes);
