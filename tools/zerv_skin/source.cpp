/* source: a package as the player reads it, with the place of everything in its files. */
#include "tools/zerv_skin/source.h"

#include "skin/skin_package.h"
#include "skin/skin_read.h"
#include "skin/skin_table.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <unistd.h>

/* One part while it is read. */
struct part_watch {
    source_part *part;
    report *found;
    bool images; /* its files are read, its images are being decoded */
};

static void on_file_begin(void *user, const char *file, int32_t variant)
{
    static_cast<part_watch *>(user)->part->files.push_back({file, variant, false, {}});
}

/* False when enough of the kind is known. */
static bool take_odd(source_part *part)
{
    return part->odd < source_limit_odd && ++part->odd > 0;
}

static bool means_nothing(const skin_tag *tag, const char *attribute)
{
    return tag->element < 0 ? !skin_attribute_of_page(attribute)
                            : !skin_attribute_of_element(attribute);
}

static void on_tag(void *user, const skin_tag *tag)
{
    source_part *part = static_cast<part_watch *>(user)->part;
    if (tag->element < 0 && tag->depth > 0 && !take_odd(part))
        return;
    size_t count = 0;
    while (tag->attributes[2 * count])
        count++;
    std::vector<skin_place> places(count);
    skin_tag_attribute_places(tag, places.data(), count);
    source_tag copy = {tag->name, tag->place, tag->element, {}};
    for (size_t i = 0; i < count; i++) {
        const char *name = tag->attributes[2 * i], *value = tag->attributes[2 * i + 1];
        if (!means_nothing(tag, name) || take_odd(part))
            copy.attributes.push_back({name, value, places[i]});
    }
    part->files.back().tags.push_back(std::move(copy));
}

static void on_file_end(void *user, const char *, bool taken)
{
    static_cast<part_watch *>(user)->part->files.back().taken = taken;
}

static std::string describe(const skin_fault *fault)
{
    std::string text;
    if (fault->attribute[0] != '\0')
        text = std::string(fault->attribute) + "=\"" + fault->value + "\" ";
    return text + fault->reason;
}

/* A fault of an image is told at the elements that name it. */
static void on_fault(void *user, const skin_fault *fault)
{
    part_watch *watch = static_cast<part_watch *>(user);
    if (watch->images && strcmp(fault->code, "package") != 0) {
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
    part_watch watch = {to, found, false};
    const skin_watcher watcher = {
        .user = &watch,
        .file_begin = on_file_begin,
        .tag = on_tag,
        .file_end = on_file_end,
        .fault = on_fault,
    };
    to->name = name;
    to->part.reset(skin_read_pages(package, name, &watcher));
    watch.images = true;
    to->loads = to->part && skin_load_images(package, to->part.get(), &watcher) == 0;
    find_pages(to);
}

static int note_member(skin_package *, const char *name, void *user)
{
    source_package *to = static_cast<source_package *>(user);
    to->members.push_back(name);
    to->names.insert(name);
    to->folded.emplace(source_fold(name), name);
    return 0;
}

static void tell_package(const skin_package *package, report *found)
{
    report_add(found, {report_level::error, "package", package->reason_name, 0, 0, "", "", "",
                       package->reason ? package->reason : "the package cannot be read"});
}

static void tell_missing(report *found)
{
    report_add(found, {report_level::error, "package", "", 0, 0, "", "", "", strerror(errno)});
}

void source_read(const char *path, source_package *to, report *found)
{
    skin_package package;
    to->list.name = "list";
    to->play.name = "play";
    to->opens = skin_package_open(&package, path) == 0;
    if (!to->opens) {
        access(path, R_OK) == 0 ? tell_package(&package, found) : tell_missing(found);
        return;
    }
    if (skin_package_walk(&package, true, note_member, to) != 0)
        tell_package(&package, found);
    if (package.left_out)
        report_add(found, {report_level::warning, "left-out", package.left_out_name, 0, 0, "", "",
                           "", std::string(package.left_out) + ": the player leaves it out"});
    read_part(&package, "list", &to->list, found);
    read_part(&package, "play", &to->play, found);
    if (skin_package_close(&package) != 0) {
        to->list.loads = to->play.loads = false;
        report_add(found, {report_level::error, "package", "", 0, 0, "", "", "",
                           "the archive cannot be closed"});
    }
}

bool source_has_member(const source_package &package, const std::string &name)
{
    return package.names.count(name) > 0;
}

std::string source_fold(const std::string &name)
{
    std::string folded;
    for (const char c : name)
        folded += c == '\\' ? '/' : static_cast<char>(tolower(static_cast<unsigned char>(c)));
    while (folded.compare(0, 2, "./") == 0)
        folded.erase(0, 2);
    return folded;
}

const source_attribute *source_find(const source_tag &tag, const char *name)
{
    for (const source_attribute &attribute : tag.attributes)
        if (attribute.name == name)
            return &attribute;
    return nullptr;
}
