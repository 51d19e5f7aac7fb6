/* skin_table: everything that a part file may say. The parser, both screens, zerv-skin and the
 * guide's tables read this one place.
 *
 * The first entry of a table stands for a name that the table does not have; places count from it.
 * The parser looks each name up once and leaves its place in the element (skin_meaning). Code that
 * means an entry writes its name, skin_kind_at("lyrics"): the compiler finds the place, and refuses
 * a name that is not there. Any thread. */
#pragma once

#include "platform/draw/fb.h"
#include "skin/skin.h"
#include "skin/skin_draw.h"
#include "skin/skin_value.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

/* ---- attributes ---- */

struct skin_attribute {
    const char *name;
    const skin_value_kind *kind;
    size_t offset;        /* of the field, in a skin_page or a skin_element */
    int32_t standard = 0; /* taken where a number is absent or 0 */
};

constexpr skin_attribute skin_root_attributes[] = {
    {"version", &skin_value_version, offsetof(skin_page, version)},
    {"debug", &skin_value_number, offsetof(skin_page, debug)},
    {"show", &skin_value_text, offsetof(skin_page, show)},
    {"hide", &skin_value_text, offsetof(skin_page, hide)},
};

constexpr skin_attribute skin_element_attributes[] = {
    {"src", &skin_value_text, offsetof(skin_element, src)},
    {"x", &skin_value_number, offsetof(skin_element, x)},
    {"y", &skin_value_number, offsetof(skin_element, y)},
    {"width", &skin_value_number, offsetof(skin_element, width)},
    {"height", &skin_value_number, offsetof(skin_element, height)},
    {"type", &skin_value_text, offsetof(skin_element, type)},
    {"font_size", &skin_value_number, offsetof(skin_element, font_size), 12},
    {"font_color", &skin_value_colour, offsetof(skin_element, font_color)},
    {"font_color_2", &skin_value_colour, offsetof(skin_element, font_color_2)},
    {"color", &skin_value_colour, offsetof(skin_element, color)},
    {"origin_x", &skin_value_number, offsetof(skin_element, origin_x)},
    {"origin_y", &skin_value_number, offsetof(skin_element, origin_y)},
    {"format", &skin_value_text, offsetof(skin_element, format)},
    {"show", &skin_value_text, offsetof(skin_element, show)},
    {"hide", &skin_value_text, offsetof(skin_element, hide)},
    {"text_align", &skin_value_align, offsetof(skin_element, text_align)},
    {"action", &skin_value_text, offsetof(skin_element, action)},
};

/* Those that every kind of element reads. */
constexpr char skin_shared_attributes[] = "x y width height show hide action";

struct skin_align_word {
    const char *name;
    uint32_t bits;
};

constexpr skin_align_word skin_align_words[] = {
    {"left", 0}, {"center", fb_align_center}, {"right", fb_align_right},
    {"top", 0},  {"middle", fb_align_middle}, {"bottom", fb_align_bottom},
};

/* ---- words ---- */

/* Screens on which something means something. */
enum : uint8_t { skin_on_list = 1, skin_on_play = 2, skin_on_both = 3 };

struct skin_word {
    const char *name;
    uint8_t screens;
    bool dragged = false;    /* an action of a bar: a finger moves what it shows */
    bool of_variant = false; /* a condition: the root of a variant may say it too */
};

/* "action" of a bar: what it shows. */
constexpr skin_word skin_bar_actions[] = {
    {"", 0},
    {"battery", skin_on_both},
    {.name = "list", .screens = skin_on_list, .dragged = true},
    {.name = "play", .screens = skin_on_play, .dragged = true},
};

/* "action" of any other element: what a press does. */
constexpr skin_word skin_presses[] = {
    {"", 0},
    {"play", skin_on_play},
    {"pause", skin_on_play},
    {"stop", skin_on_play},
    {"prev", skin_on_play},
    {"next", skin_on_play},
    {"list", skin_on_play},
};

/* "show" and "hide". */
constexpr skin_word skin_conditions[] = {
    {"", 0},
    {"play", skin_on_play},
    {"pause", skin_on_play},
    {.name = "album_cover", .screens = skin_on_play, .of_variant = true},
    {.name = "lyrics", .screens = skin_on_play, .of_variant = true},
};

/* What stands behind a "$" of "format". The first that the text begins with is taken. */
struct skin_token {
    std::string_view name;
    uint8_t screens;
    bool label = false;        /* stands for its own text */
    size_t size = name.size(); /* bytes of the name that are compared, and replaced */
};

/* Two labels are compared over 5 and 6 bytes only, which skins rely on: the rest of the label
 * follows as plain text. */
constexpr skin_token skin_tokens[] = {
    {"", 0},
    {"program_name", skin_on_list},
    {"program_version", skin_on_list},
    {"path", skin_on_list},
    {"title", skin_on_both},
    {"artist", skin_on_play},
    {"album", skin_on_play},
    {"mins", skin_on_play},
    {"secs", skin_on_play},
    {"02mins", skin_on_play},
    {"02secs", skin_on_play},
    {"stopped", skin_on_play},
    {.name = "标题", .screens = skin_on_play, .label = true, .size = 5},
    {.name = "艺术家", .screens = skin_on_play, .label = true, .size = 6},
    {.name = "Album", .screens = skin_on_play, .label = true},
    {"time", skin_on_both},
    {"battery", skin_on_both},
    {.name = "Time", .screens = skin_on_both, .label = true},
    {.name = "Battery", .screens = skin_on_both, .label = true},
};

/* ---- types of bars ---- */

struct skin_bar_type {
    const char *name;
    bool vertical;
    bool draggable;    /* a touch means a position */
    bool cut_from_end; /* its image should be as long as the bar */
    void (*draw)(const skin_bar &it);
};

