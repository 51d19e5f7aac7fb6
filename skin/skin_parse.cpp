/* skin_parse: start tags become elements; the first thing that is wrong refuses the file. */
#include "skin/skin_parse.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/image/image.h"
#include "skin/skin.h"
#include "skin/skin_parse_error.h"
#include "skin/skin_table.h"
#include "skin/skin_watch.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <expat.h>

static const char skin_version[] = "0.1";
static const char root_name[] = "skin";
constexpr int64_t screen_height = 240;
constexpr int chunk_size = 1024;
constexpr uint32_t first_capacity = 32;

using parser_owner = owner<XML_ParserStruct, XML_ParserFree>;

struct parsing {
    const skin_source *source;
    XML_Parser parser;
    skin_page *page;
    uint32_t capacity; /* elements that the page's array has room for */
    uint32_t depth;
    bool refused; /* expat may still call a handler after it was stopped */
    char head[3]; /* how the file begins */
    uint32_t head_size;
};

/* Expat counts the mark as a character; an editor shows none. */
static bool has_byte_order_mark(const parsing *state)
{
    for (const char *mark : {"\xEF\xBB\xBF", "\xFE\xFF", "\xFF\xFE"})
        if (state->head_size >= strlen(mark) && memcmp(state->head, mark, strlen(mark)) == 0)
            return true;
    return false;
}

static skin_place current_place(const parsing *state)
{
    const uint32_t line = static_cast<uint32_t>(XML_GetCurrentLineNumber(state->parser));
    const uint32_t before = static_cast<uint32_t>(XML_GetCurrentColumnNumber(state->parser));
    return {line, before > 0 && line == 1 && has_byte_order_mark(state) ? before : before + 1};
}

/* The tag that is being read, as it stands in the file. */
static skin_tag current_tag(const parsing *state, const char *name, const char *const *attributes)
{
    skin_tag tag = {};
    tag.name = name;
    tag.attributes = attributes;
    tag.place = current_place(state);
    tag.element = -1;
    tag.depth = state->depth;
    int offset = 0, size = 0;
    const char *text = XML_GetInputContext(state->parser, &offset, &size);
    const int length = XML_GetCurrentByteCount(state->parser);
    if (text && offset >= 0 && length > 0 && length <= size - offset) {
        tag.text = text + offset;
        tag.text_size = static_cast<size_t>(length);
    }
    return tag;
}

static void stop(parsing *state)
{
    state->refused = true;
    (void)XML_StopParser(state->parser, XML_FALSE); /* fails only when it is stopped already */
}

struct refusal {
    const char *code, *attribute, *value, *reason;
};

static int refuse(parsing *state, const skin_tag *tag, const refusal &why)
{
    const skin_fault fault = {
        .code = why.code,
        .file = state->source->file,
        .place = skin_tag_attribute_place(tag, why.attribute),
        .element = tag->name,
        .attribute = why.attribute,
        .value = why.value,
        .reason = why.reason,
    };
    skin_watch_fault(state->source->watcher, &fault);
    stop(state);
    return -1;
}

/* Entities can make a short file stand for a long one. */
static int take_content(parsing *state, const skin_tag *tag, size_t size)
{
    uint32_t *left = &state->source->room->content;
    if (size > *left)
        return refuse(state, tag, {"too-long", "", "", "the part's values are too long"});
    *left -= static_cast<uint32_t>(size);
    return 0;
}

typedef const skin_attribute *(*find_attribute)(const char *name);

static int read_attributes(parsing *state, const skin_tag *tag, find_attribute find, void *record)
{
    for (const char *const *at = tag->attributes; *at; at += 2) {
        if (take_content(state, tag, strlen(at[1])) != 0)
            return -1;
        const skin_attribute *attribute = find(at[0]);
        if (!attribute)
            continue;
        if (attribute->kind->read(static_cast<char *>(record) + attribute->offset, at[1]) != 0)
            return refuse(state, tag,
                          {attribute->kind->code, at[0], at[1], attribute->kind->reason});
    }
    return 0;
}

/* A second root clears what the first one said, so that it has to name its version again. */
static int start_page(parsing *state, skin_tag *tag)
{
    skin_page *page = state->page;
    page->version[0] = '\0';
    page->debug = 0;
    if (read_attributes(state, tag, skin_attribute_of_page, page) != 0)
        return -1;
    if (strcmp(page->version, skin_version) != 0)
        return refuse(state, tag, {"bad-version", "version", page->version, "is not \"0.1\""});
    return 0;
}

