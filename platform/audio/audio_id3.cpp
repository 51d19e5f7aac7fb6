/* audio_id3: the ID3v2 block in front of a file, frame by frame. */
#include "platform/audio/audio_id3.h"

#include "platform/audio/audio_inflate.h"
#include "platform/base/owner.h"
#include "platform/file/file_id3.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr int frame_count_limit = 4096;
/* Such a block cannot be skipped through, only read: one that holds more than that has pictures
 * in front of its texts. */
constexpr int64_t unsynchronised_limit = 16 << 20;
constexpr int repeated_limit = 8; /* blocks one behind the other */
constexpr size_t piece_bytes = 4096;

/* What the second byte of flags says, in either version. */
enum {
    old_packed = 0x80,
    old_encrypted = 0x40,
    old_grouped = 0x20,
    new_grouped = 0x40,
    new_packed = 0x08,
    new_encrypted = 0x04,
    new_unsynchronised = 0x02,
    new_told = 0x01
};

static uint32_t big_endian(const unsigned char *bytes, int count, int bits)
{
    uint32_t value = 0;
    for (int i = 0; i < count; i++)
        value = value << bits | (bytes[i] & ((1u << bits) - 1));
    return value;
}

/* Size of the block that starts here with its head, 0 when none does. */
static int64_t block_size(audio_file *file, int64_t at)
{
    uint8_t bytes[file_id3_head_bytes];
    file_id3_head head = {};
    if (audio_file_peek(file, at, bytes, sizeof bytes) != sizeof bytes ||
        !file_id3_read(bytes, &head))
        return 0;
    const bool has_footer = head.version >= 4 && (head.flags & file_id3_footer);
    return static_cast<int64_t>(sizeof bytes) + head.size + (has_footer ? 10 : 0);
}

bool audio_id3_is_there(audio_file *file)
{
    return block_size(file, 0) > 0;
}

int64_t audio_id3_size(audio_file *file)
{
    int64_t at = 0;
    for (int i = 0; i < repeated_limit; i++) {
        const int64_t size = block_size(file, at);
        if (size == 0)
            break;
        at += size;
    }
    return std::min(at, audio_file_size(file));
}

/* Takes out the zero bytes, in place. Returns the bytes that stay. */
static size_t drop_zeros(unsigned char *bytes, size_t size, bool *after_255)
{
    size_t kept = 0;
    for (size_t i = 0; i < size; i++) {
        const unsigned char byte = bytes[i];
        const bool stuffed = *after_255 && byte == 0;
        *after_255 = byte == 0xFF;
        if (!stuffed)
            bytes[kept++] = byte;
    }
    return kept;
}

/* Reads what the block holds; a null `to` skips. Returns the bytes, fewer at its end. */
static size_t block_read(audio_id3 *block, unsigned char *to, size_t size)
{
    if (!block->unsynchronised) {
        const size_t part =
            static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(size), block->left));
        block->left -= static_cast<int64_t>(part);
        if (!to)
            return audio_file_seek(block->file, static_cast<int64_t>(part), SEEK_CUR) < 0 ? 0
                                                                                          : part;
        return static_cast<size_t>(std::max<int64_t>(audio_file_read(block->file, to, part), 0));
    }
    size_t done = 0;
    while (done < size && block->left > 0) {
        unsigned char piece[piece_bytes];
        const int64_t wanted = std::min(
            {static_cast<int64_t>(size - done), block->left, static_cast<int64_t>(piece_bytes)});
        const int64_t n = audio_file_read(block->file, piece, static_cast<size_t>(wanted));
        if (n <= 0)
            break;
        block->left -= n;
        const size_t kept = drop_zeros(piece, static_cast<size_t>(n), &block->after_255);
        if (to)
            memcpy(to + done, piece, kept);
        done += kept;
    }
    return done;
}

static int skip_extended_header(audio_id3 *block)
{
    unsigned char bytes[4];
    if (block_read(block, bytes, sizeof bytes) != sizeof bytes)
        return -1;
    /* The newer one counts its own four bytes. */
    const uint32_t size =
        block->version == 4 ? std::max(big_endian(bytes, 4, 7), 4u) - 4 : big_endian(bytes, 4, 8);
    return block_read(block, nullptr, size) == size ? 0 : -1;
}

static int open_at(audio_id3 *block, audio_file *file, int64_t at)
{
    uint8_t bytes[file_id3_head_bytes];
    file_id3_head head = {};
    if (audio_file_seek(file, at, SEEK_SET) < 0 ||
        audio_file_read(file, bytes, sizeof bytes) != static_cast<int64_t>(sizeof bytes) ||
        !file_id3_read(bytes, &head) || head.version < 2 || head.version > 4)
        return -1;
    *block = {};
    block->file = file;
    block->version = head.version;
    block->left = std::min(head.size, audio_file_size(file) - at - 10);
    block->unsynchronised = (head.flags & file_id3_unsynchronised) && block->version < 4;
    block->frames_unsynchronised = (head.flags & file_id3_unsynchronised) && block->version == 4;
    if (block->unsynchronised)
        block->left = std::min(block->left, unsynchronised_limit);
    if (block->version > 2 && (head.flags & file_id3_extended))
        return skip_extended_header(block);
    return 0;
}

