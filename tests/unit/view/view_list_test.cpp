#include "view/view_list.h"

#include "config/cfg.h"
#include "core/program.h"
#include "lists/list.h"
#include "platform/str.h"
#include "skin/skin.h"
#include "support/scratch.h"
#include "support/test_device.h"
#include "view/view.h"
#include "view/view_list_state.h"

#include <cstring>
#include <ctime>
#include <memory>

using texts = std::vector<std::string>;

/* ---- lists that note what they are asked ---- */

struct chosen_row {
    int32_t index, mode;
    bool operator==(const chosen_row &) const = default;
};

static texts trace;
static std::vector<chosen_row> chosen;
static int input_result = 0, select_result = 0;
static void (*on_input)() = nullptr;
static void (*on_select)() = nullptr;

static int list_input(view *, list *)
{
    trace.push_back("input");
    if (on_input)
        on_input();
    return input_result;
}

static int list_select(view *, list *, int32_t index, int32_t mode)
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
        .cursor = 0,
        .items = nullptr,
        .count = 0,
        .title = "",
        .subtitle = "",
        .reserved = 0,
    };
}

static list lists[7] = {make_list<0>(), make_list<1>(), make_list<2>(), make_list<3>(),
                        make_list<4>(), make_list<5>(), make_list<6>()};
list *list_files = &lists[0];
list *list_main = &lists[1];
list *list_library = &lists[2];
list *list_cur_playlist = &lists[3];
list *list_playlists = &lists[4];
list *list_cfg = &lists[5];
list *list_run_once = &lists[6];

