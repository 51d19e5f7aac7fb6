/* fuzz_cover: the covers of strangers' files: found, opened, decoded and reduced. */
#include "fuzz/fuzz.h"
#include "platform/image/image.h"
#include "view/play/play_cover.h"

constexpr int32_t kept_side = 640;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz_file input(data, size);
    int32_t width = 0, height = 0;
    image *picture = tag_image_read_reduced(input.path, kept_side, &width, &height);
    if (picture && (width < picture->width || height < picture->height))
        abort();
    (void)image_free(picture);
    return 0;
}
