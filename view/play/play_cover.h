/* play_cover: the album cover of the playing track, decoded and fitted on worker threads. */
#pragma once

#include "platform/base/lock.h"
#include "view/play/play_state.h"

#include <cstdint>

struct image;
struct skin_element;

/* The first picture of an MP3's ID3v2 tag. Null without one, for a MIME type other than
 * "image/jpeg", "image/jpg" and "image/png", and when it does not decode. Any thread. */
[[nodiscard]] image *tag_image_read(const char *path);
/* The same picture, reduced while it is read as image_read_reduced() does: `side` is what its
 * longer side keeps, `width` and `height` are those of the picture in the file. */
[[nodiscard]] image *tag_image_read_reduced(const char *path, int32_t side, int32_t *width,
                                            int32_t *height);
/* Starts the loader unless it was already started for the playing track. Any thread; play_view_lock
 * may be held. */
void start_cover_loader();
/* Starts the fitting of the held cover to the element's box, unless it is done or was asked for
 * this element last.
 *   track_id  the track that is being drawn
 * Main thread. */
void play_cover_fit_locked(const skin_element *element, uint32_t track_id) REQUIRES(play_view_lock);
