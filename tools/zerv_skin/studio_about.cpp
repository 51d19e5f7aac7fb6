/* studio_about: what the studio's page knows of a skin. */
#include "tools/zerv_skin/studio.h"

#include "skin/skin_table.h"
#include "tools/zerv_skin/check.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/sample.h"
#include "tools/zerv_skin/source.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

/* Nobody reads more; a hostile skin would have any number. */
constexpr size_t most_findings = 500, most_elements = 500;

static std::string quoted(const std::string &text)
{
    return report_json_text(text);
}

/* ---- scenes ---- */

static void put_scene(const scene &of, FILE *to)
{
    const sample_screen &screen = of.in_list ? sample_list : sample_play;
    fprintf(to, "{\"name\": %s, \"part\": \"%s\", \"variant\": %u, \"state\": %s, \"data\": %s}",
            quoted(of.name).c_str(), screen.part, of.variant,
            quoted(screen.state_name(of.state)).c_str(), quoted(screen.data_name(of.data)).c_str());
}

static void put_scenes(const std::vector<scene> &all, FILE *to)
{
    fputs("[", to);
    for (size_t i = 0; i < all.size(); i++) {
        fputs(i ? ",\n" : "\n", to);
        put_scene(all[i], to);
    }
    fputs("]", to);
}

/* ---- elements ---- */

static void put_attributes(const source_tag &tag, FILE *to)
{
    fputs("[", to);
    const char *separator = "";
    for (const source_attribute &each : tag.attributes) {
        fprintf(to, "%s[%s, %s, %u]", separator, quoted(each.name).c_str(),
                quoted(each.value).c_str(), each.place.line);
        separator = ", ";
    }
    fputs("]", to);
}

/* What a finger can do something with. */
static bool takes_touch(const skin_element &element)
{
    if (element.means.kind == skin_kind_at("scroll"))
        return skin_bar_actions[element.means.action].dragged &&
               skin_bar_types[element.means.type].draggable;
    return element.means.action != 0 || element.means.kind == skin_kind_at("list") ||
           element.means.kind == skin_kind_at("item");
}

/* 0 where a tag has no letters that anybody sees. */
static double contrast_of(const source_file &file, const source_tag &tag, const report &found)
{
    const auto own = found.contrasts.find({file.name, tag.place.line, tag.place.column});
    return own == found.contrasts.end() ? 0 : own->second;
}

static void put_element(const source_tag &tag, const skin_element &element, double contrast,
                        FILE *to)
{
    fprintf(to,
            "{\"name\": %s, \"line\": %u, \"x\": %d, \"y\": %d, \"w\": %d, \"h\": %d, "
            "\"size\": %d, \"touch\": %s, \"contrast\": %.1f, \"attributes\": ",
            quoted(tag.name).c_str(), tag.place.line, element.x, element.y, element.width,
            element.height, element.font_size, takes_touch(element) ? "true" : "false", contrast);
    put_attributes(tag, to);
    fputs("}", to);
}

static void put_page(const source_file &file, const skin_page &page, const report &found, FILE *to)
{
    fprintf(to, "{\"file\": %s, \"elements\": [", quoted(file.name).c_str());
    size_t count = 0;
    for (const source_tag &tag : file.tags) {
        if (tag.element < 0 || count == most_elements)
            continue;
        fputs(count++ ? ",\n" : "\n", to);
        put_element(tag, page.elements[tag.element], contrast_of(file, tag, found), to);
    }
    fputs("]}", to);
}

static void put_part(const source_part &part, const report &found, FILE *to)
{
    const uint32_t pages = part.part ? part.part->count : 0;
    fprintf(to, "\"%s\": {\"loads\": %s, \"pages\": [", part.name, part.loads ? "true" : "false");
    for (uint32_t i = 0; i < pages; i++) {
        fputs(i ? ",\n" : "\n", to);
        put_page(*part.pages[i], part.part->pages[i], found, to);
    }
    fputs("]}", to);
}

/* ---- all of it ---- */

static void put_findings(studio *of, report *found, FILE *to)
{
    of->errors = report_count(found, report_level::error);
    fprintf(to, "\"errors\": %u, \"warnings\": %u, \"findings\": ", of->errors,
            report_count(found, report_level::warning));
    if (found->findings.size() > most_findings)
        found->findings.resize(most_findings);
    report_print_json(found, to);
}

static void describe(studio *of, FILE *to)
{
    source_package source = {};
    report told_by_check;
    check_result result = {};
    source_read(of->options->subject, &source, &told_by_check);
    check_package(of->options->subject, of->measured, &result);
    fprintf(to, "{\"made\": %u, \"name\": %s, \"measured\": %s,\n", of->made,
            quoted(of->name).c_str(), of->measured ? "true" : "false");
    put_findings(of, &result.found, to);
    fputs(",\n\"scenes\": ", to);
    put_scenes(of->package.scenes, to);
    fputs(",\n\"parts\": {", to);
    put_part(source.list, result.found, to);
    fputs(",\n", to);
    put_part(source.play, result.found, to);
    fputs("}}\n", to);
}

int studio_read(studio *of)
{
    if (scene_open(of->options->subject, &of->package) != 0)
        return -1;
    of->made++;
    char *text = nullptr;
    size_t length = 0;
    FILE *stream = open_memstream(&text, &length);
    if (!stream)
        return -1;
    describe(of, stream);
    const bool whole = fclose(stream) == 0;
    if (whole)
        of->about.assign(text, length);
    free(text);
    return whole ? 0 : -1;
}
