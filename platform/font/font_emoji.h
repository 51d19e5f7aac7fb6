/* font_emoji: emoji that are joined to one sign: a family, a profession, a colour of the skin, the
 * cap of a key. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* True when the character at `i` belongs to the sign that begins before it: it is joined by U+200D,
 * gives the emoji its colour, or makes a key of a digit. */
bool font_emoji_goes_on(const uint32_t *text, size_t i);
/* Where the sign begins that the character at `i` belongs to; `i` itself for any other. */
size_t font_emoji_begin(const uint32_t *text, size_t i);
/* Characters of the sign that begins there; 1 when nothing is joined to it. */
size_t font_emoji_length(const uint32_t *text, size_t length, size_t begin);
