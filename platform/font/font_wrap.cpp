/* font_wrap: where a text that is too wide for its box is best set in two lines. */
#include "platform/font/font_wrap.h"

#include "platform/font/font_line.h"
#include "platform/font/font_utf8.h"

#include <algorithm>
#include <cstring>

/* A text whose beginnings are measured. */
struct wrapping {
    font_lines *lines;
    font_faces *faces;
    const char *text;
    int32_t size;
    font_wrap places[font_wrap_max];
    size_t count;
};

static bool is_tail(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/* Scripts without blanks break between any two characters: from the CJK radicals on three bytes and
 * more. Hangul has blanks, and signs that close a sentence stay with it. */
static bool breaks_before(const char *at)
{
    uint32_t character = 0;
    char one[5] = {at[0], 0, 0, 0, 0};
    for (size_t i = 1; i < 4 && is_tail(at[i]); i++)
        one[i] = at[i];
    if (font_utf8_decode(one, &character, 1) != 1)
        return false;
    const bool kana_or_han = (character >= 0x3041 && character < 0xA000) ||
                             (character >= 0xF900 && character < 0xFB00) || character >= 0x20000;
    return kana_or_han && character != 0x30FC; /* a long vowel */
}

static void find_places(wrapping *it)
{
    const size_t length = strlen(it->text);
    for (size_t at = strspn(it->text, " ") + 1; at < length; at++) {
        if (it->text[at] == ' ') {
            const size_t next = at + strspn(it->text + at, " ");
            if (next < length)
                it->places[it->count++] = {at, next};
            at = next; /* is no place by itself */
        } else if (!is_tail(it->text[at]) && breaks_before(it->text + at)) {
            it->places[it->count++] = {at, at};
        }
    }
}

static int32_t width_to(const wrapping *it, size_t place)
{
    char begin[font_wrap_max];
    const size_t length = it->places[place].first_end;
    memcpy(begin, it->text, length);
    begin[length] = '\0';
    return font_line_get(it->lines, it->faces, begin, it->size, 0).width;
}

/* Widths grow along the text: the first place behind its middle, or the last one before that where
 * the first line fits. */
static bool choose_place(const wrapping *it, int32_t whole, int32_t width, font_wrap *to)
{
    const int32_t wanted = std::min(whole / 2, width);
    size_t low = 0, high = it->count;
    while (low < high) {
        const size_t middle = (low + high) / 2;
        if (width_to(it, middle) < wanted)
            low = middle + 1;
        else
            high = middle;
    }
    if (low == it->count || width_to(it, low) > width) {
        if (low == 0 || width_to(it, low - 1) > width)
            return false;
        low--;
    }
    *to = it->places[low];
    return true;
}

bool font_wrap_find(font_lines *lines, font_faces *faces, const char *text, int32_t size,
                    int32_t width, font_wrap *to)
{
    if (strlen(text) >= font_wrap_max)
        return false;
    const int32_t whole = font_line_get(lines, faces, text, size, 0).width;
    if (whole <= width)
        return false;
    wrapping it = {};
    it.lines = lines;
    it.faces = faces;
    it.text = text;
    it.size = size;
    find_places(&it);
    return choose_place(&it, whole, width, to);
}
