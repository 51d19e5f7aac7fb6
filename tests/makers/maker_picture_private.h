/* maker_picture_private: what the picture makers share. */
#pragma once

#include "tests/makers/maker_picture.h"

struct maker_palette {
    std::vector<uint32_t> colours;
    maker_bytes indices; /* one a pixel */
};

maker_palette maker_palette_of(const maker_picture &picture, size_t colours_max);

[[noreturn]] void maker_picture_fail(const char *what);
