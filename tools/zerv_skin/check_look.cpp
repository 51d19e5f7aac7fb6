/* check_look: what lies behind the texts of a page, and where the player writes its messages. */
#include "tools/zerv_skin/check_page.h"

#include "platform/base/device.h"
#include "platform/base/owner.h"
#include "platform/draw/fb.h"
#include "skin/skin_table.h"
#include "tools/zerv_skin/contrast.h"
#include "tools/zerv_skin/stage.h"

#include <algorithm>

/* Two lines of messages from the bottom. */
constexpr int32_t strip_height = 36, strip_top = device_height - strip_height;
/* Elements that are drawn for this: a hundred times as many as a screen has. */
constexpr uint32_t most_drawn = 2000;
/* Every so many pixels are looked at both ways: there may be very many texts. */
constexpr int32_t looked_step = 2;
/* What large letters need; small ones want 4.5. */
constexpr double least_text = 3;

struct message_colour {
    uint16_t colour;
    double least;
    const char *name;
};

static const message_colour message_colours[] = {{0xF800, 3, "red"}, {0x001F, 4.5, "blue"}};

using surface_owner = owner<fb_surface, fb_free>;

struct look {
    const check_page &in;
    const std::vector<const source_tag *> tags; /* by element */
    fb_surface *canvas;
    uint32_t row, rows; /* of "item" and "item_sel" elements */
};

static bool is_kind(const skin_element &element, uint8_t place)
{
    return element.means.kind == place;
}

/* ---- texts ---- */

/* The mean light of a box, of what of it is on the screen; -1 when nothing is. */
static double mean_light(const fb_surface *canvas, const check_box_of &box)
{
    const int64_t left = std::max<int64_t>(box.x, 0), top = std::max<int64_t>(box.y, 0);
    const int64_t right = std::min<int64_t>(canvas->width, box.x + box.width);
    const int64_t bottom = std::min<int64_t>(canvas->height, box.y + box.height);
    if (left >= right || top >= bottom)
        return -1;
    double sum = 0;
    int32_t count = 0;
    for (int64_t y = top; y < bottom; y += looked_step)
        for (int64_t x = left; x < right; x += looked_step, count++)
            sum += contrast_light(canvas->pixels[y * canvas->stride + x]);
    return sum / count;
}

/* Some texts are there only while nothing plays. */
static check_box_of box_of(const check_page &in, const skin_element &element)
{
    check_set_moment(in, true);
    const check_box_of box = check_text_box(in, element);
    if (box.width > 0 || in.in_list)
        return box;
    check_set_moment(in, false);
    return check_text_box(in, element);
}

static void check_ink(const look &at, const skin_element &element, const source_tag &tag,
                      const char *attribute)
{
    const double behind = mean_light(at.canvas, box_of(at.in, element));
    if (behind < 0)
        return;
    const double found = contrast_between(contrast_light(element.font_color), behind);
    const auto place = std::tuple(at.in.file->name, tag.place.line, tag.place.column);
    double &worst = at.in.found->contrasts.try_emplace(place, found).first->second;
    worst = std::min(worst, found);
    if (found < least_text)
        check_warn(at.in, tag, attribute, "low-contrast",
                   "the text has a contrast of %.1f to 1 to what is behind it; 4.5 to 1 is "
                   "easy to read",
                   found);
}

/* The cursor is always on the middle row, which is drawn by "item_sel" there and by "item"
 * everywhere else. */
static bool is_ever_drawn(look *at, const skin_element &element)
{
    if (is_kind(element, skin_kind_at("item")))
        return at->row != (at->rows - 1) / 2;
    return at->row++ == (at->rows - 1) / 2; /* "item_sel" ends the row */
}

static void check_letters(look *at, const skin_element &element, const source_tag &tag)
{
    const bool row =
        is_kind(element, skin_kind_at("item")) || is_kind(element, skin_kind_at("item_sel"));
    const bool other =
        is_kind(element, skin_kind_at("text")) || is_kind(element, skin_kind_at("lyrics"));
    if (element.font_size <= 0 || (!row && !other) || (row && !is_ever_drawn(at, element)))
        return;
    const bool of_list = tag.name == "list" && is_kind(element, skin_kind_at("item_sel"));
    check_ink(*at, element, tag, of_list ? "font_color_2" : "font_color");
}

/* ---- the strip ---- */

static void check_strip(const look &at)
{
    const fb_surface *canvas = at.canvas;
    for (const message_colour &message : message_colours) {
        const double ink = contrast_light(message.colour);
        double worst = message.least;
        int32_t where = -1;
        for (int32_t i = strip_top * canvas->width; i < canvas->height * canvas->width; i++) {
            const double found = contrast_between(ink, contrast_light(canvas->pixels[i]));
            if (found < worst) {
                worst = found;
                where = i;
            }
        }
        if (where >= 0)
            check_warn(
                at.in, at.in.file->tags.front(), "", "strip-contrast",
                "messages appear in the lowest %d pixels: %s ones have a contrast of %.1f to "
                "1 at x %d, y %d; keep the strip plain and light (%g to 1)",
                strip_height, message.name, worst, where % canvas->width, where / canvas->width,
                message.least);
    }
}

/* What is drawn there all the time, and is no background, a message hides or is hidden by. */
static bool is_background(const skin_element &element)
{
    const bool picture =
        is_kind(element, skin_kind_at("img")) || is_kind(element, skin_kind_at("rect"));
    return picture && !element.show && !element.hide && !element.action;
}

static void check_reach(const check_page &in, const source_tag &tag, const skin_element &element)
{
    if (is_background(element) || is_kind(element, skin_kind_at("list")))
        return;
    const check_box_of box = box_of(in, element);
    const int64_t bottom = box.y + box.height;
    if (box.y < device_height && bottom > strip_top && box.width > 0 && box.height > 0)
        check_warn(in, tag, "", "message-strip",
                   "it reaches %d pixels into the lowest %d, where messages appear",
                   static_cast<int>(std::min<int64_t>(bottom, device_height) - strip_top),
                   strip_height);
}

/* ---- both ---- */

std::vector<const source_tag *> check_tags(const check_page &in)
{
    std::vector<const source_tag *> tags(in.page->element_count, nullptr);
    for (const source_tag &tag : in.file->tags)
        if (tag.element >= 0)
            tags[static_cast<size_t>(tag.element)] = &tag;
    for (size_t i = 1; i < tags.size(); i++)
        if (!tags[i])
            tags[i] = tags[i - 1]; /* a row belongs to its list */
    return tags;
}

static void look_at_elements(look *at)
{
    const skin_page *page = at->in.page;
    for (uint32_t i = 0; i < page->element_count && i < most_drawn; i++) {
        skin_element &element = page->elements[i];
        const bool drawn = is_kind(element, skin_kind_at("img")) ||
                           is_kind(element, skin_kind_at("rect")) ||
                           is_kind(element, skin_kind_at("button"));
        if (drawn && !element.show && !element.hide)
            (void)skin_common_behavior(&element, at->canvas);
        check_letters(at, element, *at->tags[i]);
        check_reach(at->in, *at->tags[i], element);
    }
}

void check_look(const check_page &in)
{
    const surface_owner canvas(fb_create(device_width, device_height));
    if (!canvas || !in.part->loads)
        return; /* without its images nothing can be said */
    (void)fb_clear(canvas.get(), 0xFFFF);
    look at = {in, check_tags(in), canvas.get(), 0, 0};
    for (uint32_t i = 0; i < in.page->element_count; i++)
        at.rows += is_kind(in.page->elements[i], skin_kind_at("item"));
    look_at_elements(&at);
    check_strip(at);
}
