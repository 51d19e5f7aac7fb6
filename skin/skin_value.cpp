/* skin_value: numbers, colours, texts and alignments, and the tables of attributes. */
#include "skin/skin_value.h"

#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "skin/skin.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

/* An empty value is 0, as the conversion leaves it. */
static int read_number(void *field, const char *value)
{
    const char *rest = value;
    const int32_t number = str_to_int32(value, &rest);
    if (*rest != '\0')
        return -1;
    *static_cast<int32_t *>(field) = number;
    return 0;
}

static int read_colour(void *field, const char *value)
{
    if (value[0] != '#')
        return -1;
    char *rest = nullptr;
    const long colour = strtol(value + 1, &rest, 16);
    if (rest != value + 7 || *rest != '\0')
        return -1;
    *static_cast<uint16_t *>(field) = static_cast<uint16_t>(
        ((colour >> 8) & 0xF800) | ((colour >> 5) & 0x07E0) | ((colour & 0xFF) >> 3));
    return 0;
}

static int read_text(void *field, const char *value)
{
    char *copy = strdup(value);
    if (!copy)
        return -1;
    char **text = static_cast<char **>(field);
    free(*text);
    *text = copy;
    return 0;
}

struct align_word {
    const char *word;
    uint32_t bits;
};

static const align_word align_words[] = {
    {"left", 0}, {"center", fb_align_center}, {"right", fb_align_right},
    {"top", 0},  {"middle", fb_align_middle}, {"bottom", fb_align_bottom},
};

static const align_word *find_align_word(const char *word, size_t length)
{
    for (const align_word &known : align_words)
        if (strlen(known.word) == length && memcmp(known.word, word, length) == 0)
            return &known;
    return nullptr;
}

static int read_align(void *field, const char *value)
{
    uint32_t bits = 0;
    for (const char *at = value + strspn(value, " "); *at != '\0'; at += strspn(at, " ")) {
        const size_t length = strcspn(at, " ");
        const align_word *known = find_align_word(at, length);
        if (!known)
            return -1;
        bits |= known->bits;
        at += length;
    }
    *static_cast<uint32_t *>(field) |= bits;
    return 0;
}

/* Cut like the field; what is left is compared once all attributes are read. */
static int read_version(void *field, const char *value)
{
    (void)str_copy_to(static_cast<char *>(field), sizeof(skin_page::version), value);
    return 0;
}

static const skin_value_kind number = {
    .code = "bad-number",
    .reason = "is not a whole decimal number",
    .read = read_number,
};
static const skin_value_kind colour = {
    .code = "bad-color",
    .reason = "is not a \"#\" followed by six hexadecimal digits",
    .read = read_colour,
};
static const skin_value_kind text = {
    .code = "memory",
    .reason = "does not fit into the memory",
    .read = read_text,
};
static const skin_value_kind align = {
    .code = "bad-align",
    .reason = "holds a word other than left, center, right, top, middle and bottom",
    .read = read_align,
};
static const skin_value_kind version = {
    .code = "bad-version",
    .reason = "is not \"0.1\"",
    .read = read_version,
};

static const skin_attribute page_attributes[] = {
    {"version", &version, offsetof(skin_page, version)},
    {"debug", &number, offsetof(skin_page, debug)},
    {"show", &text, offsetof(skin_page, show)},
    {"hide", &text, offsetof(skin_page, hide)},
};

static const skin_attribute element_attributes[] = {
    {"src", &text, offsetof(skin_element, src)},
    {"x", &number, offsetof(skin_element, x)},
    {"y", &number, offsetof(skin_element, y)},
    {"width", &number, offsetof(skin_element, width)},
    {"height", &number, offsetof(skin_element, height)},
    {"type", &text, offsetof(skin_element, type)},
    {"font_size", &number, offsetof(skin_element, font_size)},
    {"font_color", &colour, offsetof(skin_element, font_color)},
    {"font_color_2", &colour, offsetof(skin_element, font_color_2)},
    {"color", &colour, offsetof(skin_element, color)},
    {"origin_x", &number, offsetof(skin_element, origin_x)},
    {"origin_y", &number, offsetof(skin_element, origin_y)},
    {"format", &text, offsetof(skin_element, format)},
    {"show", &text, offsetof(skin_element, show)},
    {"hide", &text, offsetof(skin_element, hide)},
    {"text_align", &align, offsetof(skin_element, text_align)},
    {"action", &text, offsetof(skin_element, action)},
};

static const skin_attribute *find_attribute(const skin_attribute *table, size_t count,
                                            const char *name)
{
    for (size_t i = 0; i < count; i++)
        if (strcmp(table[i].name, name) == 0)
            return &table[i];
    return nullptr;
}

const skin_attribute *skin_attribute_of_page(const char *name)
{
    return find_attribute(page_attributes, std::size(page_attributes), name);
}

const skin_attribute *skin_attribute_of_element(const char *name)
{
    return find_attribute(element_attributes, std::size(element_attributes), name);
}
