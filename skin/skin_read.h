/* skin_read: reading a part with a watcher, for programs that help skin makers. */
#pragma once

#include "skin/skin_package.h"
#include "skin/skin_watch.h"

#include <cstdint>

struct skin_part;

/* Pixels of all images of a part together, and bytes read for them: one full image of the largest
 * size that decodes, or some two hundred full screens. */
constexpr uint64_t skin_limit_pixels = 4096 * 4096;
constexpr uint64_t skin_limit_image_bytes = 64u << 20;
constexpr uint32_t skin_limit_variants = 256;

/* skin_read_part() that tells a watcher (may be null) what it leaves out and why. */
[[nodiscard]] skin_part *skin_read_part_watched(const char *package_path, const char *part_name,
                                                const skin_watcher *watcher);

/* The two steps of it, for an open package. */

/* The variants in their order, without images. Null when none parses or the package fails. */
[[nodiscard]] skin_part *skin_read_pages(skin_package *package, const char *part_name,
                                         const skin_watcher *watcher);
/* Decodes the images that the elements name (or keeps the files of those that can wait), and gives elements without a size theirs. An element
 * whose file is not there keeps none. -1 when one does not decode; a watcher hears of the first
 * files that do not, each once. */
[[nodiscard]] int skin_load_images(skin_package *package, skin_part *part,
                                   const skin_watcher *watcher, bool may_wait = false);
