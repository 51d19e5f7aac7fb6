/* skin_watch: places of attributes, and reports to a watcher that may be absent. */
#include "skin/skin_watch.h"

#include <cstring>

/* A reading position in the text of a tag. */
struct tag_cursor {
    const char *at, *end;
    skin_place place;
};

static bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

static void step(tag_cursor *cursor)
{
    const char c = *cursor->at++;
    const bool ends_line =
        c == '\n' || (c == '\r' && (cursor->at == cursor->end || *cursor->at != '\n'));
    if (ends_line) {
        cursor->place.line++;
        cursor->place.column = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80 && c != '\r') {
        cursor->place.column++; /* the later bytes of a UTF-8 character take no column */
    }
}

static void skip_blanks(tag_cursor *cursor)
{
    while (cursor->at < cursor->end && is_blank(*cursor->at))
        step(cursor);
}

static void skip_word(tag_cursor *cursor)
{
    while (cursor->at < cursor->end && !is_blank(*cursor->at) && *cursor->at != '=' &&
           *cursor->at != '>' && *cursor->at != '/')
        step(cursor);
}

/* Skips `= "value"`. False when that does not stand here: the end of the tag. */
static bool skip_value(tag_cursor *cursor)
{
    skip_blanks(cursor);
    if (cursor->at == cursor->end || *cursor->at != '=')
        return false;
    step(cursor);
    skip_blanks(cursor);
    if (cursor->at == cursor->end)
        return false;
    const char quote = *cursor->at;
    do
        step(cursor);
    while (cursor->at < cursor->end && *cursor->at != quote);
    if (cursor->at == cursor->end)
        return false;
    step(cursor);
    return true;
}

skin_place skin_tag_attribute_place(const skin_tag *tag, const char *attribute)
{
    tag_cursor cursor = {tag->text, tag->text + tag->text_size, tag->place};
    const size_t length = strlen(attribute);
    skip_word(&cursor); /* "<name" */
    for (;;) {
        skip_blanks(&cursor);
        const tag_cursor start = cursor;
        skip_word(&cursor);
        const size_t found = static_cast<size_t>(cursor.at - start.at);
        if (found > 0 && found == length && memcmp(start.at, attribute, length) == 0)
            return start.place;
        if (found == 0 || !skip_value(&cursor))
            return tag->place;
    }
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
