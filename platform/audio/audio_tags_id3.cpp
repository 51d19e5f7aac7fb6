/* audio_tags_id3: finds ID3 blocks and makes one small block of the texts that are wanted. */
#include "platform/audio/audio_tags.h"
#include "platform/audio/audio_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <taglib/id3v1genres.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tbytevectorstream.h>
#include <taglib/textidentificationframe.h>

constexpr size_t v1_bytes = 128;
constexpr uint32_t frame_limit = 65536; /* a longer text frame is not read */
constexpr int frame_count_limit = 4096;
/* Such a block cannot be skipped through, only read: one that holds more than that has pictures
 * in front of its texts. */
constexpr int64_t unsynchronised_limit = 16 << 20;
constexpr int repeated_limit = 8; /* blocks one behind the other */

enum { header_unsynchronised = 0x80, header_extended = 0x40 };

/* Only these frames are looked at: the year alone, not the day and time that the library would
 * join to it. */
static constexpr const char *wanted_old[] = {"TT2", "TP1", "TAL", "TYE", "TCO"};
static constexpr const char *wanted_new[] = {"TIT2", "TPE1", "TALB", "TYER", "TDRC", "TCON"};

/* An ID3v2 block while it is walked through. */
struct id3_block {
    audio_file *file;
    int version; /* 2, 3 or 4 */
    int flags;
    bool unsynchronised; /* a zero byte was put behind each 255 */
    int64_t left;        /* bytes of the block that are still to come, cut to the file */
    bool after_255;
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
    unsigned char head[10];
    if (audio_file_peek(file, at, head, sizeof head) != sizeof head || memcmp(head, "ID3", 3) != 0)
        return 0;
    const int64_t footer = head[3] >= 4 && (head[5] & 0x10) ? 10 : 0;
    return 10 + int64_t(big_endian(head + 6, 4, 7)) + footer;
}

int64_t audio_tags_id3_size(audio_file *file)
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

/* Reads content; a null `to` skips. Returns the bytes, fewer at the end of the block. */
static size_t block_read(id3_block *block, void *to, size_t size)
{
    unsigned char *out = static_cast<unsigned char *>(to);
    if (!block->unsynchronised) {
        const size_t part = size_t(std::min<int64_t>(int64_t(size), block->left));
        block->left -= int64_t(part);
        if (!out)
            return audio_file_seek(block->file, int64_t(part), SEEK_CUR) < 0 ? 0 : part;
        return size_t(std::max<int64_t>(audio_file_read(block->file, out, part), 0));
    }
    size_t done = 0;
    while (done < size && block->left > 0) {
        unsigned char byte;
        if (audio_file_read(block->file, &byte, 1) != 1)
            break;
        block->left--;
        const bool stuffed = block->after_255 && byte == 0;
        block->after_255 = byte == 0xFF;
        if (stuffed)
            continue;
        if (out)
            out[done] = byte;
        done++;
    }
    return done;
}

static int skip_extended_header(id3_block *block)
{
    unsigned char bytes[4];
    if (block_read(block, bytes, sizeof bytes) != sizeof bytes)
        return -1;
    /* The newer one counts its own four bytes. */
    const uint32_t size =
        block->version == 4 ? std::max(big_endian(bytes, 4, 7), 4u) - 4 : big_endian(bytes, 4, 8);
    return block_read(block, nullptr, size) == size ? 0 : -1;
}

/* 0, or -1 when there is no block that could be read. */
static int block_open(id3_block *block, audio_file *file)
{
    unsigned char head[10];
    if (audio_file_seek(file, 0, SEEK_SET) < 0 ||
        audio_file_read(file, head, sizeof head) != int64_t(sizeof head))
        return -1;
    *block = {};
    block->file = file;
    block->version = head[3];
    block->flags = head[5];
    block->left = std::min<int64_t>(big_endian(head + 6, 4, 7), audio_file_size(file) - 10);
    if (block->version < 2 || block->version > 4)
        return -1;
    block->unsynchronised = (block->flags & header_unsynchronised) && block->version < 4;
    if (block->unsynchronised)
        block->left = std::min(block->left, unsynchronised_limit);
    if (block->version > 2 && (block->flags & header_extended))
        return skip_extended_header(block);
    return 0;
}

