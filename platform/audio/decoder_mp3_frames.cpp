/* decoder_mp3_frames: where the frames of an MP3 file are. */
#include "platform/audio/decoder_mp3_frames.h"

#include "platform/audio/audio_id3.h"
#include "platform/base/owner.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

constexpr uint32_t same_stream_mask = 0xFFFE0C00; /* sync, version, layer, rate */
constexpr uint32_t mono = 3;                      /* of the four kinds of channels */
constexpr int64_t search_limit = 256 << 10;       /* rubbish in front of the first frame */
/* Frames in a row that make a stream. Plain samples are full of patterns that look like headers: here
 * and there three of them stand where frames would. */
constexpr int run_length = 8;
constexpr int free_format_tries = 64; /* headers whose frame size has to be searched for */
constexpr uint32_t free_bytes_limit = 8192;
constexpr uint32_t least_bytes = 24;      /* of a frame */
constexpr int64_t other_info_at = 4 + 32; /* from the start of the frame */
constexpr size_t part_bytes = 65536;
constexpr uint32_t index_limit = 16384; /* places; then every other one goes */
constexpr uint32_t first_step = 4;
constexpr size_t v1_bytes = 128;
constexpr size_t ape_bytes = 32;

enum { info_has_frames = 1, info_has_bytes = 2, info_has_places = 4, info_has_quality = 8 };

static constexpr uint16_t bitrates[2][3][15] = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
    {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}},
};
static constexpr uint32_t rates[3] = {44100, 48000, 32000};

