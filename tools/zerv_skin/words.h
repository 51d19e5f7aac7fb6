/* words: what elements, actions and conditions may be called. */
#pragma once

/* Parts in which a word means something. */
constexpr unsigned words_in_list = 1, words_in_play = 2, words_in_both = 3;

struct words_entry {
    const char *word;
    unsigned parts;
};

/* Elements that a screen draws or reads. Null when none has the name. */
const words_entry *words_find_element(const char *name);
/* What a touch does on a plain element. */
const words_entry *words_find_action(const char *name);
/* What a bar shows. */
const words_entry *words_find_bar_action(const char *name);
/* True when dragging such a bar does something in that part. */
bool words_bar_is_dragged(const char *action, unsigned part);
/* Conditions of an element, and those that a variant may have. */
bool words_is_condition(const char *word);
bool words_is_variant_condition(const char *word);
/* Whether a variant with these words (null: none) may be used for a track. */
bool words_variant_fits(const char *show, const char *hide, bool cover, bool lyrics);
