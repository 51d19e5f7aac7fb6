/* source: a package as the player reads it, with the place of everything in its files. */
#include "tools/zerv_skin/source.h"

#include "skin/skin_package.h"
#include "skin/skin_read.h"

#include <algorithm>
#include <cstring>

/* One part while it is read. */
struct part_watch {
    source_part *part;
    report *found;
};

static void on_file_begin(void *user, const char *file, int32_t variant)
{
    static_cast<part_watch *>(user)->part->files.push_back({file, variant, false, {}});
}

static void on_tag(void *user, const skin_tag *tag)
{
    source_tag copy = {tag->name, tag->place, tag->element, {}};
    for (const char *const *at = tag->attributes; *at; at += 2)
        copy.attributes.push_back({at[0], at[1], skin_tag_attribute_place(tag, at[0])});
    static_cast<part_watch *>(user)->part->files.back().tags.push_back(std::move(copy));
}

static void on_file_end(void *user, const char *, bool taken)
{
    static_cast<part_watch *>(user)->part->files.back().taken = taken;
}

static std::string describe(const skin_fault *fault)
{
    std::string text;
    if (fault->attribute[0] != '\0')
        text = std::string(fault->attribute) + "=\"" + fault->value + "\": ";
    return text + fault->reason;
}

static bool names_a_part_file(const source_part *part, const char *file)
{
    return std::any_of(part->files.begin(), part->files.end(),
                       [file](const source_file &known) { return known.name == file; });
}

/* A fault of an image is told at the elements that name it, which are not known yet. */
static void on_fault(void *user, const skin_fault *fault)
{
    part_watch *watch = static_cast<part_watch *>(user);
    if (fault->file[0] != '\0' && strcmp(fault->code, "package") != 0 &&
        !names_a_part_file(watch->part, fault->file)) {
        watch->part->broken.push_back({fault->file, fault->reason, fault->code});
        return;
    }
    report_add(watch->found, {report_level::error, fault->code, fault->file, fault->place.line,
                              fault->place.column, fault->element, fault->attribute, fault->value,
                              describe(fault)});
}

/* As the part orders its pages. */
static void find_pages(source_part *part)
{
    for (const source_file &file : part->files)
        if (file.taken)
            part->pages.push_back(&file);
    std::stable_sort(
        part->pages.begin(), part->pages.end(),
        [](const source_file *a, const source_file *b) { return a->variant < b->variant; });
}

static void read_part(skin_package *package, const char *name, source_part *to, report *found)
{
    part_watch watch = {to, found};
    const skin_watcher watcher = {
        .user = &watch,
        .file_begin = on_file_begin,
        .tag = on_tag,
        .file_end = on_file_end,
        .fault = on_fault,
    };
    to->name = name;
    to->part.reset(skin_read_pages(package, name, &watcher));
    to->loads = to->part && skin_load_images(package, to->part.get(), &watcher) == 0;
    find_pages(to);
}

static int note_member(skin_package *, const char *name, void *user)
{
    static_cast<source_package *>(user)->members.push_back(name);
    return 0;
}

static void tell_package(const skin_package *package, report *found)
{
    report_add(found, {report_level::error, "package", package->reason_name, 0, 0, "", "", "",
                       package->reason ? package->reason : "the package cannot be read"});
}

void source_read(const char *path, source_package *to, report *found)
{
    skin_package package;
    to->list.name = "list";
    to->play.name = "play";
    to->opens = skin_package_open(&package, path) == 0;
    if (!to->opens) {
        tell_package(&package, found);
        return;
    }
    if (skin_package_walk(&package, true, note_member, to) != 0)
        tell_package(&package, found);
    read_part(&package, "list", &to->list, found);
    read_part(&package, "play", &to->play, found);
    if (skin_package_close(&package) != 0) {
        to->list.loads = to->play.loads = false;
        report_add(found, {report_level::error, "package", "", 0, 0, "", "", "",
                           "the archive does not close"});
    }
}

const source_attribute *source_find(const source_tag &tag, const char *name)
{
    for (const source_attribute &attribute : tag.attributes)
        if (attribute.name == name)
            return &attribute;
    return nullptr;
}
