/* skin_value: attributes of part files and the values they take. Any thread. */
#pragma once

#include <cstddef>

/* A way to read values. */
struct skin_value_kind {
    const char *code;   /* for a watcher: what is wrong with a value that is refused */
    const char *reason; /* the same in words */
    /* Puts the value into its field. -1 when it has not this form, or memory runs out. */
    int (*read)(void *field, const char *value);
};

struct skin_attribute {
    const char *name;
    const skin_value_kind *kind;
    size_t offset; /* of the field, in a skin_page or a skin_element */
};

/* The attribute of the root tag, or of any other tag; null when the name means nothing. */
const skin_attribute *skin_attribute_of_page(const char *name);
const skin_attribute *skin_attribute_of_element(const char *name);
