/* check_overlap: elements that lie over one another while the player does one thing or another. */
#include "tools/zerv_skin/check_page.h"

#include "platform/font/font.h"
#include "platform/image/image.h"
#include "skin/skin_table.h"
#include "tools/zerv_skin/stage.h"

#include <algorithm>
#include <cstring>

/* Elements of a page that are compared with each other. */
constexpr uint32_t most_compared = 200;
/* Letters may touch; more than so many pixels both ways is a fault. */
constexpr int32_t most_touching = 3;
/* Two touched areas may share less than this part of the smaller one. */
constexpr int64_t shared_part = 4;

/* What the player does. */
struct moment {
    bool loaded, paused, cover, lyrics;
    const char *name;
};

static const moment moments[] = {
    {true, false, true, true, "a track plays"},   {true, false, true, false, "a track plays"},
    {true, false, false, true, "a track plays"},  {true, false, false, false, "a track plays"},
    {true, true, true, true, "it is paused"},     {true, true, true, false, "it is paused"},
    {true, true, false, true, "it is paused"},    {true, true, false, false, "it is paused"},
    {false, true, false, false, "nothing plays"},
};

/* An element and where it shows something. */
struct shape {
    const skin_element *element;
    const source_tag *tag;
    check_box_of box;
    bool letters, opaque, touched;
    bool visible, told;
    uint32_t seen, covered; /* moments */
    const source_tag *coverer;
};

static bool is_kind(const skin_element &element, uint8_t place)
{
    return element.means.kind == place;
}

/* ---- boxes ---- */

static bool contains(const check_box_of &outer, const check_box_of &inner)
{
    return inner.x >= outer.x && inner.y >= outer.y &&
           inner.x + inner.width <= outer.x + outer.width &&
           inner.y + inner.height <= outer.y + outer.height;
}

struct overlap_size {
    int64_t width, height; /* below 1: none */
};

static overlap_size overlap(const check_box_of &a, const check_box_of &b)
{
    const int64_t right = std::min(a.x + a.width, b.x + b.width);
    const int64_t bottom = std::min(a.y + a.height, b.y + b.height);
    return {right - std::max(a.x, b.x), bottom - std::max(a.y, b.y)};
}

/* ---- what is there ---- */

static bool is_opaque(const skin_element &element)
{
    if (is_kind(element, skin_kind_at("img")) || is_kind(element, skin_kind_at("button")))
        return element.image && !element.image->has_alpha;
    return is_kind(element, skin_kind_at("rect")); /* a cover may leave a part of its box free */
}

static bool is_touched(const check_page &in, const skin_element &element)
{
    const uint8_t screen = in.in_list ? skin_on_list : skin_on_play;
    const skin_word &action = skin_kinds[element.means.kind].actions[element.means.action];
    const bool means_it = (action.screens & screen) != 0;
    if (is_kind(element, skin_kind_at("scroll")))
        return means_it && action.dragged && skin_bar_types[element.means.type].draggable;
    return means_it && !in.in_list;
}

static shape make_shape(const check_page &in, const skin_element &element, const source_tag *tag)
{
    shape made = {};
    made.element = &element;
    made.tag = tag;
    made.box = {element.x, element.y, element.width, element.height};
    made.letters =
        is_kind(element, skin_kind_at("text")) || is_kind(element, skin_kind_at("lyrics"));
    made.opaque = is_opaque(element);
    made.touched = is_touched(in, element);
    return made;
}

/* A list screen's rows are told by other rules. */
static std::vector<shape> make_shapes(const check_page &in)
{
    std::vector<shape> shapes;
    const std::vector<const source_tag *> tags = check_tags(in);
    for (uint32_t i = 0; i < in.page->element_count && shapes.size() < most_compared; i++) {
        const skin_element &element = in.page->elements[i];
        if (!is_kind(element, skin_kind_at("list")) && !skin_kinds[element.means.kind].is_row)
            shapes.push_back(make_shape(in, element, tags[i]));
    }
    return shapes;
}

/* ---- a moment ---- */

