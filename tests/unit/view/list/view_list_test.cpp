/* The list screen: coming up and going down, skins, drawing. */
#include "unit/view/list/view_list_fixture.h"

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

TEST_F(view_lists, init_may_follow_one_that_nobody_ended)
{
    write_skin("skins/one", list_of(3));
    str_copy(cfg_skin_list, "skins/one");
    ASSERT_EQ(view_list->init(), 0);
    ASSERT_EQ(view_list->init(), 0); /* the sanitizers see a surface that is left */
    EXPECT_NE(view_list->frame, nullptr);
    EXPECT_NE(view_list->surface, nullptr);
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
    EXPECT_EQ(expand("$program_name $program_version"), "Zerv Player " PROGRAM_VERSION);
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
