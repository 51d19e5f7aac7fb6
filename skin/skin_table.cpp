/* skin_table: finds names in the tables. */
#include "skin/skin_table.h"

#include <cstring>

/* Every word of a list is the name of an attribute. */
static consteval bool are_attributes(std::string_view list)
{
    while (!list.empty()) {
        const std::string_view word = list.substr(0, list.find(' '));
        bool known = false;
        for (const skin_attribute &each : skin_element_attributes)
            known = known || word == each.name;
        if (!known)
            return false;
        list.remove_prefix(word.size() == list.size() ? word.size() : word.size() + 1);
    }
    return true;
}

static consteval bool all_kinds_name_attributes()
{
    for (const skin_kind &kind : skin_kinds)
        if (!are_attributes(kind.attributes))
            return false;
    return are_attributes(skin_shared_attributes);
}

static_assert(all_kinds_name_attributes());
static_assert(skin_kind_count < 256 && skin_token_count < 256); /* places are bytes */

template <typename entry> static uint8_t find_place(std::span<const entry> table, const char *name)
{
    for (size_t i = 1; name && i < table.size(); i++)
        if (strcmp(table[i].name, name) == 0)
            return static_cast<uint8_t>(i);
    return 0;
}

static const skin_attribute *find_attribute(std::span<const skin_attribute> table, const char *name)
{
    for (const skin_attribute &each : table)
        if (strcmp(each.name, name) == 0)
            return &each;
    return nullptr;
}

const skin_attribute *skin_attribute_of_page(const char *name)
{
    return find_attribute(skin_root_attributes, name);
}

const skin_attribute *skin_attribute_of_element(const char *name)
{
    return find_attribute(skin_element_attributes, name);
}

static bool has_word(std::string_view list, std::string_view word)
{
    while (!list.empty()) {
        const std::string_view first = list.substr(0, list.find(' '));
        if (first == word)
            return true;
        list.remove_prefix(first.size() == list.size() ? first.size() : first.size() + 1);
    }
    return false;
}

bool skin_kind_reads(const skin_kind &kind, std::string_view attribute)
{
    return has_word(kind.attributes, attribute) || has_word(skin_shared_attributes, attribute);
}

uint8_t skin_find_kind(const char *name)
{
    return find_place<skin_kind>(skin_kinds, name);
}

uint8_t skin_find_condition(const char *name)
{
    return find_place<skin_word>(skin_conditions, name);
}

uint8_t skin_find_token(const char *text, uint8_t screen)
{
    for (size_t i = 1; i < skin_token_count; i++) {
        const skin_token &token = skin_tokens[i];
        if ((token.screens & screen) && strncmp(token.name.data(), text, token.size) == 0)
            return static_cast<uint8_t>(i);
    }
    return 0;
}

skin_meaning skin_look_up(const skin_element *element)
{
    const uint8_t kind = skin_find_kind(element->name);
    return {
        .looked_up = true,
        .kind = kind,
        .type = find_place<skin_bar_type>(skin_bar_types, element->type),
        .action = find_place(skin_kinds[kind].actions, element->action),
        .show = skin_find_condition(element->show),
        .hide = skin_find_condition(element->hide),
    };
}

bool skin_page_fits(const skin_page *page, skin_condition_holds holds, const void *user)
{
    if (skin_conditions[page->show_means].of_variant && !holds(page->show_means, user))
        return false;
    return !skin_conditions[page->hide_means].of_variant || !holds(page->hide_means, user);
}
