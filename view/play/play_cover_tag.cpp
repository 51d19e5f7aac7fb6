#include "view/play/play_cover.h"

#include "platform/audio/audio_picture.h"
#include "platform/audio/audio_tag_library.h"
#include "platform/base/module.h"
#include "platform/base/owner.h"
#include "platform/image/image.h"

#include <cstdlib>
#include <cstring>

struct tag_picture {
    owner<unsigned char, free> frame;
    const unsigned char *bytes; /* within the frame */
    size_t size;
    const char *extension;
};

/* The comparison is exact: players of this format never guessed from other spellings. */
static const char *extension_of(const char *type)
{
    if (!strcmp(type, "image/jpeg") || !strcmp(type, "image/jpg"))
        return ".jpg";
    return !strcmp(type, "image/png") ? ".png" : nullptr;
}

/* 0, or -1 without a picture of a known type. */
static int find_in_frame(const unsigned char *frame, size_t frame_size, tag_picture *found)
{
    const owner<void, module_close> module(module_open(audio_tag_file));
    const audio_tag_library *library = audio_tag_library_of(module.get());
    audio_picture_type type;
    if (!library || library->find_picture(frame, frame_size, type, &found->size) != 0)
        return -1;
    found->bytes = frame + frame_size - found->size;
    found->extension = extension_of(type);
    return found->extension ? 0 : -1;
}

static int find_picture(const char *path, tag_picture *found)
{
    unsigned char *frame = nullptr;
    size_t size = 0;
    if (audio_picture_frame(path, &frame, &size) != 0)
        return -1;
    found->frame.reset(frame);
    return find_in_frame(frame, size, found);
}

image *tag_image_read(const char *path)
{
    tag_picture found = {};
    if (find_picture(path, &found) != 0)
        return nullptr;
    return image_read_from_memory(found.extension, found.bytes, found.size);
}

image *tag_image_read_reduced(const char *path, int32_t side, int32_t *width, int32_t *height)
{
    tag_picture found = {};
    if (find_picture(path, &found) != 0)
        return nullptr;
    return image_read_reduced(found.extension, found.bytes, found.size, side, width, height);
}
