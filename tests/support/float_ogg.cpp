/* float_ogg: Ogg Vorbis through vorbisfile. */
#include "support/float_decoders.h"

#define OV_EXCLUDE_STATIC_CALLBACKS
#include <vorbis/vorbisfile.h>

float_sound float_ogg(const std::string &path)
{
    float_sound sound;
    OggVorbis_File file;
    if (ov_fopen(path.c_str(), &file))
        return sound;
    sound.channels = ov_info(&file, -1)->channels;
    float **from;
    int link;
    long frames;
    while ((frames = ov_read_float(&file, &from, 4096, &link)) > 0)
        for (long i = 0; i < frames; i++)
            for (int channel = 0; channel < sound.channels; channel++)
                sound.samples.push_back(from[channel][i]);
    ov_clear(&file);
    return sound;
}
