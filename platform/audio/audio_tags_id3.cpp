/* audio_tags_id3: the texts of ID3 blocks. */
#include "platform/audio/audio_genre.h"
#include "platform/audio/audio_id3.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/audio_text.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

constexpr size_t text_limit = 65536; /* a longer text frame is not read */
constexpr size_t v1_bytes = 128;
constexpr size_t genre_bytes = 64;

enum { field_title, field_artist, field_album, field_year, field_genre, field_count };
enum { text_native, text_utf16, text_utf16_big, text_utf8 }; /* the first byte of a text frame */

/* The frames that are looked at, the better one of a field first: the year alone, not the day and
 * the time beside it. */
struct wanted_frame {
    const char *now, *before; /* names in the versions above 2 and in version 2 */
    int field;
};

static constexpr wanted_frame wanted[] = {
    {"TIT2", "TT2", field_title}, {"TPE1", "TP1", field_artist}, {"TALB", "TAL", field_album},
    {"TDRC", "TDR", field_year},  {"TYER", "TYE", field_year},   {"TCON", "TCO", field_genre},
};
constexpr int wanted_count = static_cast<int>(std::size(wanted));
constexpr unsigned wanted_all = (1u << wanted_count) - 1;

using text_owner = owner<char, free>;

struct id3_texts {
    text_owner all[field_count]; /* null as long as there is none */
    bool no_memory;
};

static text_owner new_text(id3_texts *texts, size_t size)
{
    text_owner text(static_cast<char *>(malloc(std::max(audio_text_room(size), genre_bytes))));
    texts->no_memory = texts->no_memory || !text;
    return text;
}

/* Takes the text unless it is empty or the field has one. */
static void fill(id3_texts *texts, int field, text_owner text)
{
    str_strip(text.get());
    if (*text && !texts->all[field])
        texts->all[field] = std::move(text);
}

/* Index among the wanted frames, -1 for others. Some writers put the old names into a new block. */
static int wanted_index(const char *id)
{
    const bool old = strlen(id) == 3;
    for (int i = 0; i < wanted_count; i++)
        if (!strcmp(old ? wanted[i].before : wanted[i].now, id))
            return i;
    return -1;
}

static void utf16_text(const unsigned char *bytes, size_t size, int encoding, char *to)
{
    bool big = encoding == text_utf16_big;
    if (encoding == text_utf16) {
        big = size >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF;
        const bool marked = big || (size >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE);
        size = marked ? size - 2 : 0;
        bytes += marked ? 2 : 0;
    }
    audio_text_utf16(bytes, size, big, to);
}

/* The first text of a frame that is not empty. */
static text_owner frame_text(id3_texts *texts, const audio_id3_content *content)
{
    text_owner text = new_text(texts, content->size);
    if (!text)
        return text;
    *text = '\0';
    const int encoding = content->size > 1 ? content->bytes[0] : -1;
    const bool wide = encoding == text_utf16 || encoding == text_utf16_big;
    const size_t step = wide ? 2 : 1;
    size_t at = 1;
    while (at + step <= content->size && !content->bytes[at] && !content->bytes[at + step - 1])
        at += step;
    const unsigned char *bytes = content->bytes + std::min(at, content->size);
    const size_t size = content->size - std::min(at, content->size);
    if (wide)
        utf16_text(bytes, size, encoding, text.get());
    else if (encoding == text_native)
        audio_text_native(bytes, size, false, text.get());
    else if (encoding == text_utf8)
        audio_text_utf8(bytes, size, text.get());
    return text;
}

/* The number that a text is, -1 for any other. */
static int genre_number(const char *text)
{
    const char *rest;
    const int number = str_to_int32(text, &rest);
    return rest == text || *rest || number < 0 || number > 255 ? -1 : number;
}

