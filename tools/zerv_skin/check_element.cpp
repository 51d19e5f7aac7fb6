/* check_element: words, images, boxes and touch targets of one element. */
#include "tools/zerv_skin/check_page.h"

#include "platform/base/device.h"
#include "platform/image/image.h"
#include "skin/skin_parse.h"
#include "skin/skin_table.h"
#include "tools/zerv_skin/suggest.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>

constexpr int32_t smallest_target = 32; /* pixels a finger can hit */
constexpr int32_t lyrics_bands = 3;

struct element_check {
    const check_page &in;
    const source_tag &tag;
    const skin_element &element;
    uint8_t screen; /* skin_on_list or skin_on_play */
    const skin_kind &kind;
};

static bool is_kind(const element_check &it, uint8_t place)
{
    return it.element.means.kind == place;
}

/* ---- names ---- */

static void check_name(const element_check &it)
{
    if (it.kind.screens == 0)
        check_warn(it.in, it.tag, "", "unknown-element", "there is no element \"%s\"%s",
                   it.tag.name.c_str(), suggest_text(suggest_kind::element, it.tag.name).c_str());
    else if ((it.kind.screens & it.screen) == 0)
        check_warn(it.in, it.tag, "", "wrong-part", "the %s screen does not draw \"%s\"",
                   it.in.part->name, it.tag.name.c_str());
}

static void check_attributes(const element_check &it)
{
    for (const source_attribute &attribute : it.tag.attributes)
        if (!skin_attribute_of_element(attribute.name.c_str()))
            check_warn_at(it.in, it.tag, attribute, "unknown-attribute",
                          "there is no attribute \"%s\"%s", attribute.name.c_str(),
                          suggest_text(suggest_kind::attribute, attribute.name).c_str());
}

/* Letters have a font_color, and a rect is filled with its color. */
static void check_colour_names(const element_check &it)
{
    const bool filled = source_find(it.tag, "color") != nullptr;
    if (filled && skin_kind_reads(it.kind, "font_color"))
        check_warn(it.in, it.tag, "color", "other-color",
                   "\"color\" fills a rect; the colour of text is \"font_color\"");
    if (filled || !skin_kind_reads(it.kind, "color"))
        return;
    if (source_find(it.tag, "font_color"))
        check_warn(it.in, it.tag, "font_color", "other-color",
                   "\"font_color\" is for text; a rect is filled with \"color\"");
    else
        check_warn(it.in, it.tag, "", "no-color", "a rect without color is black");
}

static bool is_plain_colour(const std::string &value)
{
    return std::all_of(value.begin() + 1, value.end(),
                       [](char c) { return isxdigit(static_cast<unsigned char>(c)); });
}

/* "#0x1234" and "# 12345" pass for numbers, and are hardly meant. */
static void check_colours(const element_check &it)
{
    for (const char *name : {"color", "font_color", "font_color_2"})
        if (const source_attribute *colour = source_find(it.tag, name))
            if (!is_plain_colour(colour->value))
                check_warn(it.in, it.tag, name, "odd-color",
                           "%s=\"%s\" contains more than hexadecimal digits", name,
                           colour->value.c_str());
}

static bool is_asked(const check_asked &asked, uint8_t condition)
{
    if (condition == skin_condition_at("album_cover"))
        return asked.cover;
    return condition != skin_condition_at("lyrics") || asked.lyrics;
}

static void check_conditions(const element_check &it)
{
    for (const char *name : {"show", "hide"}) {
        const source_attribute *word = source_find(it.tag, name);
        if (!word)
            continue;
        if (it.screen == skin_on_list)
            check_warn(it.in, it.tag, name, "no-condition",
                       "the list screen ignores show and hide");
        else if (const uint8_t condition = skin_find_condition(word->value.c_str()); condition == 0)
            check_warn(it.in, it.tag, name, "unknown-condition",
                       "%s=\"%s\" is not play, pause, album_cover or lyrics%s", name,
                       word->value.c_str(),
                       suggest_text(suggest_kind::condition, word->value).c_str());
        else if (!is_asked(it.in.asked, condition))
            check_warn(it.in, it.tag, name, "never-asked",
                       "%s=\"%s\" never holds: no visible %s element and no variant asks for it",
                       name, word->value.c_str(), word->value.c_str());
    }
}

