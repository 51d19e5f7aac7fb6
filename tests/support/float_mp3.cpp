/* float_mp3: MP3 through libmpg123. */
#include "support/float_decoders.h"

#include <mpg123.h>

float_sound float_mp3(const std::string &path)
{
    float_sound sound;
    mpg123_handle *mpg = mpg123_new(nullptr, nullptr);
    long rate;
    int encoding;
    if (mpg && mpg123_param(mpg, MPG123_ADD_FLAGS, MPG123_FORCE_FLOAT | MPG123_QUIET, 0) == 0 &&
        mpg123_open(mpg, path.c_str()) == MPG123_OK &&
        mpg123_getformat(mpg, &rate, &sound.channels, &encoding) == MPG123_OK) {
        std::vector<float> part(8192);
        size_t bytes = 0;
        int result;
        do {
            result = mpg123_read(mpg, part.data(), part.size() * sizeof(float), &bytes);
            const auto end = part.begin() + static_cast<std::ptrdiff_t>(bytes / sizeof(float));
            sound.samples.insert(sound.samples.end(), part.begin(), end);
        } while (result == MPG123_OK);
    }
    mpg123_delete(mpg);
    return sound;
}
