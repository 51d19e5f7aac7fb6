/* skin_keep: pictures of a part that are decoded when their page is first shown. A part has several
 * variants, most of which are never seen. Inside the reading of parts only. */
#pragma once

#include "skin/skin.h"

#include <cstdint>

struct skin_package;

/* The file of a picture, and the size that decoding will find. */
struct skin_picture_file {
    skin_kept kept;
    int32_t width, height;
};

/* Reads the member that a walk stands on. The caller frees the bytes. -1, and nothing, for what has to be
 * decoded at once: files that are large, no PNG or not whole, and whatever cannot be read. */
[[nodiscard]] int skin_keep_read(skin_package *package, skin_picture_file *file);
/* Hands a file over to the part. -1: memory runs out, or the part keeps enough. */
[[nodiscard]] int skin_keep_add(skin_part *part, const skin_kept &kept);
/* Lets an element wait for the file that was added last. */
void skin_keep_for(skin_element *element, const skin_part *part, const skin_picture_file &file);
/* Notes which pages have elements that wait. */
void skin_keep_note_pages(skin_part *part);
