/* audio_tags_id3: the texts of ID3 blocks. */
#include "platform/audio/audio_guard.h"
#include "platform/audio/audio_id3.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/audio_text.h"
#include "platform/base/owner.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <taglib/id3v1genres.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2header.h>
#include <taglib/textidentificationframe.h>

constexpr size_t text_limit = 65536; /* a longer text frame is not read */
constexpr size_t v1_bytes = 128;

enum { field_title, field_artist, field_album, field_year, field_genre, field_count };

/* The frames that are looked at, the better one of a field first: the year alone, not the day and
 * time that the library would join to it. */
struct wanted_frame {
    const char *now, *before; /* names in the versions above 2 and in version 2 */
    int field;
};

static constexpr wanted_frame wanted[] = {
    {"TIT2", "TT2", field_title}, {"TPE1", "TP1", field_artist}, {"TALB", "TAL", field_album},
    {"TDRC", "TDR", field_year},  {"TYER", "TYE", field_year},   {"TCON", "TCO", field_genre},
};
constexpr int wanted_count = int(std::size(wanted));

struct id3_texts {
    TagLib::String frames[wanted_count]; /* of the newer block */
    TagLib::String all[field_count];

    void fill(int field, const TagLib::String &text)
    {
        if (all[field].isEmpty())
            all[field] = text;
    }
};

/* Index among the wanted frames, -1 for others. Some writers put the old names into a new block. */
static int wanted_index(const char *id)
{
    const bool old = strlen(id) == 3;
    for (int i = 0; i < wanted_count; i++)
        if (!strcmp(old ? wanted[i].before : wanted[i].now, id))
            return i;
    return -1;
}

/* The frame as the library wants it: with plain content, and flags that say so. */
static TagLib::ByteVector plain_frame(int version, const wanted_frame *name,
                                      const audio_id3_content *content)
{
    TagLib::ByteVector bytes(version == 2 ? name->before : name->now);
    const int bits = version == 4 ? 7 : 8;
    for (int i = version == 2 ? 2 : 3; i >= 0; i--)
        bytes.append(char((content->size >> (i * bits)) & ((1u << bits) - 1)));
    if (version > 2)
        bytes.append(TagLib::ByteVector(2, '\0'));
    return bytes.append(TagLib::ByteVector(reinterpret_cast<const char *>(content->bytes),
                                           unsigned(content->size)));
}

/* The first text of a frame. */
static TagLib::String frame_text(int version, const TagLib::ByteVector &bytes)
{
    TagLib::ByteVector head("ID3");
    head.append(char(version)).append(TagLib::ByteVector(6, '\0'));
    const TagLib::ID3v2::Header header(head);
    const std::unique_ptr<TagLib::ID3v2::Frame> frame(
        TagLib::ID3v2::FrameFactory::instance()->createFrame(bytes, &header));
    const auto *text = dynamic_cast<const TagLib::ID3v2::TextIdentificationFrame *>(frame.get());
    if (!text || text->fieldList().isEmpty())
        return {};
    return text->fieldList().front().stripWhiteSpace();
}

static TagLib::String genre_name(const TagLib::String &text)
{
    bool is_number = false;
    const int number = text.toInt(&is_number);
    if (!is_number || number < 0 || number > 255)
        return text;
    const TagLib::String name = TagLib::ID3v1::genre(number);
    return name.isEmpty() ? text : name;
}

/* The first frame of a name counts. */
static void read_v2(audio_id3 *block, id3_texts *texts)
{
    unsigned taken = 0;
    audio_id3_frame frame;
    while (taken != (1u << wanted_count) - 1 && audio_id3_next(block, &frame)) {
        const int index = wanted_index(frame.id);
        audio_id3_content content;
        if (index < 0 || (taken & 1u << index) ||
            audio_id3_take(block, &frame, text_limit, &content) != 0)
            continue;
        const owner<unsigned char, free> bytes(content.bytes);
        texts->frames[index] =
            frame_text(block->version, plain_frame(block->version, &wanted[index], &content));
        taken |= 1u << index;
    }
    texts->frames[wanted_count - 1] = genre_name(texts->frames[wanted_count - 1]);
    for (int i = 0; i < wanted_count; i++)
        texts->fill(wanted[i].field, texts->frames[i]);
}

/* A block at the end of the file, whose fields are as long as their place. */
static void read_v1(const char *block, id3_texts *texts)
{
    static constexpr struct {
        int field;
        unsigned at, size;
    } places[] = {
        {field_title, 3, 30}, {field_artist, 33, 30}, {field_album, 63, 30}, {field_year, 93, 4}};
    for (const auto &place : places) {
        const TagLib::ByteVector bytes(block + place.at, place.size);
        const bool full = !memchr(block + place.at, 0, place.size);
        texts->fill(place.field, audio_text_read(bytes, full).stripWhiteSpace());
    }
    texts->fill(field_genre, TagLib::ID3v1::genre(static_cast<unsigned char>(block[127])));
}

static bool is_complete(const id3_texts *texts)
{
    return std::none_of(texts->all, texts->all + field_count,
                        [](const TagLib::String &text) { return text.isEmpty(); });
}

static audio_tags *make_tags(const id3_texts *texts)
{
    std::string utf8[field_count];
    const char *out[field_count];
    for (int i = 0; i < field_count; i++) {
        utf8[i] = texts->all[i].to8Bit(true);
        out[i] = utf8[i].c_str();
    }
    return audio_tags_new(out);
}

static audio_tags_found read_blocks(audio_file *file, audio_tags **out)
{
    id3_texts texts;
    audio_id3 block;
    const bool is_there = audio_id3_is_there(file);
    const bool readable = is_there && audio_id3_open(&block, file) == 0;
    if (readable)
        read_v2(&block, &texts);
    /* The end of the file is another block of the card: it is read where it can add something. */
    char v1[v1_bytes];
    const int64_t v1_at = audio_file_size(file) - int64_t(v1_bytes);
    const bool has_v1 = !is_complete(&texts) && v1_at >= 0 &&
                        audio_file_peek(file, v1_at, v1, v1_bytes) == v1_bytes &&
                        !memcmp(v1, "TAG", 3);
    if (has_v1)
        read_v1(v1, &texts);
    if (!readable && !has_v1)
        return is_there ? audio_tags_broken : audio_tags_none;
    *out = make_tags(&texts);
    return *out ? audio_tags_read : audio_tags_no_memory;
}

audio_tags_found audio_tags_id3(audio_file *file, audio_tags **out)
{
    *out = nullptr;
    audio_text_begin();
    return audio_guard(audio_tags_no_memory, [&] { return read_blocks(file, out); });
}
