/* words: what elements, actions and conditions may be called. */
#include "tools/zerv_skin/words.h"

#include <cstddef>
#include <cstring>

static constexpr words_entry elements[] = {
    {"img", words_in_both},    {"button", words_in_both},   {"rect", words_in_both},
    {"scroll", words_in_both}, {"text", words_in_both},     {"list", words_in_list},
    {"item", words_in_list},   {"item_sel", words_in_list}, {"album_cover", words_in_play},
    {"lyrics", words_in_play},
};

static constexpr words_entry actions[] = {
    {"play", words_in_play}, {"pause", words_in_play}, {"stop", words_in_play},
    {"prev", words_in_play}, {"next", words_in_play},  {"list", words_in_play},
};

static constexpr words_entry bar_actions[] = {
    {"battery", words_in_both},
    {"list", words_in_list},
    {"play", words_in_play},
};

static constexpr const char *conditions[] = {"play", "pause", "album_cover", "lyrics"};
static constexpr const char *variant_conditions[] = {"album_cover", "lyrics"};

template <size_t count>
static const words_entry *find(const words_entry (&table)[count], const char *word)
{
    for (const words_entry &entry : table)
        if (strcmp(entry.word, word) == 0)
            return &entry;
    return nullptr;
}

template <size_t count> static bool has(const char *const (&table)[count], const char *word)
{
    for (const char *entry : table)
        if (strcmp(entry, word) == 0)
            return true;
    return false;
}

const words_entry *words_find_element(const char *name)
{
    return find(elements, name);
}

const words_entry *words_find_action(const char *name)
{
    return find(actions, name);
}

const words_entry *words_find_bar_action(const char *name)
{
    return find(bar_actions, name);
}

bool words_bar_is_dragged(const char *action, unsigned part)
{
    return strcmp(action, part == words_in_list ? "list" : "play") == 0;
}

bool words_is_condition(const char *word)
{
    return has(conditions, word);
}

bool words_is_variant_condition(const char *word)
{
    return has(variant_conditions, word);
}

/* Words other than these two demand nothing of a track. */
static bool word_allows(const char *word, bool cover, bool lyrics, bool wanted)
{
    if (!word)
        return true;
    if (strcmp(word, "album_cover") == 0)
        return cover == wanted;
    return strcmp(word, "lyrics") != 0 || lyrics == wanted;
}

bool words_variant_fits(const char *show, const char *hide, bool cover, bool lyrics)
{
    return word_allows(show, cover, lyrics, true) && word_allows(hide, cover, lyrics, false);
}
