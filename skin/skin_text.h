/* skin_text: the text of a "format", its tokens replaced. Any thread. */
#pragma once

#include "skin/skin_table.h"

#include <array>
#include <cstddef>

/* A text that grows in a fixed array; what does not fit is dropped. */
struct skin_text {
    char *to;
    size_t size; /* with the end */
    size_t used;
};

void skin_text_add(skin_text *out, const char *text);

/* Adds what a token stands for. `user` is that of skin_text_expand(). */
typedef void (*skin_insert)(skin_text *out, const void *user);
/* By the token's place; null for labels and for the tokens of other screens. */
using skin_inserts = std::array<skin_insert, skin_token_count>;

/* Whether a screen (skin_on_*) inserts something for every token that it is said to know. */
consteval bool skin_inserts_fit(const skin_inserts &inserts, uint8_t screen)
{
    for (size_t i = 1; i < skin_token_count; i++) {
        const bool wanted = (skin_tokens[i].screens & screen) && !skin_tokens[i].label;
        if (wanted != (inserts[i] != nullptr))
            return false;
    }
    return true;
}

/* Expands a format into `to`, which has room for `size` bytes and always ends. A "$" that no token
 * of the screen follows is kept. */
void skin_text_expand(const char *format, uint8_t screen, const skin_inserts &inserts,
                      const void *user, char *to, size_t size);