int audio_id3_open(audio_id3 *block, audio_file *file)
{
    int64_t at = 0;
    audio_file_window(file, 0, audio_file_size(file));
    for (int i = 0; i < repeated_limit; i++) {
        const int64_t size = block_size(file, at);
        if (size == 0)
            return -1;
        if (open_at(block, file, at) == 0)
            return 0;
        at += size;
    }
    return -1;
}

static bool is_frame_id(const unsigned char *id, size_t size)
{
    return std::all_of(id, id + size, [](unsigned char c) {
        return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    });
}

/* Some writers put plain numbers where the newest version wants seven bits a byte: the one that
 * leads to another frame, to padding or to the end is right. */
static uint32_t new_frame_size(const audio_id3 *block, const unsigned char *bytes)
{
    const uint32_t right = big_endian(bytes, 4, 7), plain = big_endian(bytes, 4, 8);
    if (right == plain)
        return right;
    const int64_t here = audio_file_tell(block->file) + 2;
    for (const uint32_t size : {right, plain}) {
        unsigned char id[4] = {};
        if (static_cast<int64_t>(size) + 2 == block->left)
            return size;
        if (static_cast<int64_t>(size) + 2 > block->left)
            continue;
        const size_t n =
            audio_file_peek(block->file, here + static_cast<int64_t>(size), id, sizeof id);
        if (n == sizeof id && (is_frame_id(id, sizeof id) || id[0] == 0))
            return size;
    }
    return right;
}

bool audio_id3_next(audio_id3 *block, audio_id3_frame *frame)
{
    unsigned char head[10] = {};
    const size_t skipped = static_cast<size_t>(block->frame_left);
    block->frame_left = 0;
    if (block->frames++ == frame_count_limit || block_read(block, nullptr, skipped) != skipped)
        return false;
    const size_t first = block->version == 2 ? 6 : 8;
    if (block_read(block, head, first) != first || !is_frame_id(head, 3))
        return false;
    *frame = {};
    frame->size = block->version == 4   ? new_frame_size(block, head + 4)
                  : block->version == 3 ? big_endian(head + 4, 4, 8)
                                        : big_endian(head + 3, 3, 8);
    if (block->version > 2 && block_read(block, head + 8, 2) != 2)
        return false;
    memcpy(frame->id, head, block->version == 2 || head[3] == ' ' ? 3 : 4);
    frame->flags = head[9];
    block->frame_left = frame->size;
    return true;
}

/* The content of a frame while it is read. */
struct frame_reader {
    audio_id3 *block;
    bool unsynchronised;
    bool after_255;
};

/* Fits audio_inflate_next. */
static size_t frame_read(void *user, void *to, size_t size)
{
    frame_reader *reader = static_cast<frame_reader *>(user);
    audio_id3 *block = reader->block;
    unsigned char *out = static_cast<unsigned char *>(to);
    size_t done = 0;
    while (done < size && block->frame_left > 0) {
        const size_t part = static_cast<size_t>(
            std::min<int64_t>(static_cast<int64_t>(size - done), block->frame_left));
        const size_t n = block_read(block, out + done, part);
        if (n == 0)
            break;
        block->frame_left -= static_cast<int64_t>(n);
        done += reader->unsynchronised ? drop_zeros(out + done, n, &reader->after_255) : n;
    }
    return done;
}

/* What the flags mean, and how many bytes of it stand in front of the content. */
struct frame_form {
    bool packed, encrypted, unsynchronised;
    size_t extra;
};

static frame_form form_of(const audio_id3 *block, unsigned flags)
{
    if (block->version == 2)
        return {};
    if (block->version == 3) {
        const bool packed = flags & old_packed;
        return {packed, (flags & old_encrypted) != 0, false,
                static_cast<size_t>(packed ? 4 : 0) + (flags & old_grouped ? 1 : 0)};
    }
    const bool packed = flags & new_packed;
    return {packed, (flags & new_encrypted) != 0,
            (flags & new_unsynchronised) || block->frames_unsynchronised,
            static_cast<size_t>(flags & new_grouped ? 1 : 0) +
                (packed || (flags & new_told) ? 4 : 0)};
}

static int take(audio_id3 *block, const audio_id3_frame *frame, size_t limit,
                audio_id3_content *content)
{
    const frame_form form = form_of(block, frame->flags);
    frame_reader reader = {block, form.unsynchronised, false};
    unsigned char extra[5];
    if (form.encrypted || frame->size > limit + form.extra ||
        frame_read(&reader, extra, form.extra) != form.extra)
        return -1;
    if (form.packed)
        return audio_inflate(frame_read, &reader, limit, &content->bytes, &content->size);
    const size_t size = static_cast<size_t>(std::min(block->frame_left, block->left));
    owner<unsigned char, free> bytes(static_cast<unsigned char *>(malloc(size + 1)));
    if (!bytes)
        return -1;
    content->size = frame_read(&reader, bytes.get(), size);
    if (block->frame_left > 0)
        return -1; /* the block ends inside */
    content->bytes = bytes.release();
    return 0;
}

int audio_id3_take(audio_id3 *block, const audio_id3_frame *frame, size_t limit,
                   audio_id3_content *content)
{
    errno = 0;
    const int result = take(block, frame, limit, content);
    block->no_memory = block->no_memory || (result != 0 && errno == ENOMEM);
    return result;
}
