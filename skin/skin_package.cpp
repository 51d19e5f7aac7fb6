/* skin_package: chooses the back end, matches names, and bounds what a member may give. */
#include "skin/skin_package.h"

#include "platform/base/str.h"
#include "skin/skin.h"

#include <cstring>
#include <strings.h>
#include <sys/stat.h>

static const char part_pattern[] = "^([a-z_]+)(-?([0-9]+))?\\.(xml|txt)$";
constexpr size_t match_slots = 4;

constinit regex_t re_pages = {};
static constinit bool pattern_ready = false; /* main thread */

/* The archive first: a folder is what does not open as one. */
static const skin_package_driver *const drivers[] = {&skin_package_zip, &skin_package_folder};

int skin_init()
{
    if (pattern_ready)
        return 0;
    if (regcomp(&re_pages, part_pattern, REG_EXTENDED) != 0)
        return -1;
    pattern_ready = true;
    return 0;
}

int skin_exit()
{
    if (pattern_ready)
        regfree(&re_pages);
    pattern_ready = false;
    return 0;
}

int skin_file_filter(const char *name, const struct stat *entry)
{
    if (S_ISDIR(entry->st_mode))
        return 1;
    const char *ext = file_get_ext(name);
    return ext && strcasecmp(ext, ".zip") == 0;
}

bool skin_match_part(const char *name, char *part, int32_t *variant)
{
    regmatch_t match[match_slots];
    if (!pattern_ready || strlen(name) >= skin_name_size ||
        regexec(&re_pages, name, match_slots, match, 0) != 0)
        return false;
    const size_t length = static_cast<size_t>(match[1].rm_eo - match[1].rm_so);
    memcpy(part, name + match[1].rm_so, length);
    part[length] = '\0';
    *variant = match[3].rm_so < 0 ? 0 : str_to_int32(name + match[3].rm_so, nullptr);
    return true;
}

/* A "\" separates folders for some archivers, and a ":" names a drive for some systems. */
static bool is_separator(char c)
{
    return c == '/' || c == '\\';
}

bool skin_name_leaves(const char *name)
{
    if (is_separator(name[0]) || (name[0] != '\0' && name[1] == ':'))
        return true;
    for (const char *at = name; *at != '\0';) {
        size_t length = 0;
        while (at[length] != '\0' && !is_separator(at[length]))
            length++;
        if (length == 2 && at[0] == '.' && at[1] == '.')
            return true;
        at += length;
        if (*at != '\0')
            at++;
    }
    return false;
}

int skin_package_open(skin_package *package, const char *path)
{
    for (const skin_package_driver *driver : drivers) {
        *package = {};
        if (!str_copy(package->path, path))
            return skin_package_fail(package, "the path is too long", "");
        const int opened = driver->open(package, path);
        if (opened > 0)
            package->driver = driver;
        if (opened != 0)
            return opened > 0 ? 0 : -1;
    }
    return skin_package_fail(package, "it is neither an archive nor a folder", "");
}

int skin_package_close(skin_package *package)
{
    const skin_package_driver *driver = package->driver;
    package->driver = nullptr;
    return driver ? driver->close(package) : 0;
}

int skin_package_walk(skin_package *package, bool deep, skin_visit visit, void *user)
{
    return package->driver->walk(package, deep, visit, user);
}

int skin_member_open(skin_package *package)
{
    package->member_reason = "the file does not open";
    return package->driver->member_open(package);
}

int skin_member_read(void *handle, void *to, unsigned size)
{
    skin_package *package = static_cast<skin_package *>(handle);
    const int got = package->driver->member_read(package, to, size);
    if (got <= 0)
        return got;
    if (static_cast<uint64_t>(got) > package->member_left)
        return -1;
    package->member_left -= static_cast<uint64_t>(got);
    return got;
}

int skin_member_close(skin_package *package)
{
    return package->driver->member_close(package);
}
