/* key_name: what the keys of the player are called in files. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct key_name {
    const char *name; /* "page_up" */
    uint32_t mask;    /* of key.h */
};

/* All of them, in the order in which a person would be asked for them. */
extern const key_name key_names[];
extern const size_t key_name_count;

/* The key called so, without regard to case; 0 when there is none. */
uint32_t key_name_find(const char *name, size_t length);