static view play_screen = {
    .init = [] { return 0; },
    .exit = [] { return 0; },
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
view *view_play = &play_screen;

/* ---- skins ---- */

static void write_skin(const std::string &folder, const std::string &elements,
                       const std::string &root = "")
{
    (void)mkdir("skins", 0755);
    (void)mkdir(folder.c_str(), 0755);
    scratch_write(folder + "/list.xml",
                  "<skin version=\"0.1\" " + root + ">" + elements + "</skin>");
}

/* Rows 30 pixels apart from y 10 on, each 20 high: `rows` of them. */
static std::string list_of(int rows)
{
    return "<list x=\"20\" y=\"10\" width=\"200\" height=\"" +
           std::to_string((rows - 1) * 30 + 20) +
           "\" font_size=\"20\" font_color=\"#0000ff\" font_color_2=\"#ff0000\"/>";
}

static texts numbered(uint32_t count)
{
    texts names;
    for (uint32_t i = 0; i < count; i++)
        names.push_back("row " + std::to_string(i));
    return names;
}

static void fill(list *to, const texts &names)
{
    char **items = list_items_new(static_cast<uint32_t>(names.size()));
    for (size_t i = 0; i < names.size(); i++)
        items[i] = strdup(names[i].c_str());
    list_set_rows(to, items, static_cast<uint32_t>(names.size()));
}

/* Texts of a surface by line: y and what stands there. */
static texts rows_drawn(const fb_surface *on)
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

/* ---- coming up and going down ---- */

TEST_F(view_lists, init_makes_surfaces_of_the_screens_size_and_starts_every_list)
{
    write_skin("skins/one", list_of(3));
    str_copy(cfg_skin_list, "skins/one");
    ASSERT_EQ(view_list->init(), 0);
    EXPECT_EQ(view_list->frame->width, 320);
    EXPECT_EQ(view_list->surface->height, 240);
    EXPECT_EQ(trace, (texts{"init 0", "init 1", "init 2", "init 3", "init 4", "init 5", "init 6"}));
}

TEST_F(view_lists, init_fails_without_any_skin_that_has_the_part)
{
    str_copy(cfg_skin_list, "skins/none");
    EXPECT_EQ(view_list->init(), -1);
    EXPECT_TRUE(trace.empty());
}

TEST_F(view_lists, init_fails_without_surfaces)
{
    write_skin("skins/one", list_of(3));
    str_copy(cfg_skin_list, "skins/one");
    for (const char *which : {"fb_create:1", "fb_create:2"}) {
        fault_set(which);
        EXPECT_EQ(view_list->init(), -1) << which;
        EXPECT_TRUE(trace.empty()) << which;
        EXPECT_EQ(view_list->exit(), 0);
        trace.clear();
    }
}

TEST_F(view_lists, exit_frees_the_rows_of_every_list_and_may_be_repeated)
{
    open(list_of(3), 5);
    EXPECT_EQ(view_list->exit(), 0);
    EXPECT_EQ(trace, (texts{"exit 0", "exit 1", "exit 2", "exit 3", "exit 4", "exit 5", "exit 6"}));
    EXPECT_EQ(list_main->items, nullptr);
    EXPECT_EQ(view_list->frame, nullptr);
    EXPECT_EQ(view_list->surface, nullptr);
    EXPECT_EQ(view_list->exit(), 0);
}

TEST_F(view_lists, select_makes_a_list_current_and_asks_for_a_redraw)
{
    view_list->redraw = 0;
    EXPECT_EQ(view_list_select(list_cfg), 0);
    EXPECT_EQ(list_page_selected, list_cfg);
    EXPECT_EQ(view_list->redraw, 1);
}

/* ---- skins ---- */

TEST_F(view_lists, unreadable_skin_falls_back_to_the_default_one)
{
    write_skin("skins/Aqua_Ver0.4.zip", list_of(2)); /* a folder of that name serves too */
    write_skin("skins/A", list_of(4));
    str_copy(cfg_skin_list, "skins/none");
    ASSERT_EQ(view_list_load_skin("skins/none"), 0);
    EXPECT_STREQ(cfg_skin_list, "skins/Aqua_Ver0.4.zip");
    EXPECT_EQ(view_list_state.rows, 2u);
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(view_lists, without_the_default_skin_any_other_is_taken)
{
    write_skin("skins/other", list_of(4));
    ASSERT_EQ(view_list_load_skin("skins/none"), 0);
    EXPECT_STREQ(cfg_skin_list, "skins/other");
    EXPECT_EQ(view_list_state.rows, 4u);
    EXPECT_EQ(cfg_modified, 1);
}

TEST_F(view_lists, reload_that_fails_keeps_the_old_skin)
{
    open(list_of(3), 5);
    const skin_part *before = view_list_state.part;
    ASSERT_EQ(system("rm -r skins"), 0);
    EXPECT_EQ(view_list_load_skin("skins/one"), -1);
    EXPECT_EQ(view_list_state.part, before);
    EXPECT_EQ(draw().size(), 2u); /* rows 0 and 1 below the empty first slot */
}

TEST_F(view_lists, reload_asks_for_a_redraw_and_counts_rows_anew)
{
    open(list_of(3), 5);
    write_skin("skins/two", list_of(6));
    view_list->redraw = 0;
    ASSERT_EQ(view_list_load_skin("skins/two"), 0);
    EXPECT_EQ(view_list->redraw, 1);
    EXPECT_EQ(view_list_state.rows, 6u);
}

TEST_F(view_lists, skin_name_may_be_the_setting_itself)
{
    write_skin("skins/other", list_of(4));
    str_copy(cfg_skin_list, "skins/none");
    ASSERT_EQ(view_list_load_skin(cfg_skin_list), 0);
    EXPECT_STREQ(cfg_skin_list, "skins/other");
}

/* ---- drawing ---- */

TEST_F(view_lists, cursor_row_stands_in_the_middle)
{
    open(list_of(5), 9);
    EXPECT_EQ(draw(), (texts{"70 row 0", "100 row 1", "130 row 2"}));
    list_main->cursor = 4;
    EXPECT_EQ(draw(), (texts{"10 row 2", "40 row 3", "70 row 4", "100 row 5", "130 row 6"}));
    list_main->cursor = 8;
    EXPECT_EQ(draw(), (texts{"10 row 6", "40 row 7", "70 row 8"}));
}

TEST_F(view_lists, cursor_row_stands_in_the_upper_middle_of_an_even_number)
{
    open(list_of(6), 20);
    list_main->cursor = 10;
    EXPECT_EQ(draw(), (texts{"10 row 8", "40 row 9", "70 row 10", "100 row 11", "130 row 12",
                             "160 row 13"}));
}

TEST_F(view_lists, cursor_row_takes_the_second_colour)
{
    open(list_of(3), 9);
    list_main->cursor = 4;
    draw();
    ASSERT_EQ(fb_text_count(view_list->surface), 3u);
    EXPECT_EQ(fb_text_at(view_list->surface, 0)->colour, 0x001F);
    EXPECT_EQ(fb_text_at(view_list->surface, 1)->colour, 0xF800);
    EXPECT_EQ(fb_text_at(view_list->surface, 2)->colour, 0x001F);
    const fb_text *row = fb_text_at(view_list->surface, 1);
    EXPECT_EQ(row->x, 20);
    EXPECT_EQ(row->w, 200);
    EXPECT_EQ(row->size, 20);
}

TEST_F(view_lists, empty_list_draws_no_rows)
{
    open(list_of(5), 0);
    EXPECT_EQ(draw(), texts{});
    list_main->cursor = -1;
    EXPECT_EQ(draw(), texts{});
}

TEST_F(view_lists, count_without_rows_draws_none)
{
    open(list_of(5), 9);
    view_list_free(list_main);
    list_main->count = 9;
    EXPECT_EQ(draw(), texts{});
}

TEST_F(view_lists, cursor_outside_the_rows_is_drawn_without_harm)
{
    open(list_of(5), 3);
    for (const int32_t cursor : {-1, 3, 1000, INT32_MAX, INT32_MIN}) {
        list_main->cursor = cursor;
        draw();
    }
    list_main->cursor = 4;
    EXPECT_EQ(draw(), (texts{"10 row 2"}));
}

TEST_F(view_lists, nothing_is_drawn_twice_within_a_minute)
{
    open(list_of(3), 3);
    draw();
    view_list->updated = 0;
    machine.wall += 59 - machine.wall % 60;
    EXPECT_EQ(view_list->draw(view_list, nullptr), 0);
    EXPECT_EQ(view_list->updated, 0);
    machine.wall += 1;
    EXPECT_EQ(view_list->draw(view_list, nullptr), 0);
    EXPECT_EQ(view_list->updated, 1);
}

TEST_F(view_lists, background_is_white)
{
    open("", 0);
    draw();
    EXPECT_EQ(pixel(0, 0), 0xFFFF);
    EXPECT_EQ(pixel(319, 239), 0xFFFF);
}

struct bar_case {
    uint32_t count;
    int32_t cursor, value;
};

TEST_F(view_lists, list_bar_shows_where_the_cursor_stands)
{
    open("<scroll x=\"0\" y=\"0\" width=\"10\" height=\"100\" type=\"move-y\" action=\"list\"/>",
         0);
    for (const bar_case &each :
         {bar_case{0, 0, 0}, bar_case{0, -1, 0}, bar_case{1, 0, 0}, bar_case{2, 0, 1},
          bar_case{2, 1, 1001}, bar_case{8, 3, 429}, bar_case{9, 4, 500}, bar_case{1000, 999, 1000},
          bar_case{9, -1, 0}}) {
        fill(list_main, numbered(each.count));
        list_main->cursor = each.cursor;
        draw();
        EXPECT_EQ(view_list_state.page->elements[0].value, each.value)
            << each.cursor << " of " << each.count;
    }
}

TEST_F(view_lists, battery_bar_shows_the_level_and_others_keep_their_value)
{
    open("<scroll width=\"9\" height=\"9\" type=\"move-x\" action=\"battery\"/>"
         "<scroll width=\"9\" height=\"9\" type=\"move-x\" action=\"volume\"/>"
         "<scroll width=\"9\" height=\"9\" type=\"move-x\"/>",
         0);
    machine.battery = 57;
    view_list_state.page->elements[1].value = 123;
    view_list_state.page->elements[2].value = 77;
    draw();
    EXPECT_EQ(view_list_state.page->elements[0].value, 570);
    EXPECT_EQ(view_list_state.page->elements[1].value, 123);
    EXPECT_EQ(view_list_state.page->elements[2].value, 77);
}

TEST_F(view_lists, outlines_are_drawn_only_where_they_help)
{
    open("<scroll x=\"0\" y=\"0\" width=\"11\" height=\"11\"/>"
         "<rect x=\"20\" y=\"0\" width=\"11\" height=\"11\" color=\"#00ff00\"/>"
         "<text x=\"40\" y=\"0\" width=\"11\" height=\"11\"/>"
         "<img x=\"60\" y=\"0\" width=\"11\" height=\"11\"/>"
         "<button x=\"80\" y=\"0\" width=\"11\" height=\"11\"/>"
         "<text x=\"100\" y=\"0\" width=\"11\"/>"
         "<list x=\"120\" y=\"0\" width=\"50\" height=\"85\" font_size=\"20\"/>",
         9, "debug=\"1\"");
    list_main->cursor = 4;
    draw();
    for (const int32_t x : {0, 20, 40}) {
        EXPECT_EQ(pixel(x, 0), 0xF800) << x;
        EXPECT_EQ(pixel(x + 10, 0), 0xF800) << x;
        EXPECT_EQ(pixel(x, 10), 0xF800) << x;
        EXPECT_EQ(pixel(x + 10, 10), 0xF800) << x;
        EXPECT_EQ(pixel(x + 11, 0), 0xFFFF) << x;
        EXPECT_EQ(pixel(x, 11), 0xFFFF) << x;
    }
    EXPECT_EQ(pixel(25, 5), 0x07E0); /* the rectangle inside its outline */
    for (const int32_t x : {60, 80, 100})
        EXPECT_EQ(pixel(x, 0), 0xFFFF) << x;
    EXPECT_EQ(pixel(120, 84), 0xFFFF); /* "list" itself */
    EXPECT_EQ(pixel(120, 0), 0xF800);  /* its rows */
}

TEST_F(view_lists, outlines_follow_the_setting_too)
{
    open("<text x=\"40\" y=\"0\" width=\"11\" height=\"11\"/>", 0);
    draw();
    EXPECT_EQ(pixel(40, 0), 0xFFFF);
    cfg_debug = 1;
    draw();
    EXPECT_EQ(pixel(40, 0), 0xF800);
    cfg_debug = -1;
    draw();
    EXPECT_EQ(pixel(40, 0), 0xFFFF);
}

TEST_F(view_lists, text_elements_keep_their_geometry_and_alignment)
{
    open("<text x=\"1\" y=\"2\" width=\"30\" height=\"40\" font_size=\"9\" font_color=\"#ff0000\" "
         "text_align=\"right middle\" format=\"$title\"/>",
         0);
    str_copy(list_main->title, "主菜单");
    draw();
    EXPECT_EQ(test_texts(view_list->surface), (texts{"1 2 30 40 9 0xF800 18 |主菜单|"}));
}

/* ---- texts ---- */

static std::string expand(const std::string &format)
{
    char text[1024];
    view_list_expand(format.c_str(), text, sizeof text);
    return text;
}

TEST_F(view_lists, formats_are_expanded)
{
    str_copy(list_main->title, "TITLE");
    str_copy(list_main->subtitle, "SUB");
    machine.battery = 42;
    setenv("TZ", "UTC", 1);
    tzset();
    machine.wall = 9 * 3600 + 5 * 60 + 59;
    EXPECT_EQ(expand("plain"), "plain");
    EXPECT_EQ(expand(""), "");
    EXPECT_EQ(expand("$program_name $program_version"), "Zerv Player 0.4");
    EXPECT_EQ(expand("<$path|$title>"), "<SUB|TITLE>");
    EXPECT_EQ(expand("$time"), "09:05");
    EXPECT_EQ(expand("$battery"), "42%");
    EXPECT_EQ(expand("$Time $Battery"), "Time Battery");
    EXPECT_EQ(expand("$titles"), "TITLEs");
    EXPECT_EQ(expand("$"), "$");
    EXPECT_EQ(expand("$$title$"), "$TITLE$");
    EXPECT_EQ(expand("$tim $Title"), "$tim $Title");
    EXPECT_EQ(expand("100%"), "100%");
    EXPECT_EQ(expand("%s%n"), "%s%n");
}

TEST_F(view_lists, long_formats_are_cut_at_1023_bytes)
{
    EXPECT_EQ(expand(std::string(1100, 'x')), std::string(1023, 'x'));
    EXPECT_EQ(expand(std::string(1020, 'x') + "$program_name"), std::string(1020, 'x') + "Zer");
    EXPECT_EQ(expand(std::string(1023, 'x') + "$title"), std::string(1023, 'x'));
}

TEST_F(view_lists, row_longer_than_a_screen_is_drawn_cut)
{
    open(list_of(3), 0);
    fill(list_main, {std::string(5000, 'x')});
    EXPECT_EQ(draw(), (texts{"40 " + std::string(1023, 'x')}));
}

/* ---- cursor keys ---- */

TEST_F(view_lists, up_and_down_wrap)
{
    open(list_of(5), 9);
    keys(0, key_up);
    EXPECT_EQ(list_main->cursor, 8);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 0);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 1);
    keys(0, key_up);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, down_reaches_the_last_row_before_it_wraps)
{
    open(list_of(5), 9);
    list_main->cursor = 7;
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 8);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, page_down_just_behind_the_end_stops_at_the_last_row)
{
    open(list_of(5), 9);
    list_main->cursor = 4; /* a page of 5 leads to row 9, which is not there */
    keys(0, key_page_down);
    EXPECT_EQ(list_main->cursor, 8);
    list_main->cursor = 5;
    keys(0, key_page_up);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, page_keys_stop_at_the_ends)
{
    open(list_of(5), 9);
    list_main->cursor = 3;
    keys(0, key_page_up);
    EXPECT_EQ(list_main->cursor, 0);
    keys(0, key_page_down);
    EXPECT_EQ(list_main->cursor, 5);
    keys(0, key_page_down);
    EXPECT_EQ(list_main->cursor, 8);
    keys(0, key_page_up);
    EXPECT_EQ(list_main->cursor, 3);
}

