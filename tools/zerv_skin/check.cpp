/* check: reads a package as the player does, and holds what it read against the rules. */
#include "tools/zerv_skin/check.h"

#include "skin/skin_table.h"
#include "tools/zerv_skin/check_page.h"
#include "tools/zerv_skin/sample.h"
#include "tools/zerv_skin/suggest.h"

#include <cstring>

/* Texts of a part that are measured, a hundred times as many as a screen has room for. */
constexpr uint32_t most_measured = 2000;

/* ---- broken images, at the elements that name them ---- */

static void tell_broken(const char *path, const source_part &part, report *found)
{
    for (const source_broken_image &broken : part.broken) {
        const std::string reason =
            broken.code == "image" ? check_image_reason(path, broken.name) : broken.reason;
        for (const source_file *file : part.pages)
            for (const source_tag &tag : file->tags) {
                const source_attribute *src = source_find(tag, "src");
                if (src && src->value == broken.name)
                    report_add(found, {report_level::error, broken.code, file->name,
                                       src->place.line, src->place.column, tag.name, "src",
                                       src->value, "src=\"" + src->value + "\": " + reason});
            }
    }
}

/* ---- roots ---- */

static void check_root(const check_page &in, const source_tag &tag)
{
    for (const source_attribute &attribute : tag.attributes) {
        const char *name = attribute.name.c_str();
        if (!skin_attribute_of_page(name)) {
            check_warn_at(in, tag, attribute, "unknown-attribute",
                          "the root has no attribute \"%s\"%s", name,
                          suggest_text(suggest_kind::root_attribute, name).c_str());
            continue;
        }
        if (strcmp(name, "show") != 0 && strcmp(name, "hide") != 0)
            continue;
        if (in.in_list)
            check_warn(in, tag, name, "no-condition",
                       "the list screen always uses its first variant");
        else if (!skin_conditions[skin_find_condition(attribute.value.c_str())].of_variant)
            check_warn(in, tag, name, "unknown-condition",
                       "a variant's %s=\"%s\" is neither album_cover nor lyrics%s", name,
                       attribute.value.c_str(),
                       suggest_text(suggest_kind::variant_condition, attribute.value).c_str());
    }
    if (in.page->debug > 0)
        check_warn(in, tag, "debug", "debug", "every element will be outlined in red");
}

/* ---- pages ---- */

static void check_one_page(const check_page &in)
{
    for (const source_tag &tag : in.file->tags) {
        if (tag.element < 0) {
            check_root(in, tag);
            continue;
        }
        const skin_element &element = in.page->elements[tag.element];
        check_element(in, tag, element);
        check_text(in, tag, element);
    }
    check_overlap(in);
    check_look(in);
}

static void check_page_rows(const check_page &in)
{
    uint32_t plain = 0, selected = 0;
    for (uint32_t i = 0; i < in.page->element_count; i++) {
        plain += in.page->elements[i].means.kind == skin_kind_at("item");
        selected += in.page->elements[i].means.kind == skin_kind_at("item_sel");
    }
    const source_tag &root = in.file->tags.front();
    if (plain == 0)
        check_warn(in, root, "", "no-rows",
                   "the list screen needs a \"list\" or some \"item\" elements");
    else if (plain != selected)
        check_warn(in, root, "", "uneven-rows",
                   "there are %u \"item\" and %u \"item_sel\" elements; each row needs both", plain,
                   selected);
}

static void warn_file(report *found, const source_file &file, const char *code,
                      const std::string &text)
{
    report_add(found, {report_level::warning, code, file.name, 0, 0, "", "", "", text});
}

static void check_variants(const source_part &part, bool in_list, report *found)
{
    for (size_t i = 1; i < part.pages.size(); i++) {
        const source_file &file = *part.pages[i];
        if (file.variant == part.pages[i - 1]->variant)
            warn_file(found, file, "same-variant",
                      "it has the same number as " + part.pages[i - 1]->name +
                          ": their order is not defined");
        if (in_list)
            warn_file(found, file, "unused-variant",
                      "the list screen only uses " + part.pages[0]->name);
    }
}

/* ---- states of the play screen ---- */

static bool has_usable_variant(const skin_part *part, const sample_track &track)
{
    for (uint32_t i = 0; i < part->count; i++)
        if (sample_page_fits(&part->pages[i], track))
            return true;
    return false;
}

static void check_states(const source_part &part, report *found)
{
    for (int state = 0; state < 4; state++) {
        const bool cover = state & 1, lyrics = state & 2;
        if (has_usable_variant(part.part.get(), {cover, lyrics}))
            continue;
        const std::string text = std::string("no variant is meant for a track ") +
                                 (cover ? "with" : "without") + " cover and " +
                                 (lyrics ? "with" : "without") + " lyrics; " + part.pages[0]->name +
                                 " is used";
        warn_file(found, *part.pages[0], "no-variant", text);
    }
}

/* An element that waits for what only itself would ask for waits for ever. */
static bool asks(const skin_page &page, uint8_t kind, uint8_t condition)
{
    for (uint32_t i = 0; i < page.element_count; i++) {
        const skin_meaning &means = page.elements[i].means;
        if (means.kind == kind && means.show != condition)
            return true;
    }
    return false;
}

/* The roots of all variants ask, while one of them is chosen. */
static bool asked_by_roots(const skin_part *part, uint8_t condition)
{
    for (uint32_t i = 0; i < part->count; i++)
        if (part->pages[i].show_means == condition || part->pages[i].hide_means == condition)
            return true;
    return false;
}

static check_asked find_asked(const skin_part *part, const skin_page &page)
{
    constexpr uint8_t cover = skin_condition_at("album_cover"),
                      lyrics = skin_condition_at("lyrics");
    return {
        .cover = asked_by_roots(part, cover) || asks(page, skin_kind_at("album_cover"), cover),
        .lyrics = asked_by_roots(part, lyrics) || asks(page, skin_kind_at("lyrics"), lyrics),
    };
}

static void check_one_part(const char *path, const source_package &package, const source_part &part,
                           bool measure, report *found, check_part *to)
{
    uint32_t texts_left = measure ? most_measured : 0;
    const bool in_list = &part == &package.list;
    to->present = !part.files.empty();
    to->loads = part.loads;
    to->variants = part.loads ? part.part->count : 0;
    if (!part.part)
        return;
    tell_broken(path, part, found);
    for (uint32_t i = 0; i < part.part->count; i++) {
        const skin_page &page = part.part->pages[i];
        const check_page in = {found,
                               &package,
                               &part,
                               part.pages[i],
                               &page,
                               in_list,
                               find_asked(part.part.get(), page),
                               &texts_left};
        check_one_page(in);
        if (in_list)
            check_page_rows(in);
    }
    check_variants(part, in_list, found);
    if (!in_list)
        check_states(part, found);
}

void check_package(const char *path, bool measure, check_result *to)
{
    source_package package = {};
    source_read(path, &package, &to->found);
    check_one_part(path, package, package.list, measure, &to->found, &to->list);
    check_one_part(path, package, package.play, measure, &to->found, &to->play);
    check_names(package, &to->found);
    if (package.opens && !to->list.present && !to->play.present)
        report_add(&to->found, {report_level::error, "no-part", "", 0, 0, "", "", "",
                                "the package has neither a list.xml nor a play.xml"});
    report_sort(&to->found);
}
