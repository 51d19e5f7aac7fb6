/* cli_check: zerv-skin check. */
#include "tools/zerv_skin/check.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/stage.h"

#include <cstdio>

constexpr int status_error = 2;

static void print_json_part(const char *name, const check_part &part)
{
    printf("    \"%s\": {\"present\": %s, \"loads\": %s, \"variants\": %u}", name,
           part.present ? "true" : "false", part.loads ? "true" : "false", part.variants);
}

static void print_json(const char *path, bool measured, const check_result &result)
{
    printf("{\n  \"package\": %s,\n  \"status\": %d,\n  \"errors\": %u,\n  \"warnings\": %u,\n"
           "  \"measured\": %s,\n  \"parts\": {\n",
           report_json_text(path).c_str(), report_status(&result.found),
           report_count(&result.found, report_level::error),
           report_count(&result.found, report_level::warning), measured ? "true" : "false");
    print_json_part("list", result.list);
    printf(",\n");
    print_json_part("play", result.play);
    printf("\n  },\n  \"findings\": ");
    report_print_json(&result.found, stdout);
    printf("\n}\n");
}

static void print_part(const char *name, const check_part &part)
{
    if (!part.present)
        printf("%s: not in the package; ", name);
    else if (!part.loads)
        printf("%s: the player refuses it; ", name);
    else
        printf("%s: %u variant%s; ", name, part.variants, part.variants == 1 ? "" : "s");
}

static void print_text(const char *path, bool colours, const check_result &result)
{
    const unsigned errors = report_count(&result.found, report_level::error);
    const unsigned warnings = report_count(&result.found, report_level::warning);
    report_print(&result.found, stdout, colours);
    printf("%s: ", path);
    print_part("list", result.list);
    print_part("play", result.play);
    printf("%u error%s, %u warning%s\n", errors, errors == 1 ? "" : "s", warnings,
           warnings == 1 ? "" : "s");
}

int cli_check(const cli_options *options)
{
    if (stage_open() != 0) {
        fprintf(stderr, "zerv-skin: out of memory\n");
        return status_error;
    }
    const bool measured = stage_open_font(options->font) == 0;
    if (!measured)
        fprintf(stderr, "zerv-skin: %s: text is not measured\n",
                options->font ? options->font : "no font was found (see --font)");
    check_result result = {};
    check_package(options->subject, measured, &result);
    if (options->json)
        print_json(options->subject, measured, result);
    else
        print_text(options->subject, options->colours, result);
    stage_close();
    return report_status(&result.found);
}
