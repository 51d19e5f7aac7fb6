/* audio_tags: the five texts that a file says about itself. */
#include "platform/audio/audio_tags.h"

#include "platform/audio/audio_text.h"
#include "platform/base/owner.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <utility>

/* A longer text is not read: nobody shows it, and it may be anything. */
constexpr uint32_t text_limit = 65536;
constexpr uint32_t comment_limit = 65536;

audio_tags *audio_tags_new(const char *const texts[5])
{
    size_t size = sizeof(audio_tags);
    for (int i = 0; i < 5; i++)
        size += texts[i] && *texts[i] ? strlen(texts[i]) + 1 : 0;
    char *memory = static_cast<char *>(malloc(size));
    if (!memory)
        return nullptr;
    char *copies[5] = {};
    char *at = memory + sizeof(audio_tags);
    for (int i = 0; i < 5; i++) {
        if (!texts[i] || !*texts[i])
            continue;
        copies[i] = at;
        at = stpcpy(at, texts[i]) + 1;
    }
    audio_tags *tags = reinterpret_cast<audio_tags *>(memory);
    *tags = {copies[0], copies[1], copies[2], copies[3], copies[4]};
    return tags;
}

audio_tags *audio_tags_empty()
{
    static constexpr const char *none[5] = {};
    return audio_tags_new(none);
}

void audio_tags_free(audio_tags *tags)
{
    free(tags);
}

audio_info *audio_info_new(audio_tags *tags)
{
    audio_info *info = static_cast<audio_info *>(malloc(sizeof *info));
    if (!info) {
        audio_tags_free(tags);
        return nullptr;
    }
    info->tags = tags;
    return info;
}

int audio_info_free(audio_info *info)
{
    if (info)
        audio_tags_free(info->tags);
    free(info);
    return 0;
}

/* A name that is read, and its first value, null as long as none was found. */
struct comment_field {
    const char *name;
    owner<char, free> value;
};

/* The year goes by two names, of which the first is the better one. */
enum { field_title, field_artist, field_album, field_date, field_year, field_genre, field_count };

static uint32_t little_endian(const unsigned char bytes[4])
{
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

static int next_number(audio_tags_next next, void *user, uint32_t *value)
{
    unsigned char bytes[4];
    if (next(user, bytes, sizeof bytes) != sizeof bytes)
        return -1;
    *value = little_endian(bytes);
    return 0;
}

/* The field that a comment belongs to, null for others. */
static comment_field *find_field(comment_field *fields, const char *start, size_t size)
{
    for (int i = 0; i < field_count; i++) {
        const size_t length = strlen(fields[i].name);
        if (size > length && start[length] == '=' && !fields[i].value &&
            strncasecmp(start, fields[i].name, length) == 0)
            return &fields[i];
    }
    return nullptr;
}

/* Reads a comment whose first bytes are there. */
static audio_tags_found take_value(audio_tags_next next, void *user, comment_field *field,
                                   const char *start, size_t head, size_t size)
{
    const size_t name = strlen(field->name) + 1;
    const owner<unsigned char, free> bytes(static_cast<unsigned char *>(malloc(size)));
    owner<char, free> text(static_cast<char *>(malloc(audio_text_room(size))));
    if (!bytes || !text)
        return audio_tags_no_memory;
    memcpy(bytes.get(), start, head);
    if (next(user, bytes.get() + head, size - head) != size - head)
        return audio_tags_broken;
    audio_text_utf8(bytes.get() + name, size - name, text.get());
    if (*text)
        field->value = std::move(text);
    return audio_tags_read;
}

/* Takes one comment when it is wanted, else skips it. */
static audio_tags_found take_comment(audio_tags_next next, void *user, comment_field *fields)
{
    uint32_t size;
    char start[8]; /* as long as the longest name and its "=" */
    if (next_number(next, user, &size))
        return audio_tags_broken;
    const size_t head = std::min<size_t>(size, sizeof start);
    if (next(user, start, head) != head)
        return audio_tags_broken;
    comment_field *field = size > text_limit ? nullptr : find_field(fields, start, head);
    if (field)
        return take_value(next, user, field, start, head, size);
    return next(user, nullptr, size - head) == size - head ? audio_tags_read : audio_tags_broken;
}

static audio_tags_found make_tags(const comment_field *fields, audio_tags **out)
{
    const auto value = [=](int field) { return fields[field].value.get(); };
    const char *const texts[5] = {value(field_title), value(field_artist), value(field_album),
                                  value(field_date) ? value(field_date) : value(field_year),
                                  value(field_genre)};
    *out = audio_tags_new(texts);
    return *out ? audio_tags_read : audio_tags_no_memory;
}

audio_tags_found audio_tags_comments(audio_tags_next next, void *user, audio_tags **out)
{
    comment_field fields[field_count] = {{"TITLE", {}}, {"ARTIST", {}}, {"ALBUM", {}},
                                         {"DATE", {}},  {"YEAR", {}},   {"GENRE", {}}};
    uint32_t vendor, count;
    *out = nullptr;
    if (next_number(next, user, &vendor) || next(user, nullptr, vendor) != vendor ||
        next_number(next, user, &count))
        return audio_tags_broken;
    audio_tags_found found = audio_tags_read;
    for (uint32_t i = 0; i < std::min(count, comment_limit) && found == audio_tags_read; i++)
        found = take_comment(next, user, fields);
    const bool some = std::any_of(fields, fields + field_count, [](const comment_field &field) {
        return field.value != nullptr;
    });
    if (found == audio_tags_no_memory || (found == audio_tags_broken && !some))
        return found;
    return make_tags(fields, out);
}
