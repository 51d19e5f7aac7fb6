/* float_decoders: the same files decoded by the libraries that count in floating point, to compare
 * with. */
#pragma once

#include <string>
#include <vector>

/* Interleaved, at the file's own rate, 1 is full scale. Empty when it cannot be decoded. */
struct float_sound {
    std::vector<float> samples;
    int channels = 0;
};

float_sound float_mp3(const std::string &path);
float_sound float_ogg(const std::string &path);
