#include "skin/skin_text.h"

#include <algorithm>
#include <cassert>
#include <cstring>

static void add(skin_text *out, const char *text, size_t length)
{
    assert(out->used < out->size);
    const size_t taken = std::min(length, out->size - 1 - out->used);
    memcpy(out->to + out->used, text, taken);
    out->used += taken;
}

void skin_text_add(skin_text *out, const char *text)
{
    add(out, text, strlen(text));
}

static void insert(skin_text *out, uint8_t token, const skin_inserts &inserts, const void *user)
{
    assert(token > 0 && token < skin_token_count); /* its place 0 is no token */
    if (skin_tokens[token].label)
        add(out, skin_tokens[token].name.data(), skin_tokens[token].size);
    else
        inserts[token](out, user);
}

void skin_text_expand(const char *format, uint8_t screen, const skin_inserts &inserts,
                      const void *user, char *to, size_t size)
{
    skin_text out = {to, size, 0};
    for (;;) {
        const size_t plain = strcspn(format, "$");
        add(&out, format, plain);
        format += plain;
        if (!*format)
            break;
        format++;
        const uint8_t token = skin_find_token(format, screen);
        if (token == 0)
            add(&out, "$", 1);
        else
            insert(&out, token, inserts, user);
        format += skin_tokens[token].size;
    }
    to[out.used] = '\0';
}