static void check_action(const element_check &it)
{
    if (!it.element.action)
        return;
    const skin_word &known = it.kind.actions[it.element.means.action];
    const bool bar = is_kind(it, skin_kind_at("scroll"));
    const suggest_kind meant = bar ? suggest_kind::bar_action : suggest_kind::action;
    if (known.screens == 0)
        check_warn(it.in, it.tag, "action", "unknown-action", "there is no action \"%s\"%s%s",
                   it.element.action, bar ? " for bars" : "",
                   suggest_text(meant, it.element.action).c_str());
    else if ((known.screens & it.screen) == 0)
        check_warn(it.in, it.tag, "action", "wrong-part",
                   "the action \"%s\" does nothing on the %s screen", it.element.action,
                   it.in.part->name);
}

/* ---- images ---- */

static void check_image(const element_check &it)
{
    const char *src = it.element.src;
    if (!src) {
        if (it.kind.needs_image)
            check_warn(it.in, it.tag, "", "no-image", "an %s without src draws nothing",
                       it.kind.name);
        return;
    }
    const source_package &package = *it.in.package;
    if (source_has_member(package, src))
        return;
    const auto meant = package.folded.find(source_fold(src)); /* another case, "./", "\\" */
    const bool similar = meant != package.folded.end();
    check_warn(it.in, it.tag, "src", "missing-image", "the package has no file \"%s\"%s%s%s", src,
               similar ? "; is \"" : "", similar ? meant->second.c_str() : "",
               similar ? "\" meant?" : "");
}

/* ---- bars ---- */

static void check_bar_length(const element_check &it, const skin_bar_type &type)
{
    const int32_t length = type.vertical ? it.element.height : it.element.width;
    const char *size = type.vertical ? "height" : "width";
    if (length < 2)
        check_warn(it.in, it.tag, size, "short-bar",
                   "a bar of %d pixels cannot show or take a position", length);
    const image *picture = it.element.image;
    const int32_t image_length = !picture ? 0 : type.vertical ? picture->height : picture->width;
    if (type.cut_from_end && picture && image_length != length)
        check_warn(it.in, it.tag, size, "bar-image-length",
                   "the image is %d pixels long and the bar %d: a \"%s\" needs them equal",
                   image_length, length, it.element.type);
}

/* A bar that a finger moves. */
static bool is_dragged(const element_check &it)
{
    const skin_word &action = it.kind.actions[it.element.means.action];
    return skin_bar_types[it.element.means.type].draggable && action.dragged &&
           (action.screens & it.screen) != 0;
}

static void check_bar(const element_check &it)
{
    if (!is_kind(it, skin_kind_at("scroll")))
        return;
    const skin_bar_type &type = skin_bar_types[it.element.means.type];
    if (!it.element.type) {
        check_warn(it.in, it.tag, "", "no-type", "a bar without type draws nothing");
        return;
    }
    if (!type.draw) {
        check_warn(it.in, it.tag, "type", "unknown-type", "there is no bar of type \"%s\"%s",
                   it.element.type, suggest_text(suggest_kind::bar_type, it.element.type).c_str());
        return;
    }
    if (!it.element.action)
        check_warn(it.in, it.tag, "", "no-action", "a bar without action always shows 0");
    else if (!it.element.src && !is_dragged(it))
        check_warn(it.in, it.tag, "", "no-image", "a bar without src draws nothing");
    check_bar_length(it, type);
}

/* ---- boxes ---- */

static bool is_outside(const skin_element &element, bool wholly)
{
    const int64_t right = static_cast<int64_t>(element.x) + element.width;
    const int64_t bottom = static_cast<int64_t>(element.y) + element.height;
    if (wholly)
        return element.x >= device_width || element.y >= device_height || right <= 0 || bottom <= 0;
    return element.x < 0 || element.y < 0 || right > device_width || bottom > device_height;
}

static void check_box(const element_check &it)
{
    const skin_element &element = it.element;
    if (element.width < 0 || element.height < 0) {
        check_warn(it.in, it.tag, element.width < 0 ? "width" : "height", "negative-size",
                   "a size below 0 draws nothing");
        return;
    }
    if (it.kind.is_row && is_outside(element, false))
        check_warn(it.in, it.tag, "", "row-outside", "the row goes beyond the screen of %d x %d",
                   device_width, device_height);
    else if (element.width > 0 && element.height > 0 && is_outside(element, true))
        check_warn(it.in, it.tag, "", "outside", "the element lies outside the screen of %d x %d",
                   device_width, device_height);
}

/* Boxes that are drawn into, and therefore need a size of their own. */
static void check_needed_box(const element_check &it)
{
    if (it.kind.needs_box && (it.element.width == 0 || it.element.height == 0))
        check_warn(it.in, it.tag, "", "no-size", "\"%s\" needs a width and a height",
                   it.tag.name.c_str());
}

