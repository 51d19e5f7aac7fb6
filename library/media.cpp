/* media: which files are music or playlists. */
#include "library/media.h"

#include "platform/base/str.h"
#include "platform/file/file.h"

#include <sys/stat.h>

static const char *const audio_extensions[] = {".mp3", ".ogg", ".flac"};

int is_audio_file(const char *name)
{
    const char *extension = file_get_ext(name);
    if (!extension)
        return 0;
    for (const char *known : audio_extensions)
        if (str_equal_nocase(extension, known))
            return 1;
    return 0;
}

int is_playlist_file(const char *name)
{
    const char *extension = file_get_ext(name);
    return extension && str_equal_nocase(extension, ".m3u");
}

int audio_file_filter(const char *name, const struct stat *entry)
{
    return S_ISDIR(entry->st_mode) || is_audio_file(name);
}

int media_file_filter(const char *name, const struct stat *entry)
{
    return audio_file_filter(name, entry) || is_playlist_file(name);
}
