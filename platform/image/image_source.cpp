/* image_source: what a decoder reads from, and the record that it makes. */
#include "platform/image/image.h"

#include "platform/image/image_codec.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

static constexpr int32_t side_max = 4096;
static constexpr int64_t pixels_max = 16 * 1024 * 1024;

/* Any thread; wraps after more pictures than a player ever sees. */
static constinit std::atomic<uint32_t> serials{0};

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
