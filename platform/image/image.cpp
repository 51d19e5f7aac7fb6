/* image: picture records, and which decoder reads a file. */
#include "platform/image/image.h"

#include "platform/base/fault.h"
#include "platform/base/owner.h"
#include "platform/image/image_codec.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr int32_t side_max = 4096;
static constexpr int64_t pixels_max = 16 * 1024 * 1024;
/* What a decoder may hold beside the picture: the coefficients of a progressive JPEG of 1800 x 1800
 * in full colour. A picture that is held in memory while it is read counts. */
static constexpr int64_t budget_max = 20 * 1024 * 1024;
static constexpr int64_t budget_min = 1024 * 1024; /* any picture that comes row by row */

/* Any thread; wraps after more pictures than a player ever sees. */
static constinit std::atomic<uint32_t> serials{0};

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

size_t image_source_read(image_source *source, void *buffer, size_t size)
{
    unsigned char *to = static_cast<unsigned char *>(buffer);
    size_t done = std::min(size, source->head_count - source->head_used);
    memcpy(to, source->head + source->head_used, done);
    source->head_used += done;
    while (done < size) {
        const unsigned wanted = static_cast<unsigned>(std::min<size_t>(size - done, 1u << 20));
        const int got = source->read(source->handle, to + done, wanted);
        if (got <= 0 || static_cast<unsigned>(got) > wanted)
            break;
        done += static_cast<size_t>(got);
    }
    return done;
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

static bool size_fits(int64_t width, int64_t height)
{
    return width >= 1 && height >= 1 && width <= side_max && height <= side_max &&
           width * height <= pixels_max;
}

bool image_source_accept(image_source *source, int64_t width, int64_t height)
{
    if (!size_fits(width, height))
        return false;
    source->width = static_cast<int32_t>(width);
    source->height = static_cast<int32_t>(height);
    return true;
}

int32_t image_source_factor(const image_source *source)
{
    if (source->side < 1)
        return 1;
    return std::max(1, std::max(source->width, source->height) / source->side);
}

image *image_new(int32_t width, int32_t height)
{
    if (!size_fits(width, height))
        return nullptr;
    image *made = static_cast<image *>(calloc(1, sizeof *made));
    if (!made)
        return nullptr;
    made->width = width;
    made->height = height;
    made->has_alpha = true;
    made->serial = ++serials;
    /* Zeroed pages come from the system untouched, so a small file that claims a large picture
     * costs only the rows it really has. */
    made->argb = static_cast<uint32_t *>(
        calloc(static_cast<size_t>(width) * static_cast<size_t>(height), sizeof *made->argb));
    if (!made->argb) {
        (void)image_free(made);
        return nullptr;
    }
    return made;
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

int image_free(image *picture)
{
    if (!picture)
        return 0;
    free(picture->argb);
    free(picture->rgb565);
    free(picture->spans);
    free(picture->runs);
    free(picture);
    return 0;
}
