/* source: a package as the player reads it, with the place of everything in its files. */
#pragma once

#include "platform/base/owner.h"
#include "skin/skin.h"
#include "skin/skin_watch.h"
#include "tools/zerv_skin/report.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
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

/* An image that the player could not take. */
struct source_broken_image {
    std::string name, reason;
    std::string code;
};

/* Nested roots and attributes that mean nothing cost the player nothing, so there may be any number
 * of them; no more are kept of a part than the report can tell. */
constexpr uint32_t source_limit_odd = 2 * report_limit;

struct source_part {
    const char *name;
    owner<skin_part, skin_free_part> part; /* null when no file parses */
    bool loads;                            /* the player takes it */
    std::vector<source_file> files;        /* in the order of the package */
    std::vector<const source_file *> pages;
    std::vector<source_broken_image> broken;
    uint32_t odd; /* nested roots and unknown attributes kept */
};

struct source_package {
    bool opens;
    std::vector<std::string> members; /* every file, as far as the walk came */
    std::unordered_set<std::string> names;
    /* Members by their names as source_fold() has them: one of those that differ in case only. */
    std::unordered_map<std::string, std::string> folded;
    source_part list, play;
};

/* Reads a package; what the player leaves out becomes an error of the report. */
void source_read(const char *path, source_package *to, report *found);
bool source_has_member(const source_package &package, const std::string &name);
/* A name in lower case, with "/" for "\\" and without "./" in front. */
std::string source_fold(const std::string &name);
/* The attribute of a tag, null when it is absent. */
const source_attribute *source_find(const source_tag &tag, const char *name);
