/* library_tags: what one file says about itself. */
#include "library/library_tags.h"

#include "library/media.h"
#include "platform/audio.h"
#include "platform/str.h"

#include <cstdlib>
#include <cstring>

constexpr size_t tags_field_size = 1024;
static const char tags_unknown[] = "未知";

static char *tags_copy_field(const char *value)
{
    char field[tags_field_size];
    str_copy(field, value);
    str_strip(field);
    return strdup(field[0] ? field : tags_unknown);
}

static int tags_copy(const audio_tags *from, library_tags *to)
{
    to->artist = tags_copy_field(from->artist);
    to->album = tags_copy_field(from->album);
    to->genre = tags_copy_field(from->genre);
    to->year = tags_copy_field(from->year);
    to->title = tags_copy_field(from->title);
    if (to->artist && to->album && to->genre && to->year && to->title)
        return 0;
    library_tags_free(to);
    return -1;
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
    free(tags->album);
    free(tags->genre);
    free(tags->year);
    free(tags->title);
    *tags = {};
    tags->kind = library_file_kind::unreadable;
}