TEST_F(view_lists, first_of_several_cursor_keys_counts)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    keys(0, key_up | key_down | key_page_up | key_page_down);
    EXPECT_EQ(list_main->cursor, 3);
    keys(0, key_page_up | key_page_down);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, cursor_keys_act_on_the_repeat_word_only)
{
    open(list_of(5), 9);
    view_list->redraw = 0;
    keys(key_up | key_down, 0);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_EQ(view_list->redraw, 0);
    keys(0, key_down);
    EXPECT_EQ(view_list->redraw, 1);
}

TEST_F(view_lists, up_in_an_empty_list_leaves_no_cursor)
{
    open(list_of(5), 0);
    keys(0, key_up);
    EXPECT_EQ(list_main->cursor, -1);
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, -1);
    keys(key_select, 0);
    EXPECT_TRUE(chosen.empty());
    keys(key_left, 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{-1, 1}}));
}

TEST_F(view_lists, no_key_event_moves_nothing)
{
    open(list_of(5), 9);
    input_key = {.pressed = key_select, .released = 0, .repeat = key_down, .held = 0};
    view_list->key_checked = 0;
    view_list->touch_checked = 0;
    EXPECT_EQ(view_list->input(view_list), 0);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(trace, (texts{"input"})); /* the list itself is asked in every pass */
}