constexpr skin_bar_type skin_bar_types[] = {
    {"", false, false, false, nullptr},
    {"fill-x", false, true, false, skin_bar_fill},
    {"fill-x-rev", false, false, false, skin_bar_fill_reversed},
    {"fill-y", true, true, false, skin_bar_fill},
    {"fill-y-rev", true, false, false, skin_bar_fill_reversed},
    {"move-x", false, true, false, skin_bar_move},
    {"move-x-rev", false, false, false, skin_bar_move_reversed},
    {"move-y", true, true, false, skin_bar_move},
    {"move-y-rev", true, false, false, skin_bar_move_reversed},
    {"part-x", false, true, false, skin_bar_part},
    {"part-x-rev", false, false, true, skin_bar_part_reversed},
    {"part-y", true, true, false, skin_bar_part},
    {"part-y-rev", true, false, true, skin_bar_part_reversed},
};

/* ---- kinds of elements ---- */

struct skin_kind {
    const char *name;
    uint8_t screens;        /* that draw it */
    const char *attributes; /* read besides skin_shared_attributes, a blank between two */
    std::span<const skin_word> actions = skin_presses;
    bool needs_image = false; /* draws nothing without "src" */
    bool needs_box = false;   /* draws into its box: a size must be given */
    bool is_row = false;      /* of the list */
    bool one_line = false;    /* of text, as high as its box */
    /* What it looks like on every screen; null: the screens draw it by themselves. */
    int (*draw)(const skin_element *element, fb_surface *surface) = nullptr;
};

constexpr skin_kind skin_kinds[] = {
    {.name = "", .screens = 0, .attributes = ""},
    {.name = "img",
     .screens = skin_on_both,
     .attributes = "src",
     .needs_image = true,
     .draw = skin_draw_image},
    {.name = "button", .screens = skin_on_both, .attributes = "src", .draw = skin_draw_image},
    {.name = "rect",
     .screens = skin_on_both,
     .attributes = "color",
     .needs_box = true,
     .draw = skin_draw_rect},
    {.name = "scroll",
     .screens = skin_on_both,
     .attributes = "src type origin_x origin_y",
     .actions = skin_bar_actions,
     .draw = skin_draw_bar},
    {.name = "text",
     .screens = skin_on_both,
     .attributes = "format font_size font_color text_align",
     .one_line = true},
    /* The parser puts the rows behind it, an "item" and an "item_sel" each. */
    {.name = "list",
     .screens = skin_on_list,
     .attributes = "font_size font_color font_color_2",
     .needs_box = true},
    {.name = "item",
     .screens = skin_on_list,
     .attributes = "font_size font_color text_align",
     .is_row = true,
     .one_line = true},
    {.name = "item_sel",
     .screens = skin_on_list,
     .attributes = "font_size font_color text_align",
     .is_row = true,
     .one_line = true},
    {.name = "album_cover", .screens = skin_on_play, .attributes = "", .needs_box = true},
    {.name = "lyrics",
     .screens = skin_on_play,
     .attributes = "font_size font_color text_align",
     .needs_box = true},
};

/* ---- places ---- */

constexpr size_t skin_kind_count = std::size(skin_kinds);
constexpr size_t skin_bar_action_count = std::size(skin_bar_actions);
constexpr size_t skin_press_count = std::size(skin_presses);
constexpr size_t skin_condition_count = std::size(skin_conditions);
constexpr size_t skin_token_count = std::size(skin_tokens);

void skin_name_is_not_in_the_table(); /* no compiler can call it: it stops there */

template <typename entry, size_t count>
consteval uint8_t skin_place_in(const entry (&table)[count], std::string_view name)
{
    for (size_t i = 1; i < count; i++)
        if (name == table[i].name)
            return static_cast<uint8_t>(i);
    skin_name_is_not_in_the_table();
    return 0;
}

consteval uint8_t skin_kind_at(std::string_view name)
{
    return skin_place_in(skin_kinds, name);
}

consteval uint8_t skin_bar_action_at(std::string_view name)
{
    return skin_place_in(skin_bar_actions, name);
}

consteval uint8_t skin_press_at(std::string_view name)
{
    return skin_place_in(skin_presses, name);
}

consteval uint8_t skin_condition_at(std::string_view name)
{
    return skin_place_in(skin_conditions, name);
}

consteval uint8_t skin_token_at(std::string_view name)
{
    return skin_place_in(skin_tokens, name);
}

/* ---- looking up ---- */

/* The attribute of the root tag, or of any other tag; null when the name means nothing. */
const skin_attribute *skin_attribute_of_page(const char *name);
const skin_attribute *skin_attribute_of_element(const char *name);
/* Whether elements of a kind read an attribute. */
bool skin_kind_reads(const skin_kind &kind, std::string_view attribute);
/* Places of names, 0 for null and for those that are not there. */
uint8_t skin_find_kind(const char *name);
uint8_t skin_find_condition(const char *name);
/* The token that a text begins with, among those of one screen (skin_on_*); 0 for none. */
uint8_t skin_find_token(const char *text, uint8_t screen);
/* What the names of an element mean. */
skin_meaning skin_look_up(const skin_element *element);
/* The same; what the parser has looked up costs nothing. */
inline skin_meaning skin_meaning_of(const skin_element *element)
{
    return element->means.looked_up ? element->means : skin_look_up(element);
}

/* Whether a variant is meant for a track. `holds` is asked about the words of its root that a root
 * may say, "show" before "hide". */
typedef bool (*skin_condition_holds)(uint8_t condition, const void *user);
bool skin_page_fits(const skin_page *page, skin_condition_holds holds, const void *user);
