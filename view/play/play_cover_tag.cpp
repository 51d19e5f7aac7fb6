#include "view/play/play_cover.h"

#include "platform/base/owner.h"
#include "platform/file/file.h"
#include "platform/image/image.h"

#include <attachedpictureframe.h>
#include <cstring>
#include <id3v2tag.h>
#include <mpegfile.h>

/* The tag library reads a whole tag into memory; a tag above this holds no cover worth that. */
constexpr uint32_t largest_tag = 32u << 20;

/* Size of the tag at the start of the file as its head declares it, 0 without one. */
static uint32_t declared_tag_size(const char *path)
{
    owner<FILE, fclose> file(file_fopen(path, "rb"));
    unsigned char head[10];
    if (!file || fread(head, 1, sizeof head, file.get()) != sizeof head ||
        memcmp(head, "ID3", 3) != 0)
        return 0;
    return (uint32_t)(head[6] & 0x7f) << 21 | (uint32_t)(head[7] & 0x7f) << 14 |
           (uint32_t)(head[8] & 0x7f) << 7 | (head[9] & 0x7f);
}

/* The comparison is exact: players of this format never guessed from other spellings. */
static const char *extension_of(const TagLib::String &mime)
{
    if (mime == "image/jpeg" || mime == "image/jpg")
        return ".jpg";
    return mime == "image/png" ? ".png" : nullptr;
}

/* Finds the bytes of the picture and returns the extension that its type has, null without one.
 * The file is closed again: while the picture is decoded, only its own bytes are in memory. */
static const char *find_picture(const char *path, TagLib::ByteVector *bytes)
{
    if (declared_tag_size(path) > largest_tag)
        return nullptr;
    TagLib::MPEG::File file(path, false, TagLib::AudioProperties::Average);
    if (!file.isOpen())
        return nullptr;
    TagLib::ID3v2::Tag *tag = file.ID3v2Tag(false);
    if (!tag)
        return nullptr;
    const TagLib::ID3v2::FrameList &frames = tag->frameListMap()["APIC"];
    if (frames.isEmpty())
        return nullptr;
    /* An encrypted or damaged frame comes back as another kind. */
    const auto *frame = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame *>(frames.front());
    const char *extension = frame ? extension_of(frame->mimeType()) : nullptr;
    if (extension)
        *bytes = frame->picture();
    return extension;
}

image *tag_image_read(const char *path)
{
    TagLib::ByteVector bytes;
    const char *extension = find_picture(path, &bytes);
    return extension ? image_read_from_memory(extension, bytes.data(), bytes.size()) : nullptr;
}

image *tag_image_read_reduced(const char *path, int32_t side, int32_t *width, int32_t *height)
{
    TagLib::ByteVector bytes;
    const char *extension = find_picture(path, &bytes);
    if (!extension)
        return nullptr;
    return image_read_reduced(extension, bytes.data(), bytes.size(), side, width, height);
}
