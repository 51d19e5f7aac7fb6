/* audio_tags: the five texts that a file says about itself. */
#include "platform/audio/audio_tags.h"

#include "platform/audio/audio_guard.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <strings.h>
#include <taglib/xiphcomment.h>

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

/* The names that are read, and what to ask for when the first has no value. */
struct comment_name {
    const char *name;
    bool found;
};

static uint32_t little_endian(const unsigned char bytes[4])
{
    return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 |
           uint32_t(bytes[3]) << 24;
}

static int next_number(audio_tags_next next, void *user, uint32_t *value)
{
    unsigned char bytes[4];
    if (next(user, bytes, sizeof bytes) != sizeof bytes)
        return -1;
    *value = little_endian(bytes);
    return 0;
}

static bool is_wanted(const char *start, size_t size, comment_name *names, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        const size_t length = strlen(names[i].name);
        if (size <= length || start[length] != '=' || names[i].found ||
            strncasecmp(start, names[i].name, length) != 0)
            continue;
        names[i].found = true;
        return true;
    }
    return false;
}

/* Appends one comment when it is wanted, else skips it. -1 when the block ends inside. */
static int take_comment(audio_tags_next next, void *user, comment_name *names, size_t names_count,
                        TagLib::ByteVector *kept, uint32_t *kept_count)
{
    uint32_t size;
    char start[8]; /* as long as the longest name and its "=" */
    if (next_number(next, user, &size))
        return -1;
    const size_t head = std::min<size_t>(size, sizeof start);
    if (next(user, start, head) != head)
        return -1;
    if (size > text_limit || !is_wanted(start, head, names, names_count))
        return next(user, nullptr, size - head) == size - head ? 0 : -1;
    TagLib::ByteVector text(unsigned(size), 0);
    memcpy(text.data(), start, head);
    if (next(user, text.data() + head, size - head) != size - head)
        return -1;
    kept->append(TagLib::ByteVector::fromUInt(size, false));
    kept->append(text);
    ++*kept_count;
    return 0;
}

static TagLib::ByteVector first_value(const TagLib::Ogg::XiphComment &comment, const char *name)
{
    const TagLib::Ogg::FieldListMap &fields = comment.fieldListMap();
    const auto found = fields.find(name);
    if (found == fields.end() || found->second.isEmpty())
        return {};
    return found->second.front().data(TagLib::String::UTF8) + '\0';
}

static audio_tags_found read_comments(audio_tags_next next, void *user, audio_tags **out)
{
    comment_name names[] = {{"TITLE", false}, {"ARTIST", false}, {"ALBUM", false},
                            {"DATE", false},  {"YEAR", false},   {"GENRE", false}};
    uint32_t vendor, count, kept_count = 0;
    if (next_number(next, user, &vendor) || next(user, nullptr, vendor) != vendor ||
        next_number(next, user, &count))
        return audio_tags_broken;
    TagLib::ByteVector kept;
    bool whole = true;
    for (uint32_t i = 0; i < std::min(count, comment_limit) && whole; i++)
        whole = take_comment(next, user, names, std::size(names), &kept, &kept_count) == 0;
    if (!whole && kept_count == 0)
        return audio_tags_broken;
    /* No vendor, and the comments that were kept. */
    const TagLib::Ogg::XiphComment comment(TagLib::ByteVector(4, 0) +
                                           TagLib::ByteVector::fromUInt(kept_count, false) + kept);
    TagLib::ByteVector values[std::size(names)];
    for (size_t i = 0; i < std::size(names); i++)
        values[i] = first_value(comment, names[i].name);
    const char *year = values[3].size() > 1 ? values[3].data() : values[4].data();
    const char *const texts[5] = {values[0].data(), values[1].data(), values[2].data(), year,
                                  values[5].data()};
    *out = audio_tags_new(texts);
    return *out ? audio_tags_read : audio_tags_no_memory;
}

audio_tags_found audio_tags_comments(audio_tags_next next, void *user, audio_tags **out)
{
    *out = nullptr;
    return audio_guard(audio_tags_no_memory, [=] { return read_comments(next, user, out); });
}
