/* skin_watch: places of attributes, and reports to a watcher that may be absent. */
#include "skin/skin_watch.h"

#include <cstring>
#include <initializer_list>

/* A reading position in the text of a tag, in the encoding of its file: two bytes a character, or
 * one byte for each that means something here. */
struct tag_cursor {
    const unsigned char *at, *end;
    size_t unit; /* bytes */
    size_t low;  /* of them, the one that tells an ASCII character */
    skin_place place;
    unsigned later; /* bytes that the UTF-8 character may still have */
};

constexpr int no_ascii = 0x80;

static tag_cursor open_tag(const skin_tag *tag)
{
    const unsigned char *text = reinterpret_cast<const unsigned char *>(tag->text);
    const bool wide = tag->text_size >= 2 && (text[0] == 0 || text[1] == 0);
    const size_t unit = wide ? 2 : 1;
    const size_t low = wide && text[0] == 0 ? 1 : 0;
    return {text, text + tag->text_size / unit * unit, unit, low, tag->place, 0};
}

/* The ASCII character at the cursor, `no_ascii` for another one, -1 at the end. */
static int peek(const tag_cursor *cursor)
{
    if (cursor->at == cursor->end)
        return -1;
    const int c = cursor->at[cursor->low];
    return c < no_ascii && (cursor->unit == 1 || cursor->at[1 - cursor->low] == 0) ? c : no_ascii;
}

/* The later bytes of a UTF-8 character and the second half of a pair take no column. A byte like
 * them that no character waits for is one of its own: the file has an encoding of single bytes. */
static bool takes_column(tag_cursor *cursor)
{
    const unsigned char c = cursor->at[0];
    if (cursor->unit == 2)
        return (cursor->at[1 - cursor->low] & 0xFC) != 0xDC;
    if (cursor->later > 0 && (c & 0xC0) == 0x80) {
        cursor->later--;
        return false;
    }
    cursor->later = c < 0xC0 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
    return true;
}

static void step(tag_cursor *cursor)
{
    const int c = peek(cursor);
    const bool counts = takes_column(cursor);
    cursor->at += cursor->unit;
    if (c == '\n' || (c == '\r' && peek(cursor) != '\n')) {
        cursor->place.line++;
        cursor->place.column = 1;
    } else if (counts && c != '\r') {
        cursor->place.column++;
    }
}

static bool is_blank(int c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

static void skip_blanks(tag_cursor *cursor)
{
    while (is_blank(peek(cursor)))
        step(cursor);
}

static bool ends_word(int c)
{
    return c < 0 || is_blank(c) || c == '=' || c == '>' || c == '/';
}

/* True when it was that word; "" stands for any. */
static bool skip_word(tag_cursor *cursor, const char *word)
{
    bool same = *word != '\0';
    for (; !ends_word(peek(cursor)); step(cursor)) {
        same = same && *word == peek(cursor);
        word += same;
    }
    return same && *word == '\0';
}

/* Skips `= "value"`. False when that does not stand here: the end of the tag. */
static bool skip_value(tag_cursor *cursor)
{
    skip_blanks(cursor);
    if (peek(cursor) != '=')
        return false;
    step(cursor);
    skip_blanks(cursor);
    const int quote = peek(cursor);
    if (quote < 0)
        return false;
    do
        step(cursor);
    while (peek(cursor) >= 0 && peek(cursor) != quote);
    if (peek(cursor) < 0)
        return false;
    step(cursor);
    return true;
}

skin_place skin_tag_attribute_place(const skin_tag *tag, const char *attribute)
{
    tag_cursor cursor = open_tag(tag);
    (void)skip_word(&cursor, ""); /* "<name" */
    for (;;) {
        skip_blanks(&cursor);
        const skin_place place = cursor.place;
        if (skip_word(&cursor, attribute))
            return place;
        if (!skip_value(&cursor))
            return tag->place;
    }
}

void skin_tag_attribute_places(const skin_tag *tag, skin_place *places, size_t count)
{
    tag_cursor cursor = open_tag(tag);
    (void)skip_word(&cursor, "");
    size_t known = 0;
    for (; known < count; known++) {
        skip_blanks(&cursor);
        places[known] = cursor.place;
        (void)skip_word(&cursor, "");
        if (!skip_value(&cursor))
            break;
    }
    for (; known < count; known++)
        places[known] = tag->place;
}

static bool starts_with(tag_cursor cursor, const char *text)
{
    for (; *text != '\0' && *text == peek(&cursor); text++)
        step(&cursor);
    return *text == '\0';
}

/* Every document knows these. */
static bool is_known_reference(const tag_cursor &cursor)
{
    for (const char *known : {"&#", "&amp;", "&lt;", "&gt;", "&quot;", "&apos;"})
        if (starts_with(cursor, known))
            return true;
    return false;
}

skin_place skin_tag_reference_place(const skin_tag *tag)
{
    for (tag_cursor cursor = open_tag(tag); peek(&cursor) >= 0; step(&cursor))
        if (peek(&cursor) == '&' && !is_known_reference(cursor))
            return cursor.place;
    return tag->place;
}

void skin_watch_fault(const skin_watcher *watcher, const skin_fault *fault)
{
    if (watcher && watcher->fault)
        watcher->fault(watcher->user, fault);
}

void skin_watch_file(const skin_watcher *watcher, const char *code, const char *file,
                     skin_place place, const char *reason)
{
    const skin_fault fault = {
        .code = code,
        .file = file,
        .place = place,
        .element = "",
        .attribute = "",
        .value = "",
        .reason = reason,
    };
    skin_watch_fault(watcher, &fault);
}
