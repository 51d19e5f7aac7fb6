/* Packages for zerv-skin check. */
#pragma once

#include "tools/zerv_skin/check.h"

#include "skin/skin_package.h"
#include "skin/skin_parse.h"
#include "skin/skin_read.h"
#include "tools/zerv_skin/stage.h"
#include "unit/skin/skin_fixture.h"

#include <chrono>
#include <cstring>
#include <random>
#include <sys/resource.h>

struct zerv_skin_check : skin_test {
    void SetUp() override
    {
        skin_test::SetUp();
        ASSERT_EQ(stage_open(), 0);
        ASSERT_EQ(stage_open_font(nullptr), 0) << "the font of the packages list is not there";
    }
    void TearDown() override
    {
        stage_close();
        skin_test::TearDown();
    }
};

inline check_result check(const char *path)
{
    check_result result = {};
    check_package(path, true, &result);
    return result;
}

inline int status_of(const char *path)
{
    const check_result result = check(path);
    return report_status(&result.found);
}

inline std::string to_text(const check_result &result)
{
    std::string text;
    for (const report_finding &it : result.found.findings)
        text += it.file + ":" + std::to_string(it.line) + ":" + std::to_string(it.column) + " " +
                it.code + ": " + it.message + "\n";
    return text;
}

/* A skin without a flaw; `play` and `list` stand on line 4 of their files. */
inline members good_skin(const std::string &play = "", const std::string &list = "")
{
    return {
        {"list.xml", "<?xml version=\"1.0\"?>\n"
                     "<skin version=\"0.1\">\n"
                     "<list x=\"0\" y=\"0\" width=\"280\" height=\"200\" font_size=\"24\"/>\n" +
                         list + "\n</skin>\n"},
        {"play.xml", "<?xml version=\"1.0\"?>\n"
                     "<skin version=\"0.1\">\n"
                     "<img src=\"a.png\" x=\"0\" y=\"0\"/>\n" +
                         play + "\n</skin>\n"},
        {"a.png", make_png(30, 30)},
        {"broken.png", make_png(30, 30).substr(0, 60)},
    };
}

inline void set_member(members *of, const std::string &name, const std::string &content)
{
    for (auto &[known, old] : *of)
        if (known == name) {
            old = content;
            return;
        }
    of->push_back({name, content});
}

inline check_result check_members(const members &files)
{
    (void)file_remove("s.zip");
    make_zip("s.zip", files);
    return check("s.zip");
}