static bool grow(parsing *state)
{
    skin_page *page = state->page;
    if (page->element_count < state->capacity)
        return true;
    const uint32_t capacity = state->capacity ? state->capacity * 2 : first_capacity;
    void *grown = realloc(page->elements, capacity * sizeof(skin_element));
    if (!grown)
        return false;
    page->elements = static_cast<skin_element *>(grown);
    state->capacity = capacity;
    return true;
}

/* Appends an empty element. Null when the part has no room for it. */
static skin_element *add_element(parsing *state, const skin_tag *tag, const char *name)
{
    if (state->source->room->elements == 0 || !grow(state)) {
        (void)refuse(state, tag, {"too-many", "", "", "the part has too many elements"});
        return nullptr;
    }
    state->source->room->elements--;
    skin_element *element = &state->page->elements[state->page->element_count++];
    *element = {};
    /* One character less than the field holds: names are 30 characters for every skin. */
    (void)str_copy_to(element->name, sizeof(element->name) - 1, name);
    return element;
}

static int add_row(parsing *state, const skin_tag *tag, const skin_element &list, int32_t top)
{
    const struct {
        const char *name;
        uint16_t font_color;
    } looks[] = {{"item", list.font_color}, {"item_sel", list.font_color_2}};
    for (const auto &look : looks) {
        skin_element *row = add_element(state, tag, look.name);
        if (!row)
            return -1;
        row->x = list.x;
        row->y = top;
        row->width = list.width;
        row->height = list.font_size;
        row->font_size = list.font_size;
        row->font_color = look.font_color;
    }
    return 0;
}

skin_row_count skin_count_rows(int32_t y, int32_t height, int32_t font_size)
{
    const int64_t size = font_size, pitch = size + size / 2;
    if (height < size)
        return {0, 0};
    const int64_t wanted = (height - size) / pitch + 1;
    if (wanted <= skin_plain_rows)
        return {static_cast<uint32_t>(wanted), static_cast<uint64_t>(wanted)};
    /* The middle row ends on the screen while the last one begins above this. */
    const int64_t last = 2 * (screen_height - size) - y;
    const int64_t seen = last < y ? 1 : (last - y) / pitch + 1;
    const int64_t most = std::min<int64_t>(seen, skin_limit_rows);
    return {static_cast<uint32_t>(std::min(wanted, most)), static_cast<uint64_t>(wanted)};
}

/* Rows stand one and a half font sizes apart, as many as end within the list. */
static int add_rows(parsing *state, const skin_tag *tag, uint32_t index)
{
    assert(index < state->page->element_count);
    const skin_element list = state->page->elements[index]; /* adding rows moves the array */
    if (list.font_size <= 0)
        return refuse(state, tag,
                      {"list-font-size", "font_size", "", "a list needs a font size above 0"});
    const int64_t pitch = static_cast<int64_t>(list.font_size) + list.font_size / 2;
    const uint32_t rows = skin_count_rows(list.y, list.height, list.font_size).made;
    for (uint32_t row = 0; row < rows; row++)
        if (add_row(state, tag, list, static_cast<int32_t>(list.y + row * pitch)) != 0)
            return -1;
    return 0;
}

static int start_element(parsing *state, skin_tag *tag)
{
    const uint32_t index = state->page->element_count;
    skin_element *element = add_element(state, tag, tag->name);
    if (!element || read_attributes(state, tag, skin_attribute_of_element, element) != 0)
        return -1;
    tag->element = index;
    if (skin_find_kind(tag->name) == skin_kind_at("list"))
        return add_rows(state, tag, index);
    return 0;
}

static void XMLCALL on_start(void *user, const char *name, const char **attributes)
{
    parsing *state = static_cast<parsing *>(user);
    if (state->refused)
        return;
    skin_tag tag = current_tag(state, name, attributes);
    const bool is_page = strcmp(name, root_name) == 0;
    int result = 0;
    if (state->depth == 0 && !is_page)
        result = refuse(state, &tag, {"bad-root", "", name, "the root element is not \"skin\""});
    else
        result = is_page ? start_page(state, &tag) : start_element(state, &tag);
    state->depth++;
    const skin_watcher *watcher = state->source->watcher;
    if (result == 0 && watcher && watcher->tag)
        watcher->tag(watcher->user, &tag);
}

static void XMLCALL on_end(void *user, const char *)
{
    static_cast<parsing *>(user)->depth--;
}

/* Text between tags means nothing; it is only measured. */
static void XMLCALL on_text(void *user, const char *, int length)
{
    parsing *state = static_cast<parsing *>(user);
    if (state->refused)
        return;
    const skin_tag here = current_tag(state, "", nullptr);
    (void)take_content(state, &here, static_cast<size_t>(length));
}

