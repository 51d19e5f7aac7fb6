/* check_names: members that look like part files and are none, part files that no screen asks for,
 * and names that stand twice. */
#include "tools/zerv_skin/check_page.h"

#include "platform/file/file.h"
#include "skin/skin_package.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

static void warn(report *found, const std::string &file, const char *code, const std::string &text)
{
    report_add(found, {report_level::warning, code, file, 0, 0, "", "", "", text});
}

static std::string base_name(const std::string &name)
{
    const size_t slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

/* Without what keeps a name from being one: folders, capitals, and text in front of "list". */
static bool looks_like_part(const std::string &name)
{
    const std::string base = base_name(name);
    const char *ext = file_get_ext(base.c_str());
    if (!ext || (strcasecmp(ext, ".xml") != 0 && strcasecmp(ext, ".txt") != 0))
        return false;
    std::string stem(base.c_str(), ext);
    std::transform(stem.begin(), stem.end(), stem.begin(),
                   [](unsigned char c) { return static_cast<char>(tolower(c)); });
    return stem.find("list") != std::string::npos || stem.find("play") != std::string::npos;
}

static void check_name(const std::string &name, report *found)
{
    char part[skin_name_size];
    int32_t variant = 0;
    if (skin_match_part(name.c_str(), part, &variant)) {
        const char *ext = file_get_ext(name.c_str());
        const bool known = strcmp(part, "list") == 0 || strcmp(part, "play") == 0;
        if (!known && strcmp(ext, ".xml") == 0)
            warn(found, name, "unknown-part",
                 "there is no part \"" + std::string(part) +
                     "\"; the parts are \"list\" and \"play\"");
    } else if (looks_like_part(name)) {
        warn(found, name, "part-name",
             name.find('/') != std::string::npos
                 ? "part files belong at the top of the package"
                 : "this is not a part file: those are called list.xml, list-1.xml, play.txt, ...");
    }
}

/* The player writes nothing from a name; a program that unpacks the skin would. */
static void check_place(const std::string &name, report *found)
{
    if (skin_name_leaves(name.c_str()))
        warn(found, name, "odd-name",
             "this name leads out of the package; is it meant to be there?");
}

static void check_twice(const source_package &package, report *found)
{
    std::vector<std::string> sorted = package.members;
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 1; i < sorted.size(); i++)
        if (sorted[i] == sorted[i - 1])
            warn(found, sorted[i], "duplicate-name", "the archive contains this name twice");
}

void check_names(const source_package &package, report *found)
{
    for (const std::string &name : package.members) {
        check_name(name, found);
        check_place(name, found);
    }
    check_twice(package, found);
}
