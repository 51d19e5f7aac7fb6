/* decoder_ogg_far: places in an Ogg stream that is longer than the library can tell. One thread a file.
 *
 * The library tells places of a file in a `long`. A longer one is read from front to end, as if it
 * could not be seeked; for a seek it is shown the headers and then a page further down. */
#pragma once

#include "platform/audio/audio_file.h"

struct ogg_far {
    int64_t start;       /* of the stream's first page */
    int64_t headers_end; /* of the page that ends the headers */
    int64_t samples;     /* of the whole stream; 0: not known, as of a chain */
    uint32_t serial;
    int64_t jump; /* where the file goes on behind the headers; -1: where it does anyway */
};

/* Looks at the stream that begins at a place. 0, or -1 when its headers do not end. */
int ogg_far_look(ogg_far *far, audio_file *file, int64_t start);
/* Where to go on in order to come out at a sample or before: a page that follows one with fewer. The
 * headers' end where none does. */
int64_t ogg_far_page(const ogg_far *far, audio_file *file, int64_t sample);
/* As audio_file_read(), with the jump in it. Begins at `start`. */
int64_t ogg_far_read(ogg_far *far, audio_file *file, void *to, size_t size);
