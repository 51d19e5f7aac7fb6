#include "platform/device/web/wire/web_name.h"

#include "platform/base/str.h"

#include <cstdint>
#include <cstring>
#include <strings.h>

struct file_kind {
    const char *ending;
    bool queued;
};

static constexpr file_kind kinds[] = {
    {".mp3", true}, {".ogg", true}, {".flac", true}, {".m3u", true}, {".lrc", false},
};

static const file_kind *find_kind(const char *name)
{
    const size_t length = strlen(name);
    for (const file_kind &each : kinds) {
        const size_t ending = strlen(each.ending);
        if (length > ending && strcasecmp(name + length - ending, each.ending) == 0)
            return &each;
    }
    return nullptr;
}

/* Bytes of the character at `text`, which is whole and valid UTF-8; 0 when it is not. */
static int character_bytes(const char *text)
{
    const auto first = static_cast<uint8_t>(*text);
    const int bytes = first < 0x80   ? 1
                      : first < 0xC2 ? 0
                      : first < 0xE0 ? 2
                      : first < 0xF0 ? 3
                      : first < 0xF5 ? 4
                                     : 0;
    for (int i = 1; i < bytes; i++) {
        if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80)
            return 0;
    }
    const auto second = static_cast<uint8_t>(bytes > 2 ? text[1] : 0);
    const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool no_character = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
    return overlong || no_character ? 0 : bytes;
}

static bool is_shown(const char *text)
{
    const auto first = static_cast<uint8_t>(*text);
    return first >= 0x20 && first != 0x7F;
}

static const char *after_folders(const char *path)
{
    const char *name = path;
    for (const char *at = path; *at; at++) {
        if (*at == '/' || *at == '\\')
            name = at + 1;
    }
    while (*name == '.' || *name == ' ')
        name++;
    return name;
}

/* Copies what can be shown, at most `most` bytes of the text up to `end`. */
static size_t copy_shown(const char *from, const char *end, size_t most, web_name &to)
{
    size_t length = 0;
    while (from < end) {
        const int bytes = character_bytes(from);
        const auto size = static_cast<size_t>(bytes > 0 ? bytes : 1);
        if (length + size > most)
            break;
        if (bytes > 0 && is_shown(from))
            memcpy(to + length, from, size);
        else
            memset(to + length, '_', size);
        length += size;
        from += size;
    }
    to[length] = '\0';
    return length;
}

int web_make_name(const char *asked, web_name &to)
{
    const char *name = after_folders(asked);
    const file_kind *kind = find_kind(name);
    if (!kind)
        return -1;
    const size_t ending = strlen(kind->ending);
    const char *stem_end = name + strlen(name) - ending;
    const size_t stem = copy_shown(name, stem_end, web_name_most - ending, to);
    memcpy(to + stem, stem_end, ending + 1);
    return 0;
}

void web_number_name(const web_name &name, int n, web_name &to)
{
    const char *dot = strrchr(name, '.');
    const int stem = dot ? static_cast<int>(dot - name) : 0;
    if (n <= 1 || !dot)
        (void)str_copy(to, name); /* same size */
    else
        (void)str_format(to, "%.*s (%d)%s", stem, name, n, dot); /* 200 bytes and a number fit */
}

bool web_is_queued(const char *name)
{
    const file_kind *kind = find_kind(name);
    return kind && kind->queued;
}
