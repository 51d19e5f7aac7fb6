/* skin_value: the values that attributes of part files take. Any thread. */
#pragma once

/* A way to read values. */
struct skin_value_kind {
    const char *name;   /* of the form */
    const char *code;   /* for a watcher: what is wrong with a value that is refused */
    const char *reason; /* the same in words */
    /* Puts the value into its field. -1 when it has not this form, or memory runs out. */
    int (*read)(void *field, const char *value);
};

extern const skin_value_kind skin_value_number, skin_value_colour, skin_value_text,
    skin_value_align, skin_value_version;
