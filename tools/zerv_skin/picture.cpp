/* picture: PNG files of what the tool has drawn. */
#include "tools/zerv_skin/picture.h"

#include "platform/base/owner.h"
#include "platform/draw/fb.h"
#include "platform/file/file.h"

#include <cerrno>
#include <cstdio>
#include <png.h>
#include <vector>

int picture_save(const char *path, int32_t width, int32_t height, picture_bytes kind,
                 const uint8_t *bytes)
{
    const owner<FILE, fclose> file(file_fopen(path, "wb"));
    if (!file)
        return -1;
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = static_cast<uint32_t>(width);
    picture.height = static_cast<uint32_t>(height);
    picture.format = kind == picture_bytes::rgba ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    if (png_image_write_to_stdio(&picture, file.get(), 0, bytes, 0, nullptr) == 0 ||
        fflush(file.get()) != 0) {
        errno = errno ? errno : EIO;
        return -1;
    }
    return 0;
}

static std::vector<uint8_t> bytes_of(const fb_surface *surface)
{
    std::vector<uint8_t> bytes;
    for (int32_t y = 0; y < surface->height; y++)
        for (int32_t x = 0; x < surface->width; x++) {
            const uint32_t pixel = surface->pixels[y * surface->stride + x];
            const uint32_t red = pixel >> 11, green = pixel >> 5 & 0x3F, blue = pixel & 0x1F;
            bytes.push_back(static_cast<uint8_t>(red << 3 | red >> 2));
            bytes.push_back(static_cast<uint8_t>(green << 2 | green >> 4));
            bytes.push_back(static_cast<uint8_t>(blue << 3 | blue >> 2));
        }
    return bytes;
}

int picture_save_surface(const char *path, const fb_surface *surface)
{
    return picture_save(path, surface->width, surface->height, picture_bytes::rgb,
                        bytes_of(surface).data());
}

std::vector<uint8_t> picture_encode_surface(const fb_surface *surface)
{
    const std::vector<uint8_t> bytes = bytes_of(surface);
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = static_cast<uint32_t>(surface->width);
    picture.height = static_cast<uint32_t>(surface->height);
    picture.format = PNG_FORMAT_RGB;
    png_alloc_size_t length = PNG_IMAGE_PNG_SIZE_MAX(picture);
    std::vector<uint8_t> file(length);
    if (!png_image_write_to_memory(&picture, file.data(), &length, 0, bytes.data(), 0, nullptr))
        length = 0;
    file.resize(length);
    return file;
}
