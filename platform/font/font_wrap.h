/* font_wrap: where a text that is too wide for its box is best set in two lines. Main thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct font_faces;
struct font_lines;

/* Longer texts are not set in two lines. */
constexpr size_t font_wrap_max = 512; /* bytes, with the end */

struct font_wrap {
    size_t first_end;    /* bytes of the first line */
    size_t second_begin; /* where the second begins, behind the blanks */
};

/* Finds the place between two words, or two Han or kana characters, where both lines are about as
 * wide, the first no wider than `width`. False for a text that fits, or has no such place. */
bool font_wrap_find(font_lines *lines, font_faces *faces, const char *text, int32_t size,
                    int32_t width, font_wrap *to);
