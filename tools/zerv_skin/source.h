/* source: a package as the player reads it, with the place of everything in its files. */
#pragma once

#include "platform/owner.h"
#include "skin/skin.h"
#include "skin/skin_watch.h"
#include "tools/zerv_skin/report.h"

#include <cstdint>
#include <string>
#include <vector>

struct source_attribute {
    std::string name, value;
    skin_place place;
};

struct source_tag {
    std::string name;
    skin_place place;
    int64_t element; /* index in the page, -1 for the root */
    std::vector<source_attribute> attributes;
};

struct source_file {
    std::string name;
    int32_t variant;
    bool taken; /* it is a page of the part */
    std::vector<source_tag> tags;
};

/* An image that the player could not decode. */
struct source_broken_image {
    std::string name, reason;
    std::string code;
};

struct source_part {
    const char *name;
    owner<skin_part, skin_free_part> part; /* null when no file parses */
    bool loads;                            /* the player takes it */
    std::vector<source_file> files;        /* in the order of the package */
    std::vector<const source_file *> pages;
    std::vector<source_broken_image> broken;
};

struct source_package {
    bool opens;
    std::vector<std::string> members; /* every file, as far as the walk came */
    source_part list, play;
};

/* Reads a package; what the player leaves out becomes an error of the report. */
void source_read(const char *path, source_package *to, report *found);
/* The attribute of a tag, null when it is absent. */
const source_attribute *source_find(const source_tag &tag, const char *name);
