/* library_tags: what one file says about itself. */
#include "library/library_tags.h"

#include "library/media.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"

#include <cstdlib>
#include <cstring>

constexpr size_t tags_field_size = 1024;
static const char tags_unknown[] = "未知";

/* Writes a field behind the others and returns the place behind it. */
static char *tags_put_field(char *to, const char *value, char **field)
{
    str_copy_to(to, tags_field_size, value);
    str_strip(to);
    if (!to[0])
        str_copy_to(to, tags_field_size, tags_unknown);
    *field = to;
    return to + strlen(to) + 1;
}

static int tags_copy(const audio_tags *from, library_tags *to)
{
    char fields[5 * tags_field_size];
    library_tags at = {};
    char *end = tags_put_field(fields, from->artist, &at.artist);
    end = tags_put_field(end, from->album, &at.album);
    end = tags_put_field(end, from->genre, &at.genre);
    end = tags_put_field(end, from->year, &at.year);
    end = tags_put_field(end, from->title, &at.title);
    const size_t size = static_cast<size_t>(end - fields);
    char *block = static_cast<char *>(malloc(size));
    if (!block)
        return -1;
    memcpy(block, fields, size);
    to->artist = block;
    to->album = block + (at.album - fields);
    to->genre = block + (at.genre - fields);
    to->year = block + (at.year - fields);
    to->title = block + (at.title - fields);
    return 0;
}

int library_tags_read(const char *path, library_tags *out)
{
    *out = {};
    out->kind = library_file_kind::playlist;
    if (is_playlist_file(path))
        return 0;
    out->kind = library_file_kind::unreadable;
    const audio_decoder *decoder = audio_get_decoder(path);
    audio_info *info = decoder ? decoder->read_info(path) : nullptr;
    if (!info)
        return 0;
    const int result = info->tags ? tags_copy(info->tags, out) : 0;
    if (result == 0)
        out->kind = info->tags ? library_file_kind::tagged : library_file_kind::bare;
    (void)decoder->release_info(info);
    return result;
}

void library_tags_free(library_tags *tags)
{
    free(tags->artist);
    *tags = {};
    tags->kind = library_file_kind::unreadable;
}
