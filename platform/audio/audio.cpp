/* audio: the decoders by file name. */
#include "platform/audio/audio.h"

#include "platform/audio/decoder.h"
#include "platform/base/fault.h"
#include "platform/file/file.h"

#include <strings.h>

struct known_format {
    const char *ext;
    const audio_decoder *decoder;
};

static constexpr known_format formats[] = {
    {".mp3", &decoder_mp3},
    {".ogg", &decoder_ogg},
    {".flac", &decoder_flac},
};

int audio_init()
{
    return fault_hit("audio_init") ? -1 : 0;
}

int audio_exit()
{
    /* Nothing is held: streams belong to their owners. */
    return fault_hit("audio_exit") ? -1 : 0;
}

const audio_decoder *audio_get_decoder(const char *path)
{
    const char *ext = path ? file_get_ext(path) : nullptr;
    if (!ext)
        return nullptr;
    for (const known_format &format : formats)
        if (!strcasecmp(ext, format.ext))
            return format.decoder;
    return nullptr;
}
