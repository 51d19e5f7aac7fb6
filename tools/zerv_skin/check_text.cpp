/* check_text: templates, and whether what they may say fits its box. */
#include "tools/zerv_skin/check_page.h"

#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "platform/font/font.h"
#include "skin/skin_table.h"
#include "tools/zerv_skin/stage.h"
#include "tools/zerv_skin/suggest.h"
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

/* The same with titles that fill any box. */
static const char long_text[] = "The Extraordinary Adventures of a Very Long Title That Never Ends";
static const stage_play_state long_play = {true,    false,   long_text, long_text, long_text,
                                           3599000, 4000000, false,     false,     100};
static const stage_play_state nothing_loaded = {false, true, nullptr, nullptr, nullptr,
                                                0,     0,    false,   false,   100};
static const stage_list_state long_list = {long_text, long_text, nullptr, 0, 0, 0, 100};

static void expand(const check_page &in, const char *format, char (&to)[1024])
{
    if (in.in_list)
        view_list_expand(format, to, sizeof(to));
    else
        play_text_expand(format, 0, to);
}

/* A token of the other screen, or one that is like it. */
static std::string describe_token(const check_page &in, const std::string &word)
{
    if (skin_find_token(word.c_str() + 1, in.in_list ? skin_on_play : skin_on_list) != 0)
        return std::string("; the ") + (in.in_list ? "play" : "list") + " screen has it";
    return suggest_text(in.in_list ? suggest_kind::list_token : suggest_kind::play_token, word);
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
            check_warn(in, tag, "format", "unknown-token",
                       "\"%s\" is not a token of the %s screen%s", word.c_str(), in.part->name,
                       describe_token(in, word).c_str());
    }
}

void check_set_moment(const check_page &in, bool loaded)
{
    if (in.in_list)
        stage_set_list(&long_list);
    else
        stage_set_play(loaded ? &long_play : &nothing_loaded);
}

/* Where letters of a width stand in a box; a box of 0 has no far side. */
static check_box_of place_letters(const skin_element &element, int32_t width)
{
    const int32_t size = element.font_size;
    check_box_of box = {element.x, element.y, width, size};
    if (element.width > 0 && width < element.width) {
        const int32_t rest = element.width - width;
        box.x += element.text_align & fb_align_center  ? rest / 2
                 : element.text_align & fb_align_right ? rest
                                                       : 0;
    } else if (element.width > 0) {
        box.width = element.width;
    }
    if (element.height > size)
        box.y += element.text_align & fb_align_middle   ? (element.height - size) / 2
                 : element.text_align & fb_align_bottom ? element.height - size
                                                        : 0;
    return box;
}

check_box_of check_text_box(const check_page &in, const skin_element &element)
{
    if (skin_kinds[element.means.kind].is_row)
        return place_letters(element, element.width);
    if (element.means.kind != skin_kind_at("text"))
        return {element.x, element.y, element.width, element.height};
    char text[1024];
    expand(in, element.format ? element.format : "", text);
    const int width = font_text_width(text, element.font_size);
    if (width == 0)
        return {element.x, element.y, 0, 0};
    return place_letters(element, width);
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
        check_warn(in, tag, "width", "text-too-wide", "\"%s\" needs %d pixels; the box has %d",
                   widest.text, widest.width, element.width);
}

void check_text(const check_page &in, const source_tag &tag, const skin_element &element)
{
    const skin_kind &kind = skin_kinds[element.means.kind];
    if (kind.one_line && element.height > 0 && element.font_size > element.height)
        check_warn(in, tag, "height", "low-box",
                   "a text of %d pixels does not fit into a height of %d", element.font_size,
                   element.height);
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
