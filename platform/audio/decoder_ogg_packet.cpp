/* decoder_ogg_packet: the pages of an Ogg file, as far as tags need them. */
#include "platform/audio/decoder_ogg_packet.h"

#include "platform/audio/audio_id3.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

constexpr int first_pages_limit = 64; /* each stream of a file has its first page in front */

enum { page_continued = 1, page_first = 2 };

static uint32_t little_endian(const unsigned char *bytes)
{
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

int ogg_page_head_read(audio_file *file, int64_t at, ogg_page_head *head)
{
    unsigned char bytes[27 + 255];
    const size_t n = audio_file_peek(file, at, bytes, sizeof bytes);
    if (n < 27 || memcmp(bytes, "OggS", 5) != 0 || n < 27u + bytes[26])
        return -1;
    head->flags = bytes[5];
    head->samples = static_cast<int64_t>(static_cast<uint64_t>(little_endian(bytes + 10)) << 32 |
                                         little_endian(bytes + 6));
    head->serial = little_endian(bytes + 14);
    head->segments = bytes[26];
    memcpy(head->lengths, bytes + 27, static_cast<size_t>(head->segments));
    head->size = 27 + head->segments;
    for (int i = 0; i < head->segments; i++)
        head->size += head->lengths[i];
    return 0;
}

int64_t ogg_find_vorbis(audio_file *file)
{
    int64_t at = audio_id3_size(file); /* some programs put one in front of anything */
    ogg_page_head head;
    for (int i = 0; i < first_pages_limit; i++) {
        unsigned char start[16];
        if (ogg_page_head_read(file, at, &head) || !(head.flags & page_first))
            return -1;
        const int64_t body = at + 27 + head.segments;
        if (audio_file_peek(file, body, start, sizeof start) == sizeof start &&
            !memcmp(start, "\1vorbis", 7) && start[11] > 0 && little_endian(start + 12) > 0)
            return at;
        at += head.size;
    }
    return -1;
}

/* Goes on to the next page of the stream that begins at or behind a place. */
static int next_page(ogg_packet_reader *reader, int64_t at, ogg_page_head *head)
{
    for (; reader->pages < ogg_packet_pages; at += head->size) {
        reader->pages++;
        if (ogg_page_head_read(reader->file, at, head))
            return -1;
        if (head->serial != reader->serial)
            continue;
        reader->page_end = at + head->size;
        reader->segment = 0;
        reader->segments = head->segments;
        memcpy(reader->lengths, head->lengths, sizeof reader->lengths);
        reader->left = head->segments ? head->lengths[0] : 0;
        return audio_file_seek(reader->file, at + 27 + head->segments, SEEK_SET) < 0 ? -1 : 0;
    }
    return -1;
}

int ogg_packet_second(ogg_packet_reader *reader, audio_file *file, int64_t at)
{
    ogg_page_head head;
    char start[7];
    audio_file_window(file, 0, audio_file_size(file));
    *reader = {};
    reader->file = file;
    if (ogg_page_head_read(file, at, &head))
        return -1;
    reader->serial = head.serial;
    if (next_page(reader, at + head.size, &head) || (head.flags & page_continued))
        return -1;
    return ogg_packet_next(reader, start, sizeof start) == sizeof start &&
                   !memcmp(start, "\3vorbis", sizeof start)
               ? 0
               : -1;
}

/* Makes bytes of the packet available. false at its end. */
static bool advance(ogg_packet_reader *reader)
{
    while (reader->left == 0 && !reader->ended) {
        ogg_page_head head;
        if (reader->segment < reader->segments && reader->lengths[reader->segment] < 255) {
            reader->ended = true; /* a short segment is the last of its packet */
        } else if (++reader->segment < reader->segments) {
            reader->left = reader->lengths[reader->segment];
        } else if (next_page(reader, reader->page_end, &head) || !(head.flags & page_continued)) {
            reader->ended = true;
        }
    }
    return !reader->ended;
}

size_t ogg_packet_next(void *user, void *to, size_t size)
{
    ogg_packet_reader *reader = static_cast<ogg_packet_reader *>(user);
    size_t done = 0;
    while (done < size && advance(reader)) {
        const size_t part = std::min<size_t>(size - done, reader->left);
        const int64_t n =
            to ? audio_file_read(reader->file, static_cast<char *>(to) + done, part)
               : (audio_file_seek(reader->file, static_cast<int64_t>(part), SEEK_CUR) < 0
                      ? 0
                      : static_cast<int64_t>(part));
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
        reader->left -= static_cast<uint32_t>(n);
    }
    return done;
}
