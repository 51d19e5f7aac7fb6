/* suggest: the word that was probably meant. */
#pragma once

#include <string>

enum class suggest_kind {
    element,
    attribute,
    root_attribute,
    action,
    bar_action,
    bar_type,
    condition,
    variant_condition,
    list_token,
    play_token,
};

/* The word of a kind that is nearest to another, or what is usually meant by it; "" when none is
 * near. */
std::string suggest_word(suggest_kind kind, const std::string &word);
/* The same as the end of a sentence: `; is "img" meant?`, or "". */
std::string suggest_text(suggest_kind kind, const std::string &word);
