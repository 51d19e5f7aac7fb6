/* decoder_ogg_library: the library behind Ogg Vorbis: vorbisfile, or in a build without floating
 * point its sister, whose calls have the same names. One thread a stream. */
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef ZERV_FIXED_POINT
#include <tremor/ivorbisfile.h>
#else
#define OV_EXCLUDE_STATIC_CALLBACKS
#include <vorbis/vorbisfile.h>
#endif

/* Bytes of a stream that the library can tell places of. A test makes it less. */
extern int64_t ogg_library_most;

/* Decodes up to `bytes` of 16-bit samples, interleaved. Returns the bytes, 0 at the end, or an
 * error of the library's; OV_HOLE is one that may be passed over. */
long ogg_library_read(OggVorbis_File *vorbis, void *to, size_t bytes);
