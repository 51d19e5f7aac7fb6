/* audio_inflate: opens what a tag holds packed, and no more of it than was allowed. Any thread. */
#pragma once

#include <cstddef>

/* Delivers the next packed bytes. Returns the bytes, fewer than asked only at the end. */
typedef size_t (*audio_inflate_next)(void *user, void *to, size_t size);
/* Opens a zlib stream.
 *   limit  bytes; content that opens to more is refused
 *   out    ended by free()
 * 0, or -1 when the stream is broken, ends early or opens to more, or memory runs out. */
int audio_inflate(audio_inflate_next next, void *user, size_t limit, unsigned char **out,
                  size_t *size);
