/* font_utf8: UTF-8 to characters. No byte reaches a library unchecked. */
#include "platform/font/font_utf8.h"

#include <hb.h>

static constexpr uint32_t replacement = 0xFFFD;

/* First bytes of a length, and the smallest character that needs it. */
struct lead {
    uint8_t mask, value;
    uint32_t tail_count;
    uint32_t smallest;
};

static constexpr lead leads[] = {
    {0x80, 0x00, 0, 0},
    {0xE0, 0xC0, 1, 0x80},
    {0xF0, 0xE0, 2, 0x800},
    {0xF8, 0xF0, 3, 0x10000},
};

static const lead *lead_of(uint8_t byte)
{
    for (const lead &candidate : leads)
        if ((byte & candidate.mask) == candidate.value)
            return &candidate;
    return nullptr;
}

/* Whether more tail bytes can still make a character: an overlong, surrogate or too large one is
 * broken at its second byte, and what follows is looked at anew. Between two limits lie whole
 * spans of what is missing then, so that the first of a span speaks for all of it. */
static bool may_go_on(const lead *first, uint32_t value, uint32_t tails_missing)
{
    const uint32_t low = value << (6 * tails_missing);
    return low >= first->smallest && low <= 0x10FFFF && (low < 0xD800 || low > 0xDFFF);
}

/* Reads one character and moves on, past the broken bytes of one sequence at least by one. */
static uint32_t next_character(const uint8_t **text)
{
    const uint8_t byte = *(*text)++;
    const lead *first = lead_of(byte);
    if (!first)
        return replacement;
    uint32_t value = byte & static_cast<uint8_t>(~first->mask);
    for (uint32_t missing = first->tail_count; missing > 0; missing--) {
        if ((**text & 0xC0) != 0x80)
            return replacement;
        value = value << 6 | (**text & 0x3Fu);
        if (!may_go_on(first, value, missing - 1))
            return replacement;
        ++*text;
    }
    return value;
}

static bool is_control(uint32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028 ||
           character == 0x2029;
}

/* File names from some systems come with letters and accents apart, and Hangul in single sounds.
 * Composed before fonts are chosen, they come from one font. Marks that do not compose stay. */
static bool compose(uint32_t *last, uint32_t character)
{
    hb_codepoint_t both = 0;
    if (!hb_unicode_compose(hb_unicode_funcs_get_default(), *last, character, &both))
        return false;
    *last = both;
    return true;
}

size_t font_utf8_decode(const char *text, uint32_t *to, size_t room)
{
    size_t count = 0;
    const uint8_t *at = reinterpret_cast<const uint8_t *>(text);
    while (*at && count < room) {
        const uint32_t character = next_character(&at);
        if (is_control(character))
            continue;
        if (character >= 0x300 && count > 0 && compose(&to[count - 1], character))
            continue;
        to[count++] = character;
    }
    return count;
}
