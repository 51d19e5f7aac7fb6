/* cli_words: zerv-skin words, everything that a part file may say. */
#include "skin/skin_table.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/report.h"

#include <cstdio>
#include <string>
#include <vector>

/* What is told about a name, for people and as JSON. */
struct fact {
    const char *name;
    std::string text, json;
};

struct word_entry {
    std::string name;
    std::vector<fact> facts;
};

struct table {
    const char *name, *title;
    std::vector<word_entry> entries;
};

static fact make_text(const char *name, const std::string &text)
{
    return {name, text, report_json_text(text)};
}

static fact make_flag(const char *name, bool flag)
{
    return {name, flag ? "yes" : "no", flag ? "true" : "false"};
}

static fact make_list(const char *name, const std::vector<std::string> &words)
{
    fact made = {name, "", "["};
    for (const std::string &word : words) {
        made.text += (made.text.empty() ? "" : " ") + word;
        made.json += (made.json == "[" ? "" : ", ") + report_json_text(word);
    }
    made.json += "]";
    return made;
}

static fact make_screens(uint8_t screens)
{
    std::vector<std::string> words;
    if (screens & skin_on_list)
        words.push_back("list");
    if (screens & skin_on_play)
        words.push_back("play");
    return make_list("screens", words);
}

static table read_attributes(const char *name, const char *title,
                             std::span<const skin_attribute> attributes)
{
    table made = {name, title, {}};
    for (const skin_attribute &each : attributes) {
        word_entry row = {each.name, {make_text("value", each.kind->name)}};
        if (each.standard != 0)
            row.facts.push_back(make_text("standard", std::to_string(each.standard)));
        made.entries.push_back(row);
    }
    return made;
}

static table read_align_words()
{
    table made = {"align", "Words of text_align", {}};
    for (const skin_align_word &each : skin_align_words)
        made.entries.push_back({each.name, {}});
    return made;
}

static table read_kinds()
{
    table made = {"elements", "Elements", {}};
    for (const skin_kind &kind : skin_kinds) {
        if (!*kind.name)
            continue;
        std::vector<std::string> attributes, actions;
        for (const skin_attribute &each : skin_element_attributes)
            if (skin_kind_reads(kind, each.name))
                attributes.push_back(each.name);
        for (const skin_word &word : kind.actions.subspan(1))
            if (word.screens & kind.screens)
                actions.push_back(word.name);
        made.entries.push_back({kind.name,
                                {make_screens(kind.screens), make_list("attributes", attributes),
                                 make_list("actions", actions)}});
    }
    return made;
}

static table read_types()
{
    table made = {"types", "Types of bars", {}};
    for (const skin_bar_type &each : skin_bar_types)
        if (each.draw)
            made.entries.push_back(
                {each.name,
                 {make_flag("vertical", each.vertical), make_flag("draggable", each.draggable)}});
    return made;
}

static table read_bar_actions()
{
    table made = {"bar_actions", "Actions of bars", {}};
    for (const skin_word &each : skin_bar_actions)
        if (each.screens)
            made.entries.push_back(
                {each.name, {make_screens(each.screens), make_flag("dragged", each.dragged)}});
    return made;
}

static table read_presses()
{
    table made = {"actions", "Actions of other elements", {}};
    for (const skin_word &each : skin_presses)
        if (each.screens)
            made.entries.push_back({each.name, {make_screens(each.screens)}});
    return made;
}

static table read_conditions()
{
    table made = {"conditions", "Words of show and hide", {}};
    for (const skin_word &each : skin_conditions)
        if (each.screens)
            made.entries.push_back(
                {each.name, {make_screens(each.screens), make_flag("variant", each.of_variant)}});
    return made;
}

static table read_tokens()
{
    table made = {"tokens", "Tokens of format", {}};
    for (const skin_token &each : skin_tokens)
        if (each.screens)
            made.entries.push_back({"$" + std::string(each.name), {make_screens(each.screens)}});
    return made;
}

static std::vector<table> read_tables()
{
    return {read_attributes("root_attributes", "Attributes of the root", skin_root_attributes),
            read_attributes("attributes", "Attributes of elements", skin_element_attributes),
            read_align_words(),
            read_kinds(),
            read_types(),
            read_bar_actions(),
            read_presses(),
            read_conditions(),
            read_tokens()};
}

static void print_json(const std::vector<table> &tables)
{
    const char *before = "{\n";
    for (const table &each : tables) {
        printf("%s  \"%s\": [", before, each.name);
        const char *separator = "\n";
        for (const word_entry &row : each.entries) {
            printf("%s    {\"name\": %s", separator, report_json_text(row.name).c_str());
            for (const fact &told : row.facts)
                printf(", \"%s\": %s", told.name, told.json.c_str());
            printf("}");
            separator = ",\n";
        }
        printf("\n  ]");
        before = ",\n";
    }
    printf("\n}\n");
}

static void print_text(const std::vector<table> &tables)
{
    for (const table &each : tables) {
        printf("%s%s\n", &each == tables.data() ? "" : "\n", each.title);
        for (const word_entry &row : each.entries) {
            printf("  %s", row.name.c_str());
            for (const fact &told : row.facts)
                printf("%s %s: %s", &told == row.facts.data() ? " -" : ";", told.name,
                       told.text.c_str());
            printf("\n");
        }
    }
}

int cli_words(const cli_options *options)
{
    const std::vector<table> tables = read_tables();
    if (options->json)
        print_json(tables);
    else
        print_text(tables);
    return 0;
}