static bool holds(uint8_t condition, const void *user)
{
    const moment &now = *static_cast<const moment *>(user);
    switch (condition) {
    case skin_condition_at("play"):
        return now.loaded;
    case skin_condition_at("pause"):
        return now.paused;
    case skin_condition_at("album_cover"):
        return now.cover;
    default:
        return now.lyrics;
    }
}

static bool is_visible(const check_page &in, const skin_element &element, const moment &now)
{
    if (in.in_list)
        return true;
    if (element.means.show != 0 && !holds(element.means.show, &now))
        return false;
    if (element.means.hide != 0 && holds(element.means.hide, &now))
        return false;
    if (is_kind(element, skin_kind_at("album_cover")))
        return now.cover;
    return !is_kind(element, skin_kind_at("lyrics")) || now.loaded;
}

static void set_moment(const check_page &in, const moment &now, std::vector<shape> *shapes)
{
    check_set_moment(in, now.loaded);
    for (shape &each : *shapes) {
        each.visible = is_visible(in, *each.element, now);
        if (each.visible && each.letters)
            each.box = check_text_box(in, *each.element);
        each.visible = each.visible && each.box.width > 0 && each.box.height > 0;
        each.seen += each.visible;
    }
}

/* ---- pairs ---- */

/* Where two texts stand, one is not seen through the other. */
static void compare_letters(const check_page &in, const moment &now, const shape &below,
                            shape *above)
{
    const overlap_size shared = overlap(below.box, above->box);
    if (above->told || shared.width <= most_touching || shared.height <= most_touching)
        return;
    above->told = true;
    check_warn(in, *above->tag, "", "overlap",
               "while %s it lies over the %s of line %u by %d x %d pixels", now.name,
               below.tag->name.c_str(), below.tag->place.line, static_cast<int>(shared.width),
               static_cast<int>(shared.height));
}

/* A bar takes the finger first, then the first element in the file. */
static void compare_touch(const check_page &in, const shape &first, shape *second)
{
    const overlap_size shared = overlap(first.box, second->box);
    const int64_t smaller =
        std::min(first.box.width * first.box.height, second->box.width * second->box.height);
    if (second->told || shared.width < 1 || shared.height < 1 ||
        strcmp(first.element->action, second->element->action) == 0 ||
        shared.width * shared.height < smaller / shared_part)
        return;
    second->told = true;
    check_warn(in, *second->tag, "", "overlap",
               "a finger on %d x %d pixels of it also touches the \"%s\" of line %u",
               static_cast<int>(shared.width), static_cast<int>(shared.height),
               first.element->action, first.tag->place.line);
}

static void compare_all(const check_page &in, const moment &now, std::vector<shape> *shapes)
{
    for (size_t i = 0; i < shapes->size(); i++) {
        shape &below = (*shapes)[i];
        bool covered = false;
        for (size_t j = i + 1; below.visible && j < shapes->size(); j++) {
            shape &above = (*shapes)[j];
            if (!above.visible)
                continue;
            if (!covered && above.opaque && contains(above.box, below.box)) {
                covered = true;
                below.coverer = above.tag;
            }
            if (below.letters && above.letters)
                compare_letters(in, now, below, &above);
            if (below.touched && above.touched)
                compare_touch(in, below, &above);
        }
        below.covered += covered;
    }
}

static void tell_covered(const check_page &in, const std::vector<shape> &shapes)
{
    for (const shape &each : shapes)
        if (each.seen > 0 && each.covered == each.seen)
            check_warn(in, *each.tag, "", "covered",
                       "the %s of line %u, which is drawn later, covers it",
                       each.coverer->name.c_str(), each.coverer->place.line);
}

void check_overlap(const check_page &in)
{
    if (!in.part->loads || *in.texts_left == 0)
        return; /* without images and letters nothing can be said */
    std::vector<shape> shapes = make_shapes(in);
    for (const moment &now : moments) {
        if (!in.in_list && !skin_page_fits(in.page, holds, &now))
            continue;
        set_moment(in, now, &shapes);
        compare_all(in, now, &shapes);
        if (in.in_list)
            break; /* it hides nothing */
    }
    tell_covered(in, shapes);
}