/* ---- row keys ---- */

TEST_F(view_lists, row_keys_select_with_their_mode)
{
    open(list_of(5), 9);
    list_main->cursor = 2;
    for (const uint32_t key : {key_select, key_right, key_menu, key_reload})
        EXPECT_EQ(keys(key, 0), 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{2, 0}, {2, 1}, {2, 2}, {2, 3}}));
}

TEST_F(view_lists, first_of_several_row_keys_counts)
{
    open(list_of(5), 9);
    keys(key_select | key_right | key_menu | key_reload, 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, cursor_moves_before_the_row_is_chosen)
{
    open(list_of(5), 9);
    keys(key_select, key_down);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{1, 0}}));
}

TEST_F(view_lists, list_that_consumes_the_event_ends_it)
{
    open(list_of(5), 9);
    input_result = -1;
    EXPECT_EQ(keys(key_select, 0), -1);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, list_that_shows_another_one_ends_the_event)
{
    open(list_of(5), 9);
    on_input = [] { (void)view_list_select(list_cfg); };
    EXPECT_EQ(keys(key_select, 0), -1);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, select_that_is_done_ends_the_event)
{
    open(list_of(5), 9);
    select_result = -1;
    EXPECT_EQ(keys(key_select | key_left, 0), -1);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, other_list_gets_no_request_meant_for_the_first)
{
    open(list_of(5), 9);
    on_select = [] { (void)view_list_select(list_cfg); };
    EXPECT_EQ(keys(key_select | key_left, 0), -1);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, row_key_and_back_request_in_one_pass_both_arrive)
{
    open(list_of(5), 9);
    EXPECT_EQ(keys(key_select | key_left, 0), 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}, {-1, 1}}));
}