/* ---- rows ---- */

/* The rows that a list made stand between it and the next tag's element, two for each. */
static uint32_t count_rows(const element_check &it)
{
    const source_tag *end = it.in.file->tags.data() + it.in.file->tags.size();
    const source_tag *next = &it.tag + 1;
    while (next < end && next->element < 0)
        next++;
    const int64_t last = next < end ? next->element : it.in.page->element_count;
    return static_cast<uint32_t>(last - it.tag.element - 1) / 2;
}

static void check_list(const element_check &it)
{
    if (!is_kind(it, skin_kind_at("list")))
        return;
    const skin_element &list = it.element;
    const uint32_t rows = count_rows(it);
    if (rows == 0) {
        check_warn(it.in, it.tag, "height", "no-rows",
                   "not even one row of %d pixels fits into a height of %d", list.font_size,
                   list.height);
        return;
    }
    const skin_element &last = it.in.page->elements[it.tag.element + 2 * rows];
    if (is_outside(last, false) || is_outside(it.in.page->elements[it.tag.element + 1], false))
        check_warn(it.in, it.tag, "", "row-outside", "rows go beyond the screen of %d x %d",
                   device_width, device_height);
    const skin_row_count count = skin_count_rows(list.y, list.height, list.font_size);
    if (count.made < count.wanted)
        check_warn(it.in, it.tag, "height", "many-rows",
                   "the list has room for %" PRIu64 " rows; the player makes %u, so that the row "
                   "under the cursor is on the screen",
                   count.wanted, count.made);
}

static void check_lyrics(const element_check &it)
{
    const skin_element &element = it.element;
    if (!is_kind(it, skin_kind_at("lyrics")) || element.height <= 0)
        return;
    const int64_t gaps = static_cast<int64_t>(element.font_size / 2) * (lyrics_bands - 1);
    if ((element.height - gaps) / lyrics_bands < element.font_size)
        check_warn(it.in, it.tag, "height", "low-box",
                   "three lines of %d pixels do not fit into a height of %d", element.font_size,
                   element.height);
}

/* ---- touch ---- */

static bool is_touched(const element_check &it)
{
    if (is_kind(it, skin_kind_at("scroll")))
        return is_dragged(it);
    if (it.screen == skin_on_list)
        return it.kind.is_row;
    return it.element.means.action != 0;
}

/* What a finger is to hit: `the button "next"`. */
static std::string target_name(const element_check &it)
{
    const std::string kind = is_kind(it, skin_kind_at("scroll")) ? "bar" : it.tag.name;
    return it.element.action ? kind + " \"" + it.element.action + "\"" : kind;
}

/* The gap below a row of a list belongs to no other row: who misses one hits nothing wrong. */
static void check_list_touch(const element_check &it)
{
    const int32_t size = it.element.font_size;
    const int64_t pitch = int64_t{size} + size / 2;
    if (pitch < smallest_target)
        check_warn(
            it.in, it.tag, "font_size", "small-target",
            "rows of %d pixels, %d with the gap below, are hard to touch; a finger needs %d: "
            "give them a font_size of 22",
            size, static_cast<int>(pitch), smallest_target);
}

static void check_touch(const element_check &it)
{
    const skin_element &element = it.element;
    if (is_kind(it, skin_kind_at("list"))) {
        check_list_touch(it);
        return;
    }
    if (!is_touched(it) || element.width < 0 || element.height < 0)
        return;
    const bool narrow = element.width < element.height;
    if (element.width == 0 || element.height == 0)
        check_warn(it.in, it.tag, "", "no-size", "without a size it cannot be touched");
    else if (std::min(element.width, element.height) < smallest_target)
        check_warn(it.in, it.tag, narrow ? "width" : "height", "small-target",
                   "the %s is %d x %d pixels; a finger needs %d x %d", target_name(it).c_str(),
                   element.width, element.height, smallest_target, smallest_target);
}

static void (*const rules[])(const element_check &it) = {
    check_name,   check_attributes, check_colour_names, check_colours, check_conditions,
    check_action, check_image,      check_bar,          check_box,     check_needed_box,
    check_list,   check_lyrics,     check_touch,
};

void check_element(const check_page &in, const source_tag &tag, const skin_element &element)
{
    const uint8_t screen = in.in_list ? skin_on_list : skin_on_play;
    const element_check it = {in, tag, element, screen, skin_kinds[element.means.kind]};
    for (auto rule : rules)
        rule(it);
}
