/* skin_value: numbers, colours, texts and alignments. */
#include "skin/skin_value.h"

#include "platform/base/str.h"
#include "skin/skin.h"
#include "skin/skin_table.h"

#include <cstdlib>
#include <cstring>

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

static const skin_align_word *find_align_word(const char *word, size_t length)
{
    for (const skin_align_word &known : skin_align_words)
        if (strlen(known.name) == length && memcmp(known.name, word, length) == 0)
            return &known;
    return nullptr;
}

static int read_align(void *field, const char *value)
{
    uint32_t bits = 0;
    for (const char *at = value + strspn(value, " "); *at != '\0'; at += strspn(at, " ")) {
        const size_t length = strcspn(at, " ");
        const skin_align_word *known = find_align_word(at, length);
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

constinit const skin_value_kind skin_value_number = {
    .name = "number",
    .code = "bad-number",
    .reason = "is not a whole decimal number",
    .read = read_number,
};
constinit const skin_value_kind skin_value_colour = {
    .name = "color",
    .code = "bad-color",
    .reason = "is not a \"#\" followed by six hexadecimal digits",
    .read = read_colour,
};
constinit const skin_value_kind skin_value_text = {
    .name = "text",
    .code = "memory",
    .reason = "does not fit into the memory",
    .read = read_text,
};
constinit const skin_value_kind skin_value_align = {
    .name = "words",
    .code = "bad-align",
    .reason = "holds a word other than left, center, right, top, middle and bottom",
    .read = read_align,
};
constinit const skin_value_kind skin_value_version = {
    .name = "version",
    .code = "bad-version",
    .reason = "is not \"0.1\"",
    .read = read_version,
};