static void refuse_text(parsing *state, const char *code, skin_place place, const char *reason)
{
    skin_watch_file(state->source->watcher, code, state->source->file, place, reason);
}

/* Expat tells only the tag that an unknown entity stands in, and no longer where that ends. */
static skin_place error_place(const parsing *state, XML_Error error)
{
    skin_tag tag = {};
    tag.place = current_place(state);
    int offset = 0, size = 0;
    const char *text = XML_GetInputContext(state->parser, &offset, &size);
    if (error != XML_ERROR_UNDEFINED_ENTITY || !text || offset < 0 || offset > size)
        return tag.place;
    tag.text = text + offset;
    tag.text_size = static_cast<size_t>(size - offset);
    return skin_tag_reference_place(&tag);
}

static int feed(parsing *state, const char *text, int size, bool final)
{
    if (XML_Parse(state->parser, text, size, final) == XML_STATUS_OK && !state->refused)
        return 0;
    if (state->refused)
        return -1;
    const XML_Error error = XML_GetErrorCode(state->parser);
    int at = 0, known = 0;
    const char *context = XML_GetInputContext(state->parser, &at, &known);
    const bool whole = context && at >= 0 && at <= known;
    refuse_text(state, "xml", error_place(state, error),
                skin_parse_error(error, whole ? context : nullptr, static_cast<size_t>(at),
                                 static_cast<size_t>(known)));
    return -1;
}

static void note_head(parsing *state, const char *text, uint32_t size)
{
    for (uint32_t i = 0; i < size && state->head_size < sizeof(state->head); i++)
        state->head[state->head_size++] = text[i];
}

/* The end is told by an empty last piece, so that a file cut off between two tags is refused. */
static int feed_all(parsing *state)
{
    const skin_source *source = state->source;
    uint32_t left = skin_limit_text;
    char chunk[chunk_size];
    for (;;) {
        const int got = source->read(source->handle, chunk, chunk_size);
        if (got < 0 || got > chunk_size) {
            refuse_text(state, "unreadable", {0, 0}, "the file cannot be read to its end");
            return -1;
        }
        if (got == 0)
            return feed(state, chunk, 0, true);
        const uint32_t size = static_cast<uint32_t>(got);
        if (size > left || size > source->room->text) {
            refuse_text(state, "too-long", {0, 0}, "the part files are too long");
            return -1;
        }
        left -= size;
        source->room->text -= size;
        note_head(state, chunk, size);
        if (feed(state, chunk, got, false) != 0)
            return -1;
    }
}

static void apply_standards(skin_element *element)
{
    for (const skin_attribute &attribute : skin_element_attributes) {
        if (attribute.standard == 0)
            continue;
        void *field = reinterpret_cast<char *>(element) + attribute.offset;
        int32_t *number = static_cast<int32_t *>(field);
        if (*number == 0)
            *number = attribute.standard;
    }
}

/* What is true only once everything has been read: rows take their size from the tag itself, and
 * of an attribute that stands twice the last value counts. */
static void finish_page(skin_page *page)
{
    for (uint32_t i = 0; i < page->element_count; i++) {
        apply_standards(&page->elements[i]);
        page->elements[i].means = skin_look_up(&page->elements[i]);
    }
    page->show_means = skin_find_condition(page->show);
    page->hide_means = skin_find_condition(page->hide);
}

int skin_parse(const skin_source *source, skin_page *page)
{
    *page = {};
    parser_owner parser(XML_ParserCreate(nullptr));
    if (!parser)
        return -1;
    parsing state = {};
    state.source = source;
    state.parser = parser.get();
    state.page = page;
    XML_SetUserData(parser.get(), &state);
    XML_SetElementHandler(parser.get(), on_start, on_end);
    XML_SetCharacterDataHandler(parser.get(), on_text);
    if (feed_all(&state) != 0) {
        skin_page_clear(page);
        return -1;
    }
    finish_page(page);
    return 0;
}

static void clear_element(skin_element *element)
{
    (void)image_free(element->image);
    char *texts[] = {element->src,  element->type, element->format,
                     element->show, element->hide, element->action};
    for (char *text : texts)
        free(text);
}

void skin_page_clear(skin_page *page)
{
    for (uint32_t i = 0; i < page->element_count; i++)
        clear_element(&page->elements[i]);
    free(page->elements);
    free(page->show);
    free(page->hide);
    *page = {};
}
