/* The list screen over lists that note what they are asked, in a skin that the test writes. */
#pragma once

#include "support/hung.h"
#include "view/list/view_list.h"

#include "config/cfg.h"
#include "core/services/program.h"
#include "lists/record/list.h"
#include "platform/base/str.h"
#include "skin/skin.h"
#include "support/one_thread.h"
#include "support/scratch.h"
#include "support/test_device.h"
#include "view/list/view_list_state.h"
#include "view/view.h"

#include <cstring>
#include <ctime>
#include <memory>

static const hung hang_view_list(view_list, &view_list_record);

using texts = std::vector<std::string>;

/* ---- lists that note what they are asked ---- */

struct chosen_row {
    int32_t index, mode;
    bool operator==(const chosen_row &) const = default;
};

inline texts trace;
inline std::vector<chosen_row> chosen;
inline int input_result = 0, select_result = 0;
inline void (*on_input)() = nullptr;
inline void (*on_select)() = nullptr;

inline int list_input(view *, list *)
{
    trace.push_back("input");
    if (on_input)
        on_input();
    return input_result;
}

inline int list_select(view *, list *, int32_t index, int32_t mode)
{
    chosen.push_back({index, mode});
    if (on_select)
        on_select();
    return select_result;
}

/* The seven lists are one record each of the same operations; `name` tells them apart. */
template <int name> static list make_list()
{
    return {
        .init =
            [] {
                trace.push_back("init " + std::to_string(name));
                return 0;
            },
        .exit =
            [] {
                trace.push_back("exit " + std::to_string(name));
                return 0;
            },
        .input = list_input,
        .select = list_select,
        .update = nullptr,
    };
}

inline list lists[7] = {make_list<0>(), make_list<1>(), make_list<2>(), make_list<3>(),
                        make_list<4>(), make_list<5>(), make_list<6>()};
static const hung hang_list_files(list_files, &lists[0]);
static const hung hang_list_main(list_main, &lists[1]);
static const hung hang_list_library(list_library, &lists[2]);
static const hung hang_list_cur_playlist(list_cur_playlist, &lists[3]);
static const hung hang_list_playlists(list_playlists, &lists[4]);
static const hung hang_list_cfg(list_cfg, &lists[5]);
static const hung hang_list_run_once(list_run_once, &lists[6]);

inline view play_screen = {
    .init = [] { return 0; },
    .exit = [] { return 0; },
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
static const hung hang_view_play(view_play, &play_screen);

/* Shows no messages. */
inline view messages = {
    .init = [] { return 0; },
    .exit = [] { return 0; },
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
static const hung hang_overlay_msg(overlay_msg, &messages);

/* ---- skins ---- */

inline void write_skin(const std::string &folder, const std::string &elements,
                       const std::string &root = "")
{
    (void)mkdir("skins", 0755);
    (void)mkdir(folder.c_str(), 0755);
    scratch_write(folder + "/list.xml",
                  "<skin version=\"0.1\" " + root + ">" + elements + "</skin>");
}

/* Rows 30 pixels apart from y 10 on, each 20 high: `rows` of them. */
inline std::string list_of(int rows)
{
    return "<list x=\"20\" y=\"10\" width=\"200\" height=\"" +
           std::to_string((rows - 1) * 30 + 20) +
           "\" font_size=\"20\" font_color=\"#0000ff\" font_color_2=\"#ff0000\"/>";
}

inline texts numbered(uint32_t count)
{
    texts names;
    for (uint32_t i = 0; i < count; i++)
        names.push_back("row " + std::to_string(i));
    return names;
}

inline void fill(list *to, const texts &names)
{
    char **items = list_items_new(static_cast<uint32_t>(names.size()));
    for (size_t i = 0; i < names.size(); i++)
        items[i] = strdup(names[i].c_str());
    list_set_rows(to, items, static_cast<uint32_t>(names.size()));
}

/* Texts of a surface by line: y and what stands there. */
inline texts rows_drawn(const fb_surface *on)
{
    texts rows;
    for (uint32_t i = 0; i < fb_text_count(on); i++) {
        const fb_text *each = fb_text_at(on, i);
        rows.push_back(std::to_string(each->y) + " " + each->text);
    }
    return rows;
}

class view_lists : public testing::Test
{
  protected:
    void SetUp() override
    {
        folder = std::make_unique<scratch>();
        test_device_open();
        ASSERT_EQ(skin_init(), 0);
        cfg_load_default();
        cfg_modified = 0;
        trace.clear();
        chosen.clear();
        input_result = select_result = 0;
        on_input = on_select = nullptr;
        for (list &each : lists)
            each.cursor = 0;
        str_copy(list_main->title, "");
        str_copy(list_main->subtitle, "");
        input_key = {};
        view_anime_started = 0;
        view_selected = view_list;
        view_list_select(list_main);
    }
    void TearDown() override
    {
        EXPECT_EQ(view_list->exit(), 0);
        view_selected = nullptr;
        view_previous = nullptr;
        view_anime_pending = 0;
        view_anime_started = 0;
        skin_exit();
        test_device_close();
        folder.reset();
    }
    /* Opens the view on a skin of these elements, with rows in the current list. */
    static void open(const std::string &elements, uint32_t rows, const std::string &root = "")
    {
        write_skin("skins/one", elements, root);
        str_copy(cfg_skin_list, "skins/one");
        ASSERT_EQ(view_list->init(), 0);
        fill(list_main, numbered(rows));
        trace.clear();
    }
    static texts draw()
    {
        view_list->redraw = 1;
        view_list->updated = 0;
        EXPECT_EQ(view_list->draw(view_list, nullptr), 0);
        EXPECT_EQ(view_list->updated, 1);
        return rows_drawn(view_list->surface);
    }
    /* One call of the view's input with these words of the key report. */
    static int keys(uint32_t pressed, uint32_t repeat)
    {
        input_key = {.pressed = pressed, .released = 0, .repeat = repeat, .held = 0};
        view_list->key_checked = 1;
        view_list->touch_checked = 0;
        const int result = view_list->input(view_list);
        view_list->key_checked = 0;
        return result;
    }
    static int touch(int32_t type, int32_t x, int32_t y)
    {
        input_touch_type = type;
        input_touch_x = x;
        input_touch_y = y;
        view_list->key_checked = 0;
        view_list->touch_checked = 1;
        const int result = view_list->input(view_list);
        view_list->touch_checked = 0;
        return result;
    }
    static int press(int32_t x, int32_t y) { return touch(touch_type_press, x, y); }
    static int move(int32_t x, int32_t y) { return touch(touch_type_move, x, y); }
    static int release(int32_t x, int32_t y) { return touch(touch_type_release, x, y); }
    static uint16_t pixel(int32_t x, int32_t y) { return test_pixel(view_list->surface, x, y); }
    std::unique_ptr<scratch> folder;
};
