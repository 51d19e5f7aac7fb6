/* decoder_flac_head: what stands in front of the frames of a FLAC file. */
#include "platform/audio/decoder_flac_head.h"

#include "platform/audio/audio_id3.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

constexpr int block_count_limit = 1024;

enum {
    metadata_info = 0,
    metadata_padding = 1,
    metadata_comment = 4,
    metadata_invalid = 127,
    metadata_last = 0x80
};

/* Takes over what is wanted of a block. */
static void take_block(flac_head *head, audio_file *file, int type, int64_t at, int64_t size)
{
    if (type == metadata_info && !head->has_info && size >= static_cast<int64_t>(flac_info_bytes))
        head->has_info = audio_file_peek(file, at, head->info, flac_info_bytes) == flac_info_bytes;
    if (type == metadata_comment && !head->has_comments) {
        head->has_comments = true;
        head->comments = at;
        head->comments_size = size;
    }
}

static void walk_blocks(flac_head *head, audio_file *file)
{
    for (int i = 0; i < block_count_limit; i++) {
        unsigned char bytes[4];
        const size_t n = audio_file_peek(file, head->frames, bytes, sizeof bytes);
        const int type = bytes[0] & ~metadata_last;
        if (n != sizeof bytes || type == metadata_invalid)
            break;
        const int64_t size =
            static_cast<int64_t>(bytes[1]) << 16 | static_cast<int64_t>(bytes[2]) << 8 | bytes[3];
        take_block(head, file, type, head->frames + 4, size);
        head->frames += 4 + size;
        if (bytes[0] & metadata_last) {
            head->broken = head->frames > audio_file_size(file);
            return;
        }
    }
    head->broken = true;
}

int flac_head_read(flac_head *head, audio_file *file)
{
    unsigned char start[4];
    *head = {};
    audio_file_window(file, 0, audio_file_size(file));
    head->frames = audio_id3_size(file);
    if (audio_file_peek(file, head->frames, start, sizeof start) != sizeof start)
        return -1;
    if (memcmp(start, "fLaC", 4) != 0)
        return start[0] == 0xFF && (start[1] & 0xFE) == 0xF8 ? 0 : -1;
    head->frames += 4;
    walk_blocks(head, file);
    return 0;
}

struct comment_range {
    audio_file *file;
    int64_t left;
};

static size_t next_bytes(void *user, void *to, size_t size)
{
    comment_range *range = static_cast<comment_range *>(user);
    const size_t part =
        static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(size), range->left));
    range->left -= static_cast<int64_t>(part);
    if (!to)
        return audio_file_seek(range->file, static_cast<int64_t>(part), SEEK_CUR) < 0 ? 0 : part;
    return static_cast<size_t>(std::max<int64_t>(audio_file_read(range->file, to, part), 0));
}

audio_tags_found flac_head_tags(const flac_head *head, audio_file *file, audio_tags **out)
{
    *out = nullptr;
    audio_file_window(file, 0, audio_file_size(file));
    if (head->has_comments) {
        comment_range range = {file, head->comments_size};
        if (audio_file_seek(file, head->comments, SEEK_SET) < 0)
            return audio_tags_broken;
        return audio_tags_comments(next_bytes, &range, out);
    }
    if (head->broken || !head->has_info)
        return audio_tags_broken;
    *out = audio_tags_empty();
    return *out ? audio_tags_read : audio_tags_no_memory;
}

size_t flac_head_make(const flac_head *head, int64_t total, unsigned char to[flac_head_most])
{
    static constexpr unsigned char without[] = {
        'f', 'L', 'a', 'C', metadata_last | metadata_padding, 0, 0, 0};
    memcpy(to, without, sizeof without);
    if (!head->has_info)
        return sizeof without;
    to[4] = metadata_last | metadata_info;
    to[7] = flac_info_bytes;
    memcpy(to + 8, head->info, flac_info_bytes);
    if (total < 0)
        return flac_head_most;
    /* 36 bits, of which the first 4 share their byte with the size of a sample. */
    to[21] = static_cast<unsigned char>((to[21] & 0xF0) | (total >> 32 & 0x0F));
    for (int i = 0; i < 4; i++)
        to[22 + i] = static_cast<unsigned char>(total >> (24 - 8 * i));
    return flac_head_most;
}