TEST_F(view_lists, switch_key_goes_to_the_play_view)
{
    open(list_of(5), 9);
    EXPECT_EQ(keys(key_switch, 0), -1);
    EXPECT_EQ(view_selected.load(), &play_screen);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, back_request_goes_before_the_switch_key)
{
    open(list_of(5), 9);
    EXPECT_EQ(keys(key_left | key_switch, 0), 0);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{-1, 1}}));
    EXPECT_EQ(view_selected.load(), view_list);
}

/* ---- touch ---- */

TEST_F(view_lists, tap_selects_the_row_under_the_finger)
{
    open(list_of(5), 9);
    list_main->cursor = 4; /* rows 2 to 6 at y 10, 40, 70, 100, 130 */
    press(30, 45);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(list_main->cursor, 4);
    release(200, 50);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{3, 0}}));
    EXPECT_EQ(list_main->cursor, 3);
}

TEST_F(view_lists, tap_selects_the_cursor_row)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{4, 0}}));
}

TEST_F(view_lists, release_on_another_row_selects_nothing)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 45);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(list_main->cursor, 4);
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen.size(), 1u);
}

TEST_F(view_lists, empty_slots_and_gaps_cannot_be_pressed)
{
    open(list_of(5), 9);
    for (const int32_t y : {15, 45}) { /* above row 0 */
        press(30, y);
        release(30, y);
    }
    press(5, 75); /* left of the row */
    release(5, 75);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, row_ends_before_its_right_and_lower_edge)
{
    open(list_of(5), 9);
    list_main->cursor = 4; /* row 3: x 20 to 219, y 40 to 59 */
    for (const int32_t x : {19, 220}) {
        press(x, 50);
        release(x, 50);
    }
    for (const int32_t y : {39, 60}) {
        press(100, y);
        release(100, y);
    }
    EXPECT_TRUE(chosen.empty());
    press(219, 59);
    release(20, 40);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{3, 0}}));
}

