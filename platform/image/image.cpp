/* image: which decoder reads a file, and what it reads from. */
#include "platform/image/image.h"

#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "platform/image/image_codec.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/* What a decoder may hold beside the picture: the coefficients of a progressive JPEG of 1800 x 1800
 * in full colour. A picture that is held in memory while it is read counts. */
static constexpr int64_t budget_max = 20 * 1024 * 1024;
static constexpr int64_t budget_min = 1024 * 1024; /* any picture that comes row by row */

struct format {
    const char *signature;
    size_t length;
    image *(*decode)(image_source *source);
};

static constexpr format formats[] = {
    {"\x89PNG\r\n\x1a\n", 8, image_png_decode},
    {"\xFF\xD8\xFF", 3, image_jpeg_decode},
    {"GIF87a", 6, image_gif_decode},
    {"GIF89a", 6, image_gif_decode},
};

/* What is left to read of a picture in memory. */
struct memory_rest {
    const unsigned char *data;
    size_t size;
};

static int read_file(void *handle, void *buffer, unsigned length)
{
    FILE *file = static_cast<FILE *>(handle);
    const size_t got = fread(buffer, 1, length, file);
    return got == 0 && ferror(file) ? -1 : static_cast<int>(got);
}

static int read_memory(void *handle, void *buffer, unsigned length)
{
    memory_rest *rest = static_cast<memory_rest *>(handle);
    const size_t got = std::min<size_t>(length, rest->size);
    if (got == 0)
        return 0;
    memcpy(buffer, rest->data, got);
    rest->data += got;
    rest->size -= got;
    return static_cast<int>(got);
}

static image *decode_source(image_source *source)
{
    const size_t count = image_source_read(source, source->head, sizeof source->head);
    source->head_count = count;
    for (const format &candidate : formats)
        if (count >= candidate.length &&
            memcmp(source->head, candidate.signature, candidate.length) == 0)
            return candidate.decode(source);
    return nullptr;
}

static image *decode(image_read_cb read, void *handle)
{
    image_source source = {};
    source.read = read;
    source.handle = handle;
    source.budget = budget_max;
    return decode_source(&source);
}

/* Only regular files: a pipe or a device with the name of a picture must not block a skin. */
static FILE *open_picture(const char *path)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return nullptr;
    struct stat entry;
    FILE *file = fstat(fd, &entry) == 0 && S_ISREG(entry.st_mode) ? fdopen(fd, "rb") : nullptr;
    if (!file)
        (void)close(fd); /* nothing was written */
    return file;
}

image *image_read(const char *path)
{
    if (fault_hit("image_read") || !path)
        return nullptr;
    owner<FILE, fclose> file(open_picture(path));
    return file ? decode(read_file, file.get()) : nullptr;
}

image *image_read_with_cb(const char *name, image_read_cb read, void *handle)
{
    (void)name; /* extensions lie, signatures do not */
    if (fault_hit("image_read_with_cb") || !read)
        return nullptr;
    return decode(read, handle);
}

image *image_read_from_memory(const char *ext, const void *data, size_t size)
{
    (void)ext; /* extensions lie, signatures do not */
    if (fault_hit("image_read_from_memory") || !data)
        return nullptr;
    memory_rest rest = {static_cast<const unsigned char *>(data), size};
    return decode(read_memory, &rest);
}

image *image_read_reduced(const char *ext, const void *data, size_t size, int32_t side,
                          int32_t *width, int32_t *height)
{
    (void)ext; /* extensions lie, signatures do not */
    if (fault_hit("image_read_reduced") || !data || side < 1 || !width || !height)
        return nullptr;
    memory_rest rest = {static_cast<const unsigned char *>(data), size};
    image_source source = {};
    source.read = read_memory;
    source.handle = &rest;
    source.side = side;
    source.budget = std::max(budget_max - static_cast<int64_t>(size), budget_min);
    image *picture = decode_source(&source);
    if (!picture)
        return nullptr;
    *width = source.width;
    *height = source.height;
    return picture;
}

image *image_create(int32_t width, int32_t height)
{
    return fault_hit("image_create") ? nullptr : image_new(width, height);
}
