/* png_bytes: PNG files of one colour, in memory. */
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <png.h>
#include <string>
#include <vector>

/*   argb  0xAARRGGBB, not multiplied */
inline std::string png_bytes(uint32_t width, uint32_t height, uint32_t argb)
{
    const std::vector<uint32_t> pixels(static_cast<size_t>(width) * height, argb);
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = width;
    picture.height = height;
    picture.format = PNG_FORMAT_BGRA;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(picture);
    std::string file(size, '\0');
    EXPECT_NE(png_image_write_to_memory(&picture, file.data(), &size, 0, pixels.data(), 0, nullptr),
              0);
    file.resize(size);
    return file;
}