/* A skin may write its slots one by one, and put those of the cursor's row elsewhere. */
constexpr char separate_slots[] = "<item x=\"0\" y=\"0\" width=\"50\" height=\"20\"/>"
                                  "<item_sel x=\"100\" y=\"0\" width=\"50\" height=\"20\"/>"
                                  "<item x=\"0\" y=\"30\" width=\"50\" height=\"20\"/>"
                                  "<item_sel x=\"100\" y=\"30\" width=\"50\" height=\"20\"/>";

TEST_F(view_lists, each_row_is_pressed_in_the_slot_that_shows_it)
{
    open(separate_slots, 2); /* the cursor's row 0 above, row 1 below it */
    for (const int32_t y : {5, 35}) {
        const int32_t empty = y == 5 ? 10 : 110;
        press(empty, y);
        release(empty, y);
    }
    EXPECT_TRUE(chosen.empty());
    press(110, 5);
    release(110, 5);
    press(10, 35);
    release(10, 35);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}, {1, 0}}));
}

TEST_F(view_lists, first_element_may_be_a_slot)
{
    open(separate_slots, 3);
    list_main->cursor = 1;
    EXPECT_EQ(draw(), (texts{"0 row 1", "30 row 2"}));
    view_list_state.rows = 3; /* row 0 in the first slot */
    press(10, 5);
    release(10, 5);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{0, 0}}));
}

