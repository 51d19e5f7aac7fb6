/* audio: decoders of MP3, Ogg Vorbis and FLAC, and the tags of their files.
 *
 * A stream belongs to one thread at a time (the player guards it with play_lock). Opening, closing
 * and read_info are re-entrant. All text is UTF-8. */
#pragma once

#include <cstdint>

/* Each text may be null. The first value of a repeated field; the year as the tag gives it. */
struct audio_tags {
    char *title, *artist, *album, *year, *genre;
};

struct audio_stream {
    uint32_t sample_rate; /* Hz, of the stream itself, 1..384000 */
    /* Samples per channel, 0 when unknown. Of a very large MP3 without header an estimate at first,
     * which read and seek make exact: it may change with each of them. It grows with a stream that
     * plays on behind it. */
    int64_t length;
    const audio_tags *tags; /* owned by the stream; null only when memory ran out */
    void *priv;
};

struct audio_info {
    /* Five nulls for an untagged file, and for one that plays though its tag block cannot be read;
     * null for one whose tag block cannot be read and that does not play either. */
    audio_tags *tags;
};

struct audio_decoder {
    const char *name;
    /* Opens a file. Null when it is no sound stream of this format. Ended by close(). */
    audio_stream *(*open)(const char *path);
    int (*close)(audio_stream *stream);
    /* Delivers 16-bit stereo at sound_rate: whole frames of 4 bytes.
     * Returns bytes (> 0, may be fewer than asked), 0 at the end, -1 on an error that ends it. */
    int32_t (*read)(audio_stream *stream, void *to, uint32_t bytes);
    /* The stream's own samples decoded so far, per channel. */
    int64_t (*tell)(audio_stream *stream);
    /* Clamps to 0..length - 1. Exact. 0 or -1. */
    int (*seek)(audio_stream *stream, int64_t sample);
    /* Reads only the tags. Null when the file is no file of this format. Any thread. */
    audio_info *(*read_info)(const char *path);
    int (*release_info)(audio_info *info);
};

[[nodiscard]] int audio_init();
/* Streams that are still open stay valid until they are closed. */
int audio_exit();
/* By extension (".mp3", ".ogg", ".flac") without regard to case; the file need not exist.
 * Static record, null for any other name. */
const audio_decoder *audio_get_decoder(const char *path);
/* ID3 text that is not marked as Unicode is read in this encoding ("CP949", "ISO-8859-1", "CP932")
 * from the next file on. Any thread. -1 for an encoding the C library does not know. */
int decoder_mp3_set_tag_native_encoding(const char *encoding);
