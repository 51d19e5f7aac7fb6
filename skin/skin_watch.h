/* skin_watch: what a program for skin makers may see while a package is read.
 *
 * The player watches nothing and passes null. A watcher changes nothing about what is read: it is
 * told why a file is left out, and where in the file everything stands. Slots may be null. Texts
 * belong to the reader and last for the call. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Lines and columns (characters) count from 1; line 0 means the file as a whole. */
struct skin_place {
    uint32_t line, column;
};

/* A start tag that was accepted. */
struct skin_tag {
    const char *name;              /* not cut */
    const char *const *attributes; /* name, value, name, value, ..., null */
    skin_place place;              /* of its "<" */
    int64_t element;               /* index in the page, -1 for "skin" */
    uint32_t depth;                /* 0 for the root */
    const char *text;              /* the tag as it stands in the file, not terminated */
    size_t text_size;
};

/* Why something is not used. */
struct skin_fault {
    const char *code; /* a word for programs: "bad-number", "xml", ... */
    const char *file; /* member of the package, "" for the package itself */
    skin_place place;
    const char *element;   /* tag, "" when no element is meant */
    const char *attribute; /* "" when no attribute is meant */
    const char *value;     /* what was found, "" when there is none */
    const char *reason;    /* for people: a sentence, or what the value fails to be */
};

struct skin_watcher {
    void *user;
    /* A part file is about to be parsed; tags and faults that follow are its own. */
    void (*file_begin)(void *user, const char *file, int32_t variant) = nullptr;
    void (*tag)(void *user, const skin_tag *tag) = nullptr;
    /* taken: it became a page of the part. */
    void (*file_end)(void *user, const char *file, bool taken) = nullptr;
    void (*fault)(void *user, const skin_fault *fault) = nullptr;
};

/* Where an attribute of a tag begins; the tag's own place when it is not found. */
skin_place skin_tag_attribute_place(const skin_tag *tag, const char *attribute);
/* Where the `count` attributes of a tag begin, in their order; the tag's own place for those that
 * do not stand in it. */
void skin_tag_attribute_places(const skin_tag *tag, skin_place *places, size_t count);
/* Where the tag refers to the first entity that its file would have to declare. */
skin_place skin_tag_reference_place(const skin_tag *tag);
/* Reports to a watcher that may be null. */
void skin_watch_fault(const skin_watcher *watcher, const skin_fault *fault);
/* The same for a fault that no element has. */
void skin_watch_file(const skin_watcher *watcher, const char *code, const char *file,
                     skin_place place, const char *reason);