static bool is_frame_id(const unsigned char *id, size_t size)
{
    return std::all_of(id, id + size, [](unsigned char c) {
        return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    });
}

/* Some writers put plain numbers where the newest version wants seven bits a byte: the one that
 * leads to another frame, to padding or to the end is right. */
static uint32_t new_frame_size(const id3_block *block, const unsigned char *bytes)
{
    const uint32_t right = big_endian(bytes, 4, 7), plain = big_endian(bytes, 4, 8);
    if (right == plain)
        return right;
    const int64_t here = audio_file_tell(block->file) + 2;
    for (const uint32_t size : {right, plain}) {
        unsigned char id[4] = {};
        if (int64_t(size) + 2 == block->left)
            return size;
        if (int64_t(size) + 2 > block->left)
            continue;
        const size_t n = audio_file_peek(block->file, here + int64_t(size), id, sizeof id);
        if (n == sizeof id && (is_frame_id(id, sizeof id) || id[0] == 0))
            return size;
    }
    return right;
}

static TagLib::ByteVector frame_head(const id3_block *block, const char *id, uint32_t size,
                                     const unsigned char *flags)
{
    TagLib::ByteVector head(id);
    const int bits = block->version == 4 ? 7 : 8;
    for (int i = block->version == 2 ? 2 : 3; i >= 0; i--)
        head.append(char((size >> (i * bits)) & ((1u << bits) - 1)));
    if (block->version > 2)
        head.append(TagLib::ByteVector(reinterpret_cast<const char *>(flags), 2));
    return head;
}

/* Index among the wanted frames, -1 for others. */
static int wanted_index(const id3_block *block, const unsigned char *id)
{
    const bool old = block->version == 2;
    const char *const *names = old ? wanted_old : wanted_new;
    const int count = int(old ? std::size(wanted_old) : std::size(wanted_new));
    for (int i = 0; i < count; i++)
        if (!memcmp(names[i], id, old ? 3 : 4))
            return i;
    return -1;
}

/* Takes over one frame or skips it. 1, or 0 at the end of the frames. */
static int take_frame(id3_block *block, unsigned *taken, TagLib::ByteVector *kept)
{
    const size_t head_size = block->version == 2 ? 6 : 10;
    unsigned char head[10];
    if (block_read(block, head, block->version == 2 ? 6 : 8) < 6 || !is_frame_id(head, 3))
        return 0;
    const uint32_t size = block->version == 4   ? new_frame_size(block, head + 4)
                          : block->version == 3 ? big_endian(head + 4, 4, 8)
                                                : big_endian(head + 3, 3, 8);
    if (head_size == 10 && block_read(block, head + 8, 2) != 2)
        return 0;
    const int index = wanted_index(block, head);
    if (index < 0 || size > frame_limit || (*taken & 1u << index))
        return block_read(block, nullptr, size) == size;
    TagLib::ByteVector content(size, 0);
    if (block_read(block, content.data(), size) != size)
        return 0;
    const std::string id(reinterpret_cast<char *>(head), block->version == 2 ? 3 : 4);
    kept->append(frame_head(block, id.c_str(), size, head + 8));
    kept->append(content);
    *taken |= 1u << index;
    return 1;
}

