/* audio_tag_module: the tag library behind a record. It throws when memory runs out: nothing gets past
 * the functions of the record. */
#include "platform/audio/audio_tag_library.h"
#include "platform/audio/tag/audio_guard.h"

#include <attachedpictureframe.h>
#include <cstdio>
#include <cstring>

/* The tag library sees no more of the file than the one frame: the whole of it may unpack to
 * anything, and would be searched where no tag is. Its lists do not survive their own exceptions
 * either; a frame alone needs none. */
static int find_picture(const unsigned char *frame, size_t size, audio_picture_type &type,
                        size_t *picture_bytes)
{
    return audio_guard(-1, [&] {
        const TagLib::ByteVector data(reinterpret_cast<const char *>(frame),
                                      static_cast<unsigned>(size));
        const TagLib::ID3v2::AttachedPictureFrame parsed(data);
        const TagLib::ByteVector picture = parsed.picture();
        if (picture.isEmpty() || picture.size() > size ||
            memcmp(frame + size - picture.size(), picture.data(), picture.size()) != 0)
            return -1;
        (void)snprintf(type, sizeof type, "%s",
                       parsed.mimeType().toCString(true)); /* cut: unknown */
        *picture_bytes = picture.size();
        return 0;
    });
}

/* The one name that the program looks for. */
extern "C" const audio_tag_library zerv_audio_tag_library;
extern "C" constinit const audio_tag_library zerv_audio_tag_library = {
    .size = sizeof(audio_tag_library),
    .version = ZERV_VERSION,
    .find_picture = find_picture,
};
