/* font_utf8: characters of a text as it comes from tags, file names and cut buffers. Private to
 * font*.cpp. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Decodes until the terminating zero or `room` characters. A broken sequence becomes one U+FFFD,
 * control characters are left out, letters and their accents are composed. Returns the count. */
size_t font_utf8_decode(const char *text, uint32_t *to, size_t room);