/* The block with nothing in it but the wanted frames. */
static TagLib::ByteVector small_block(id3_block *block)
{
    TagLib::ByteVector kept;
    unsigned taken = 0;
    for (int i = 0; i < frame_count_limit && take_frame(block, &taken, &kept); i++)
        continue;
    if (kept.isEmpty())
        return {};
    const bool keep_flag = block->version == 4;
    TagLib::ByteVector head("ID3");
    head.append(char(block->version));
    head.append('\0');
    head.append(char(keep_flag ? block->flags & header_unsynchronised : 0));
    for (int i = 3; i >= 0; i--)
        head.append(char((kept.size() >> (i * 7)) & 0x7F));
    return head + kept;
}

/* The first text of the first frame with that id. */
static TagLib::String v2_text(TagLib::ID3v2::Tag *tag, const char *id)
{
    const TagLib::ID3v2::FrameList &frames = tag->frameList(id);
    if (frames.isEmpty())
        return {};
    const auto *frame =
        dynamic_cast<const TagLib::ID3v2::TextIdentificationFrame *>(frames.front());
    if (!frame || frame->fieldList().isEmpty())
        return {};
    return frame->fieldList().front().stripWhiteSpace();
}

static TagLib::String v2_genre(TagLib::ID3v2::Tag *tag)
{
    const TagLib::String text = v2_text(tag, "TCON");
    bool is_number = false;
    const int number = text.toInt(&is_number);
    if (!is_number || number < 0 || number > 255)
        return text;
    const TagLib::String name = TagLib::ID3v1::genre(number);
    return name.isEmpty() ? text : name;
}

struct id3_texts {
    TagLib::String all[5];

    void fill(int index, const TagLib::String &text)
    {
        if (all[index].isEmpty())
            all[index] = text;
    }
};

static audio_tags *read_block(const TagLib::ByteVector &bytes, const char *v1)
{
    TagLib::ByteVector copy = bytes;
    TagLib::ByteVectorStream stream(copy);
    TagLib::MPEG::File parsed(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
    id3_texts texts;
    if (TagLib::ID3v2::Tag *tag = parsed.ID3v2Tag(false)) {
        texts.fill(0, v2_text(tag, "TIT2"));
        texts.fill(1, v2_text(tag, "TPE1"));
        texts.fill(2, v2_text(tag, "TALB"));
        texts.fill(3, v2_text(tag, "TDRC"));
        texts.fill(3, v2_text(tag, "TYER"));
        texts.fill(4, v2_genre(tag));
    }
    if (const TagLib::ID3v1::Tag *tag = v1 ? parsed.ID3v1Tag(false) : nullptr) {
        texts.fill(0, tag->title());
        texts.fill(1, tag->artist());
        texts.fill(2, tag->album());
        texts.fill(3, audio_text_read(TagLib::ByteVector(v1 + 93, 4)).stripWhiteSpace());
        texts.fill(4, tag->genre());
    }
    std::string utf8[5];
    const char *out[5];
    for (int i = 0; i < 5; i++) {
        utf8[i] = texts.all[i].to8Bit(true);
        out[i] = utf8[i].c_str();
    }
    return audio_tags_new(out);
}

audio_tags_found audio_tags_id3(audio_file *file, audio_tags **out)
{
    char v1[v1_bytes];
    audio_file_window(file, 0, audio_file_size(file));
    const int64_t v1_at = audio_file_size(file) - int64_t(v1_bytes);
    const bool has_v1 = v1_at >= 0 && audio_file_peek(file, v1_at, v1, v1_bytes) == v1_bytes &&
                        !memcmp(v1, "TAG", 3);
    const bool has_v2 = block_size(file, 0) > 0;
    *out = nullptr;
    if (!has_v1 && !has_v2)
        return audio_tags_none;
    audio_text_begin();
    TagLib::ByteVector bytes;
    id3_block block;
    if (has_v2 && block_open(&block, file) == 0)
        bytes = small_block(&block);
    else if (!has_v1)
        return audio_tags_broken;
    if (has_v1)
        bytes.append(TagLib::ByteVector(v1, v1_bytes));
    *out = read_block(bytes, has_v1 ? v1 : nullptr);
    return *out ? audio_tags_read : audio_tags_broken;
}