static uint32_t big_endian(const unsigned char *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

int mp3_header_read(mp3_header *header, const unsigned char bytes[4])
{
    const uint32_t word = big_endian(bytes);
    const int version = word >> 19 & 3; /* 0 quarter, 2 half, 3 full rates */
    const int layer = 4 - (word >> 17 & 3);
    const uint32_t bitrate_index = word >> 12 & 15, rate_index = word >> 10 & 3;
    if (word >> 21 != 0x7FF || version == 1 || layer == 4 || bitrate_index == 15 || rate_index == 3)
        return -1;
    *header = {};
    header->word = word;
    header->layer = layer;
    header->lower_rates = version != 3;
    header->rate = rates[rate_index] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    header->samples = layer == 1 ? 384 : layer == 3 && header->lower_rates ? 576 : 1152;
    header->free_format = bitrate_index == 0;
    const uint32_t slot = layer == 1 ? 4 : 1, padding = word >> 9 & 1;
    const uint32_t bits = bitrates[header->lower_rates][layer - 1][bitrate_index] * 1000u;
    header->bytes = (header->samples / 8 / slot * bits / header->rate + padding) * slot;
    const bool is_mono = (word >> 6 & 3) == mono;
    header->side_info = header->lower_rates ? (is_mono ? 9 : 17) : (is_mono ? 17 : 32);
    return 0;
}

static bool same_stream(uint32_t a, uint32_t b)
{
    return ((a ^ b) & same_stream_mask) == 0;
}

static uint32_t frame_bytes(const mp3_header *header, uint32_t free_bytes)
{
    return header->bytes + (header->free_format ? free_bytes : 0);
}

uint32_t mp3_frame_bytes(const mp3_layout *layout, mp3_header *header, const unsigned char bytes[4])
{
    if (mp3_header_read(header, bytes) || !same_stream(header->word, layout->header.word))
        return 0;
    const uint32_t length = frame_bytes(header, layout->free_bytes);
    return length < least_bytes ? 0 : length;
}

/* The distance to the next frame of the same kind. 0 when there is none. */
static uint32_t find_free_bytes(audio_file *file, int64_t at, const mp3_header *first)
{
    owner<unsigned char, free> bytes(static_cast<unsigned char *>(malloc(free_bytes_limit)));
    const size_t n = bytes ? audio_file_peek(file, at, bytes.get(), free_bytes_limit) : 0;
    for (uint32_t i = least_bytes; i + 4 <= n; i++) {
        mp3_header header;
        if (mp3_header_read(&header, bytes.get() + i) == 0 && header.free_format &&
            same_stream(header.word, first->word))
            return i - first->bytes;
    }
    return 0;
}

/* The part of a file in which a run is searched. */
struct search {
    audio_file *file;
    const unsigned char *bytes;
    int64_t from;
    size_t size;
};

static int read_header(const search *in, int64_t at, mp3_header *header)
{
    unsigned char bytes[4];
    const int64_t offset = at - in->from;
    if (offset + 4 <= static_cast<int64_t>(in->size))
        return mp3_header_read(header, in->bytes + offset);
    return audio_file_peek(in->file, at, bytes, sizeof bytes) == sizeof bytes
               ? mp3_header_read(header, bytes)
               : -1;
}

/* Frames of one stream may differ in how they join two channels, but not in having two. */
static bool same_kind(uint32_t a, uint32_t b)
{
    return same_stream(a, b) && ((a >> 6 & 3) == mono) == ((b >> 6 & 3) == mono);
}

/* Whether a run of frames begins here. */
static bool is_run(const search *in, int64_t at, const mp3_layout *layout)
{
    mp3_header header = layout->header;
    const bool from_the_start = at == layout->first;
    /* What looks like layer 1, two bytes of ones, is all over quiet samples. */
    if (header.layer == 1 && !from_the_start)
        return false;
    for (int i = 0; i < run_length; i++) {
        const uint32_t size = frame_bytes(&header, layout->free_bytes);
        if (size < least_bytes)
            return false;
        at += size;
        /* A short file: what is there must be frames from the very start, the last one cut at
         * most. */
        if (at + 4 > layout->end)
            return from_the_start && (at <= layout->end || i > 0);
        if (read_header(in, at, &header) || !same_kind(header.word, layout->header.word))
            return false;
    }
    return true;
}

/* Searches the first run that begins within so many bytes from `layout->first` on. */
static int find_run(audio_file *file, mp3_layout *layout, int64_t limit)
{
    const size_t wanted =
        static_cast<size_t>(std::clamp<int64_t>(layout->end - layout->first, 0, limit));
    owner<unsigned char, free> bytes(static_cast<unsigned char *>(malloc(wanted + 1)));
    if (!bytes)
        return -1;
    const size_t n = audio_file_peek(file, layout->first, bytes.get(), wanted);
    const search in = {file, bytes.get(), layout->first, n};
    int tries = 0;
    for (size_t i = 0; i + 4 <= n; i++) {
        if (bytes.get()[i] != 0xFF || mp3_header_read(&layout->header, bytes.get() + i))
            continue;
        const int64_t at = layout->first + static_cast<int64_t>(i);
        const bool free_format = layout->header.free_format;
        if (free_format && tries++ >= free_format_tries)
            continue;
        layout->free_bytes = free_format ? find_free_bytes(file, at, &layout->header) : 0;
        if (!is_run(&in, at, layout))
            continue;
        layout->first = at;
        return 0;
    }
    return -1;
}

/* Leaves out what stands behind the frames. */
static int64_t find_end(audio_file *file)
{
    int64_t end = audio_file_size(file);
    unsigned char v1[3], ape[ape_bytes];
    if (end >= static_cast<int64_t>(v1_bytes) &&
        audio_file_peek(file, end - static_cast<int64_t>(v1_bytes), v1, sizeof v1) == sizeof v1 &&
        !memcmp(v1, "TAG", 3))
        end -= static_cast<int64_t>(v1_bytes);
    if (end < static_cast<int64_t>(ape_bytes) ||
        audio_file_peek(file, end - static_cast<int64_t>(ape_bytes), ape, ape_bytes) != ape_bytes ||
        memcmp(ape, "APETAGEX", 8) != 0)
        return end;
    const int64_t size = static_cast<int64_t>(ape[12]) | static_cast<int64_t>(ape[13]) << 8 |
                         static_cast<int64_t>(ape[14]) << 16 | static_cast<int64_t>(ape[15]) << 24;
    const int64_t whole = size + (ape[23] & 0x80 ? static_cast<int64_t>(ape_bytes) : 0);
    return whole >= static_cast<int64_t>(ape_bytes) && whole < end ? end - whole : end;
}

/* Looks whether the first frame tells about the others instead of sounding. */
static void read_info(audio_file *file, mp3_layout *layout)
{
    unsigned char bytes[192];
    const int64_t at = layout->first + 4 + layout->header.side_info;
    if (layout->header.layer != 3 || layout->header.free_format ||
        audio_file_peek(file, at, bytes, sizeof bytes) != sizeof bytes ||
        (memcmp(bytes, "Xing", 4) != 0 && memcmp(bytes, "Info", 4) != 0))
        return;
    layout->has_info = true;
    const uint32_t flags = big_endian(bytes + 4);
    const unsigned char *next = bytes + 8;
    if (flags & info_has_frames) {
        layout->info_frames = big_endian(next);
        next += 4;
    }
    if (flags & info_has_bytes) {
        layout->info_bytes = big_endian(next);
        next += 4;
    }
    next += (flags & info_has_places ? 100 : 0) + (flags & info_has_quality ? 4 : 0);
    if (next[0]) { /* the encoder's name, and more from it */
        layout->delay = static_cast<uint32_t>(next[21]) << 4 | next[22] >> 4;
        layout->padding = (next[22] & 15u) << 8 | next[23];
    }
}

/* One encoder tells in a frame of its own kind, at the same place whatever the channels. What it tells
 * is counted as soon; the frame is passed over, or it would be heard as silence. */
static void pass_other_info(audio_file *file, mp3_layout *layout)
{
    char mark[4];
    if (layout->header.layer == 3 &&
        audio_file_peek(file, layout->first + other_info_at, mark, sizeof mark) == sizeof mark &&
        memcmp(mark, "VBRI", sizeof mark) == 0)
        layout->first += frame_bytes(&layout->header, layout->free_bytes);
}

int mp3_find_frames(audio_file *file, mp3_layout *layout)
{
    *layout = {};
    layout->end = find_end(file);
    layout->first = audio_id3_size(file);
    /* A tag that claims the whole file has lied about its size. */
    if (layout->first >= layout->end)
        layout->first = std::min<int64_t>(10, layout->end);
    /* Nearly always it is right there. */
    if (find_run(file, layout, 4096) && find_run(file, layout, search_limit))
        return -1;
    pass_other_info(file, layout);
    read_info(file, layout);
    return 0;
}

void mp3_index_begin(mp3_index *index, const mp3_layout *layout)
{
    *index = {};
    index->step = first_step;
    index->at = layout->first;
    if (layout->has_info)
        index->at += frame_bytes(&layout->header, layout->free_bytes);
}

void mp3_index_end(mp3_index *index)
{
    free(index->places);
    *index = {};
}

/* Notes the place of the next frame. Without memory the index just stops growing. */
static void add_frame(mp3_index *index, int64_t place)
{
    const bool due = index->frames++ == static_cast<int64_t>(index->count) * index->step;
    if (!due)
        return;
    if (index->count == index_limit) {
        for (uint32_t i = 0; i < index_limit / 2; i++)
            index->places[i] = index->places[2 * i];
        index->count /= 2;
        index->step *= 2;
    }
    if (index->count == index->room) {
        const uint32_t room = index->room ? index->room * 2 : 256;
        void *places = realloc(index->places, room * sizeof *index->places);
        if (!places)
            return;
        index->places = static_cast<int64_t *>(places);
        index->room = room;
    }
    index->places[index->count++] = place;
}

/* Walks over the frames that begin in a part. Returns the bytes that were passed. */
static size_t walk_part(mp3_index *index, const mp3_layout *layout, const unsigned char *bytes,
                        size_t size, bool last, int64_t until_frame)
{
    size_t i = 0;
    while (i + 4 <= size && index->frames <= until_frame) {
        mp3_header header;
        const uint32_t length = bytes[i] == 0xFF ? mp3_frame_bytes(layout, &header, bytes + i) : 0;
        if (length == 0) {
            i++;
            continue;
        }
        if (last && i + length > size)
            return size; /* cut short: no decoder plays it */
        add_frame(index, index->at + static_cast<int64_t>(i) - layout->first);
        i += length;
    }
    return i;
}

void mp3_index_extend(mp3_index *index, audio_file *file, const mp3_layout *layout,
                      int64_t until_frame, int64_t bytes)
{
    owner<unsigned char, free> part(static_cast<unsigned char *>(malloc(part_bytes)));
    const int64_t stop = index->at + bytes;
    while (part && !index->complete && index->frames <= until_frame && index->at < stop) {
        const size_t wanted = static_cast<size_t>(
            std::clamp<int64_t>(layout->end - index->at, 0, static_cast<int64_t>(part_bytes)));
        const size_t n = audio_file_peek(file, index->at, part.get(), wanted);
        const bool last = index->at + static_cast<int64_t>(n) >= layout->end || n < wanted;
        index->at +=
            static_cast<int64_t>(walk_part(index, layout, part.get(), n, last, until_frame));
        index->complete = last && index->frames <= until_frame;
    }
}
