#include "platform/font/font_emoji.h"

static constexpr uint32_t joiner = 0x200D, coloured_look = 0xFE0F, key_cap = 0x20E3;

/* Every emoji that others are joined to stands in these blocks. */
static bool is_emoji(uint32_t character)
{
    return (character >= 0x1F300 && character <= 0x1FAFF) ||
           (character >= 0x2190 && character <= 0x2BFF);
}

static bool is_skin_colour(uint32_t character)
{
    return character >= 0x1F3FB && character <= 0x1F3FF;
}

static bool is_on_key(uint32_t character)
{
    return (character >= '0' && character <= '9') || character == '#' || character == '*';
}

/* The character before, wishes for a coloured look left out; 0 at the beginning. */
static uint32_t before(const uint32_t *text, size_t i)
{
    while (i > 0 && text[i - 1] == coloured_look)
        i--;
    return i > 0 ? text[i - 1] : 0;
}

bool font_emoji_goes_on(const uint32_t *text, size_t i)
{
    if (i == 0)
        return false;
    if (text[i] == key_cap)
        return is_on_key(before(text, i));
    if (is_skin_colour(text[i]))
        return is_emoji(before(text, i)) && !is_skin_colour(before(text, i));
    return text[i - 1] == joiner && is_emoji(text[i]) && is_emoji(before(text, i - 1));
}

/* What stands between two parts of a sign. */
static bool is_between(const uint32_t *text, size_t i)
{
    if (text[i] == coloured_look && is_on_key(before(text, i)))
        return true;
    return (text[i] == joiner || text[i] == coloured_look) && is_emoji(before(text, i));
}

size_t font_emoji_begin(const uint32_t *text, size_t i)
{
    while (i > 0 && (font_emoji_goes_on(text, i) || is_between(text, i)))
        i--;
    return i;
}

size_t font_emoji_length(const uint32_t *text, size_t length, size_t begin)
{
    size_t end = begin + 1;
    for (size_t i = begin + 1; i < length; i++)
        if (font_emoji_goes_on(text, i))
            end = i + 1;
        else if (!is_between(text, i))
            break;
    return end - begin;
}
