/* check_text: templates, and whether what they may say fits its box. */
#include "tools/zerv_skin/check_page.h"

#include "platform/base/str.h"
#include "platform/font/font.h"
#include "skin/skin_table.h"
#include "tools/zerv_skin/stage.h"
#include "view/list/view_list_state.h"
#include "view/play/play_text.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

constexpr size_t longest_told = 40; /* bytes of a token */
constexpr size_t most_told = 16;    /* unknown tokens of a text */

/* A tag may have any length and ends in an ellipsis; a box that cannot show as much as these tells
 * too little. Times and the battery take their widest values. */
static const stage_play_state play_samples[] = {
    {true, false, "Northern Light", "Harbour Band", "Songs of Rain", 3599000, 4000000, false, false,
     100},
    {true, false, "북쪽 바다의 빛", "달빛 악단", "비의 노래들", 3599000, 4000000, false, false,
     100},
    {true, false, "北方大海之歌", "月光乐团", "雨夜之歌", 3599000, 4000000, false, false, 100},
    {false, false, nullptr, nullptr, nullptr, 0, 0, false, false, 100},
};

static const stage_list_state list_samples[] = {
    {"Current Playlist", "Playlist (128 曲目)", nullptr, 0, 0, 0, 100},
    {"当前播放列表", "/media/music", nullptr, 0, 0, 0, 100},
};

static void expand(const check_page &in, const char *format, char (&to)[1024])
{
    if (in.in_list)
        view_list_expand(format, to, sizeof(to));
    else
        play_text_expand(format, 0, to);
}

static void check_tokens(const check_page &in, const source_tag &tag, const char *format)
{
    std::set<std::string> told;
    const char *at = strchr(format, '$');
    for (; at && told.size() < most_told; at = strchr(at + 1, '$')) {
        if (skin_find_token(at + 1, in.in_list ? skin_on_list : skin_on_play) != 0)
            continue;
        const size_t size = 1 + strcspn(at + 1, "$ \t:/-()[],.");
        const std::string word(at, std::min(size, longest_told));
        if (told.insert(word).second)
            check_warn(in, tag, "format", "unknown-token", "\"%s\" is no token of the %s screen",
                       word.c_str(), in.part->name);
    }
}

struct widest_text {
    char text[1024];
    int width;
};

static void measure(const check_page &in, const skin_element &element, widest_text *widest)
{
    char text[1024];
    expand(in, element.format, text);
    const int width = font_text_width(text, element.font_size);
    if (width <= widest->width)
        return;
    widest->width = width;
    memcpy(widest->text, text, sizeof(text));
}

static widest_text find_widest(const check_page &in, const skin_element &element)
{
    widest_text widest = {};
    if (in.in_list) {
        for (const stage_list_state &sample : list_samples) {
            stage_set_list(&sample);
            measure(in, element, &widest);
        }
        return widest;
    }
    for (const stage_play_state &sample : play_samples) {
        stage_set_play(&sample);
        measure(in, element, &widest);
    }
    return widest;
}

static void check_width(const check_page &in, const source_tag &tag, const skin_element &element)
{
    const widest_text widest = find_widest(in, element);
    if (widest.width > element.width)
        check_warn(in, tag, "width", "text-too-wide", "\"%s\" takes %d pixels, the box has %d",
                   widest.text, widest.width, element.width);
}

void check_text(const check_page &in, const source_tag &tag, const skin_element &element)
{
    const skin_kind &kind = skin_kinds[element.means.kind];
    if (kind.one_line && element.height > 0 && element.font_size > element.height)
        check_warn(in, tag, "height", "low-box", "a text of %d pixels stands in a height of %d",
                   element.font_size, element.height);
    if (skin_kind_reads(kind, "font_size") && element.font_size < 0)
        check_warn(in, tag, "font_size", "negative-size", "a font size below 0 draws nothing");
    if (!skin_kind_reads(kind, "format"))
        return;
    if (!element.format || element.format[0] == '\0') {
        check_warn(in, tag, "", "no-format", "a text without format draws nothing");
        return;
    }
    check_tokens(in, tag, element.format);
    if (element.width > 0 && element.font_size > 0 && *in.texts_left > 0) {
        --*in.texts_left;
        check_width(in, tag, element);
    }
}
