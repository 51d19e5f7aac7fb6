#include "view/play/play_cover.h"

#include "platform/audio/audio_guard.h"
#include "platform/audio/audio_picture.h"
#include "platform/base/owner.h"
#include "platform/image/image.h"

#include <attachedpictureframe.h>
#include <cstdlib>

/* The comparison is exact: players of this format never guessed from other spellings. */
static const char *extension_of(const TagLib::String &mime)
{
    if (mime == "image/jpeg" || mime == "image/jpg")
        return ".jpg";
    return mime == "image/png" ? ".png" : nullptr;
}

/* The picture frame in the tag library's own bytes. */
static TagLib::ByteVector read_frame(const char *path)
{
    unsigned char *bytes;
    size_t size;
    if (audio_picture_frame(path, &bytes, &size) != 0)
        return {};
    const owner<unsigned char, free> frame(bytes);
    return TagLib::ByteVector(reinterpret_cast<const char *>(bytes), static_cast<unsigned>(size));
}

/* Finds the bytes of the picture and returns the extension that its type has, null without one.
 * The tag library sees no more of the file than the one frame: the whole of it may unpack to
 * anything, and would be searched where no tag is. Its lists do not survive their own exceptions
 * either; a frame alone needs none. */
static const char *find_picture(const char *path, TagLib::ByteVector *bytes)
{
    const TagLib::ByteVector data = read_frame(path);
    if (data.isEmpty())
        return nullptr;
    const TagLib::ID3v2::AttachedPictureFrame frame(data);
    const char *extension = extension_of(frame.mimeType());
    if (extension)
        *bytes = frame.picture();
    return extension;
}

image *tag_image_read(const char *path)
{
    return audio_guard<image *>(nullptr, [=]() -> image * {
        TagLib::ByteVector found;
        const char *extension = find_picture(path, &found);
        const TagLib::ByteVector &bytes = found; /* only so are they not copied */
        return extension ? image_read_from_memory(extension, bytes.data(), bytes.size()) : nullptr;
    });
}

image *tag_image_read_reduced(const char *path, int32_t side, int32_t *width, int32_t *height)
{
    return audio_guard<image *>(nullptr, [=]() -> image * {
        TagLib::ByteVector found;
        const char *extension = find_picture(path, &found);
        const TagLib::ByteVector &bytes = found; /* only so are they not copied */
        return extension
                   ? image_read_reduced(extension, bytes.data(), bytes.size(), side, width, height)
                   : nullptr;
    });
}