TEST_F(view_lists, slot_behind_the_last_row_cannot_be_pressed)
{
    open(list_of(5), 5);
    list_main->cursor = 4; /* the slots at y 100 and 130 are empty */
    press(30, 105);
    fill(list_main, numbered(9));
    release(30, 105);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, row_that_went_away_under_the_finger_is_not_selected)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 105); /* row 5 */
    fill(list_main, numbered(3));
    release(30, 105);
    EXPECT_TRUE(chosen.empty());
}

constexpr char wide_bar[] =
    "<scroll x=\"100\" y=\"200\" width=\"101\" height=\"10\" type=\"move-x\" action=\"list\"/>";

TEST_F(view_lists, tap_on_the_list_bar_moves_the_cursor)
{
    open(list_of(5) + wide_bar, 1000);
    view_list->redraw = 0;
    press(150, 205);
    EXPECT_EQ(list_main->cursor, 500);
    EXPECT_EQ(view_list->redraw, 1);
    release(150, 205);
    press(100, 200);
    EXPECT_EQ(list_main->cursor, 0);
    release(100, 200);
    press(200, 209);
    EXPECT_EQ(list_main->cursor, 999);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, bar_acts_once_per_touch)
{
    open(list_of(5) + wide_bar, 1000);
    press(100, 205);
    move(150, 205);
    EXPECT_EQ(list_main->cursor, 0);
    release(150, 205);
    move(150, 205);
    EXPECT_EQ(list_main->cursor, 500);
}

TEST_F(view_lists, finger_that_comes_from_outside_moves_the_bar)
{
    open(list_of(5) + wide_bar, 1000);
    press(310, 235);
    move(150, 205);
    EXPECT_EQ(list_main->cursor, 500);
}

TEST_F(view_lists, finger_that_pressed_a_row_does_not_move_the_bar)
{
    open(wide_bar + list_of(5), 1000);
    press(30, 75);
    move(200, 205);
    EXPECT_EQ(list_main->cursor, 0);
    release(200, 205);
    EXPECT_EQ(list_main->cursor, 0);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, bar_moves_the_cursor_to_the_nearest_row)
{
    open("<scroll x=\"-400\" y=\"200\" width=\"1001\" height=\"10\" type=\"move-x\" "
         "action=\"list\"/>",
         2);
    for (const int32_t x : {99, 100}) {
        press(x, 205); /* 499 and 500 thousandths */
        release(x, 205);
        EXPECT_EQ(list_main->cursor, x - 99);
    }
}

TEST_F(view_lists, bar_without_the_lists_action_only_takes_the_touch)
{
    for (const std::string attributes :
         {"type=\"move-x\" action=\"battery\"", "type=\"move-x-rev\" action=\"list\"",
          "type=\"move-x\"", "action=\"list\""}) {
        open("<scroll x=\"0\" y=\"0\" width=\"320\" height=\"240\" " + attributes + "/>" +
                 list_of(5),
             9);
        list_main->cursor = 4;
        press(30, 105);
        release(30, 105);
        EXPECT_EQ(list_main->cursor, 4) << attributes;
        EXPECT_TRUE(chosen.empty()) << attributes;
        EXPECT_EQ(view_list->exit(), 0);
    }
}

