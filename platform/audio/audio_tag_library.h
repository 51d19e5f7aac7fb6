/* audio_tag_library: what is asked of the tag library. It and the C++ library behind it are 2 MiB
 * in memory and much of what the loader does at a start, so that they stand in a file of their own,
 * loaded for as long as a picture is looked at. Any thread. */
#pragma once

#include <cstddef>

/* Names of the types, with room for the longest that is known and one letter more. */
using audio_picture_type = char[12];

struct audio_tag_library {
    size_t size; /* of this record */
    const char *version;
    /* The type of the picture in a frame "APIC" of version 2.4, cut to the room, and the bytes of
     * the picture, which are the last of the frame. -1 without a picture or memory. */
    int (*find_picture)(const unsigned char *frame, size_t size, audio_picture_type &type,
                        size_t *picture_bytes);
};

/* The file that holds it, for module_open(). */
constexpr const char *audio_tag_file = "zerv-audio-tag.so";
/* What the opened file offers. Null for null and for a file of another version of the program. */
[[nodiscard]] const audio_tag_library *audio_tag_library_of(void *module);