/* Old blocks put numbers into brackets, and words of their own behind them. */
static void strip_brackets(char *text)
{
    char *at = text;
    while (char *end = *at == '(' ? strchr(at, ')') : nullptr) {
        char name[genre_bytes];
        *end = '\0';
        const int number = genre_number(at + 1);
        audio_genre_name(number, name, sizeof name);
        const bool counts = number >= 0 && strcmp(name, end + 1) != 0;
        if (counts || !strcmp(at + 1, "RX") || !strcmp(at + 1, "CR")) {
            at++;
            break;
        }
        at = end + 1;
    }
    memmove(text, at, strlen(at) + 1);
}

static void name_genre(char *text)
{
    char name[genre_bytes];
    strip_brackets(text);
    const int number = genre_number(text);
    audio_genre_name(number, name, sizeof name);
    if (number >= 0 && name[0])
        str_copy_to(text, genre_bytes, name);
}

/* The first frame of a name counts. */
static void read_v2(audio_id3 *block, id3_texts *texts)
{
    unsigned taken = 0;
    audio_id3_frame frame;
    text_owner found[wanted_count];
    while (taken != wanted_all && audio_id3_next(block, &frame)) {
        const int index = wanted_index(frame.id);
        audio_id3_content content;
        if (index < 0 || (taken & 1u << index) ||
            audio_id3_take(block, &frame, text_limit, &content) != 0)
            continue;
        const owner<unsigned char, free> bytes(content.bytes);
        found[index] = frame_text(texts, &content);
        taken |= 1u << index;
    }
    texts->no_memory = texts->no_memory || block->no_memory;
    for (int i = 0; i < wanted_count; i++) {
        if (!found[i])
            continue;
        str_strip(found[i].get());
        if (wanted[i].field == field_genre)
            name_genre(found[i].get());
        fill(texts, wanted[i].field, std::move(found[i]));
    }
}

/* A block at the end of the file, whose fields are as long as their place. */
static void read_v1(const unsigned char *block, id3_texts *texts)
{
    static constexpr struct {
        int field;
        size_t at, size;
    } places[] = {{field_title, 3, 30},
                  {field_artist, 33, 30},
                  {field_album, 63, 30},
                  {field_year, 93, 4},
                  {field_genre, 127, 0}};
    for (const auto &place : places) {
        text_owner text = new_text(texts, place.size);
        if (!text)
            return;
        if (place.field == field_genre)
            audio_genre_name(block[place.at], text.get(), genre_bytes);
        else
            audio_text_native(block + place.at, place.size,
                              !memchr(block + place.at, 0, place.size), text.get());
        fill(texts, place.field, std::move(text));
    }
}

static bool is_complete(const id3_texts *texts)
{
    return std::all_of(texts->all, texts->all + field_count,
                       [](const text_owner &text) { return text != nullptr; });
}

static audio_tags_found make_tags(const id3_texts *texts, audio_tags **out)
{
    const char *all[field_count];
    for (int i = 0; i < field_count; i++)
        all[i] = texts->all[i].get();
    *out = texts->no_memory ? nullptr : audio_tags_new(all);
    return *out ? audio_tags_read : audio_tags_no_memory;
}

audio_tags_found audio_tags_id3(audio_file *file, audio_tags **out)
{
    id3_texts texts = {};
    audio_id3 block;
    *out = nullptr;
    audio_text_begin();
    const bool is_there = audio_id3_is_there(file);
    const bool readable = is_there && audio_id3_open(&block, file) == 0;
    if (readable)
        read_v2(&block, &texts);
    /* The end of the file is another block of the card: it is read where it can add something. */
    unsigned char v1[v1_bytes];
    const int64_t v1_at = audio_file_size(file) - static_cast<int64_t>(v1_bytes);
    const bool has_v1 = !is_complete(&texts) && v1_at >= 0 &&
                        audio_file_peek(file, v1_at, v1, v1_bytes) == v1_bytes &&
                        !memcmp(v1, "TAG", 3);
    if (has_v1)
        read_v1(v1, &texts);
    if (!readable && !has_v1)
        return is_there ? audio_tags_broken : audio_tags_none;
    return make_tags(&texts, out);
}