TEST_F(view_lists, moving_finger_selects_no_row)
{
    open(list_of(5), 9);
    press(310, 235);
    move(30, 75);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, row_behind_a_bar_is_not_pressed)
{
    open(list_of(5) + "<scroll x=\"0\" y=\"0\" width=\"320\" height=\"240\" type=\"move-x\"/>", 9);
    list_main->cursor = 4;
    press(30, 75);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
    EXPECT_EQ(list_main->cursor, 4);
}

TEST_F(view_lists, inactive_bar_lets_the_touch_through)
{
    open(list_of(5) + "<scroll x=\"0\" y=\"0\" width=\"320\" height=\"240\" type=\"move-x\" "
                      "action=\"list\"/>",
         9);
    skin_element *bar = &view_list_state.page->elements[view_list_state.page->element_count - 1];
    bar->inactive = 1;
    list_main->cursor = 4;
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{4, 0}}));
}

TEST_F(view_lists, bars_over_each_other_all_act_and_the_last_wins)
{
    open(wide_bar + std::string("<scroll x=\"100\" y=\"200\" width=\"201\" height=\"10\" "
                                "type=\"move-x\" action=\"list\"/>"),
         1000);
    press(150, 205);
    EXPECT_EQ(list_main->cursor, 250);
}

TEST_F(view_lists, bar_of_an_empty_list_does_nothing)
{
    open(wide_bar, 0);
    press(150, 205);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, bar_of_two_pixels_may_ask_for_the_row_behind_the_last)
{
    open(list_of(5) + "<scroll x=\"300\" y=\"0\" width=\"2\" height=\"9\" type=\"move-x\" "
                      "action=\"list\"/>",
         600);
    press(301, 5);
    release(301, 5);
    EXPECT_EQ(list_main->cursor, 600); /* (1001 * 599 + 500) / 1000 */
    draw();
    keys(0, key_down);
    EXPECT_EQ(list_main->cursor, 0);
}

TEST_F(view_lists, touch_during_a_slide_is_dropped)
{
    open(list_of(5), 9);
    view_anime_started = 5;
    EXPECT_EQ(press(30, 75), -1);
    view_anime_started = 0;
    EXPECT_EQ(release(30, 75), 0);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, press_starts_anew_when_a_release_was_missed)
{
    open(list_of(5), 9);
    list_main->cursor = 4;
    press(30, 15);
    press(30, 75);
    release(30, 75);
    EXPECT_EQ(chosen, (std::vector<chosen_row>{{4, 0}}));
}

TEST_F(view_lists, selecting_a_row_may_replace_the_skin)
{
    open(list_of(5), 9);
    write_skin("skins/two", "");
    list_main->cursor = 4;
    on_select = [] { EXPECT_EQ(view_list_load_skin("skins/two"), 0); };
    press(30, 75);
    EXPECT_EQ(release(30, 75), 0);
    EXPECT_EQ(chosen.size(), 1u);
}

TEST_F(view_lists, reload_forgets_the_row_under_the_finger)
{
    open(list_of(5), 9);
    press(30, 75);
    ASSERT_EQ(view_list_load_skin("skins/one"), 0);
    release(30, 75);
    EXPECT_TRUE(chosen.empty());
}

TEST_F(view_lists, select_of_a_tap_that_changes_the_view_consumes_the_event)
{
    open(list_of(5), 9);
    on_select = [] { view_select(view_play); };
    press(30, 75);
    EXPECT_EQ(release(30, 75), -1);
}

TEST_F(view_lists, input_without_a_list_does_nothing)
{
    open(list_of(5), 9);
    view_list_select(nullptr);
    EXPECT_EQ(keys(key_select, key_down), 0);
    view_list->redraw = 1;
    EXPECT_EQ(view_list->draw(view_list, nullptr), 0);
    view_list_select(list_main);
}
