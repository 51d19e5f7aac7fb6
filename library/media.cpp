/* media: which files are music or playlists. */
#include "library/media.h"

#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <sys/stat.h>

int is_audio_file(const char *name)
{
    return audio_get_decoder(name) != nullptr;
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
