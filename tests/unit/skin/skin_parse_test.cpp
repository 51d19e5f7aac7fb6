/* Part files: values, rows, roots, and what refuses a file. */
#include "skin/skin_parse.h"

#include "unit/skin/skin_fixture.h"

#include <algorithm>
#include <climits>
#include <cstring>

/* A file in memory, given out in pieces. */
struct text_source {
    std::string text;
    size_t at = 0;
    size_t piece = SIZE_MAX;
    size_t fails_at = SIZE_MAX;
};

static int read_text(void *handle, void *buffer, unsigned length)
{
    text_source *source = static_cast<text_source *>(handle);
    if (source->at >= source->fails_at)
        return -5;
    const size_t size =
        std::min({static_cast<size_t>(length), source->text.size() - source->at, source->piece});
    memcpy(buffer, source->text.data() + source->at, size);
    source->at += size;
    return static_cast<int>(size);
}

struct parsed {
    skin_page page = {};
    int result = 0;
    skin_room room = skin_room_of_part;
    fault_list notes;

    explicit parsed(text_source source)
    {
        const skin_source from = {read_text, &source, "list.xml", &room, &notes.watcher};
        result = skin_parse(&from, &page);
    }
    explicit parsed(const std::string &text) : parsed(text_source{text}) {}
    ~parsed() { skin_page_clear(&page); }
    parsed(const parsed &) = delete;
    parsed &operator=(const parsed &) = delete;

    const skin_element &operator[](uint32_t index) const { return page.elements[index]; }
};

static parsed parse_element(const std::string &attributes)
{
    return parsed(skin_xml("<img " + attributes + "/>"));
}

static int32_t number(const char *value)
{
    const parsed it = parse_element(std::string("x=\"") + value + "\"");
    EXPECT_EQ(it.result, 0) << value;
    return it.result == 0 ? it[0].x : INT_MIN;
}

static int colour(const char *value)
{
    const parsed it = parse_element(std::string("color=\"") + value + "\"");
    return it.result == 0 ? it[0].color : -1;
}

static int align(const char *value)
{
    const parsed it = parse_element(std::string("text_align=\"") + value + "\"");
    return it.result == 0 ? static_cast<int>(it[0].text_align) : -1;
}

static int parse_result(const std::string &text)
{
    return parsed(text).result;
}

static std::vector<int> row_tops(int y, int height, int font_size)
{
    const parsed it(skin_xml("<list y=\"" + std::to_string(y) + "\" height=\"" +
                             std::to_string(height) + "\" font_size=\"" +
                             std::to_string(font_size) + "\"/>"));
    EXPECT_EQ(it.result, 0);
    std::vector<int> tops;
    for (uint32_t i = 0; i < it.page.element_count; i++)
        if (strcmp(it[i].name, "item") == 0)
            tops.push_back(it[i].y);
    return tops;
}

TEST(skin_parse, reads_every_attribute_into_its_field)
{
    const parsed it(skin_xml("<scroll src=\"a/b.png\" x=\"1\" y=\"2\" width=\"3\" height=\"4\" "
                             "type=\"fill-x\" font_size=\"5\" font_color=\"#ff0000\" "
                             "font_color_2=\"#00ff00\" color=\"#0000ff\" origin_x=\"6\" "
                             "origin_y=\"7\" format=\"$title\" show=\"play\" hide=\"pause\" "
                             "text_align=\"right bottom\" action=\"battery\" other=\"x\"/>"));
    ASSERT_EQ(it.result, 0);
    ASSERT_EQ(it.page.element_count, 1u);
    EXPECT_STREQ(it[0].name, "scroll");
    EXPECT_STREQ(it[0].src, "a/b.png");
    EXPECT_EQ(it[0].x, 1);
    EXPECT_EQ(it[0].y, 2);
    EXPECT_EQ(it[0].width, 3);
    EXPECT_EQ(it[0].height, 4);
    EXPECT_STREQ(it[0].type, "fill-x");
    EXPECT_EQ(it[0].font_size, 5);
    EXPECT_EQ(it[0].font_color, 0xF800);
    EXPECT_EQ(it[0].font_color_2, 0x07E0);
    EXPECT_EQ(it[0].color, 0x001F);
    EXPECT_EQ(it[0].origin_x, 6);
    EXPECT_EQ(it[0].origin_y, 7);
    EXPECT_STREQ(it[0].format, "$title");
    EXPECT_STREQ(it[0].show, "play");
    EXPECT_STREQ(it[0].hide, "pause");
    EXPECT_EQ(it[0].text_align, 0x22u);
    EXPECT_STREQ(it[0].action, "battery");
    EXPECT_EQ(it[0].image, nullptr);
    EXPECT_EQ(it[0].inactive, 0u);
    EXPECT_EQ(it[0].value, 0);
}

TEST(skin_parse, leaves_absent_attributes_empty)
{
    const parsed it = parse_element("");
    ASSERT_EQ(it.result, 0);
    EXPECT_EQ(it[0].src, nullptr);
    EXPECT_EQ(it[0].type, nullptr);
    EXPECT_EQ(it[0].format, nullptr);
    EXPECT_EQ(it[0].action, nullptr);
    EXPECT_EQ(it[0].width, 0);
    EXPECT_EQ(it[0].font_size, 12);
    EXPECT_EQ(it[0].text_align, 0u);
}

TEST(skin_parse, keeps_elements_in_the_order_of_their_start_tags)
{
    const parsed it(skin_xml("<a><b><c/></b></a>text<d/>"));
    ASSERT_EQ(it.result, 0);
    ASSERT_EQ(it.page.element_count, 4u);
    EXPECT_STREQ(it[0].name, "a");
    EXPECT_STREQ(it[1].name, "b");
    EXPECT_STREQ(it[2].name, "c");
    EXPECT_STREQ(it[3].name, "d");
}

TEST(skin_parse, cuts_a_tag_at_thirty_characters)
{
    const parsed it(skin_xml("<" + std::string(40, 'n') + "/>"));
    ASSERT_EQ(it.result, 0);
    EXPECT_EQ(std::string(it[0].name), std::string(30, 'n'));
}

TEST(skin_parse, reads_numbers_like_the_c_library)
{
    EXPECT_EQ(number("-5"), -5);
    EXPECT_EQ(number("+7"), 7);
    EXPECT_EQ(number("  12"), 12);
    EXPECT_EQ(number("007"), 7);
    EXPECT_EQ(number(""), 0);
    EXPECT_EQ(number("99999999999"), INT32_MAX);
    EXPECT_EQ(number("-99999999999"), INT32_MIN);
}

TEST(skin_parse, refuses_numbers_with_anything_behind_them)
{
    for (const char *value : {"12px", "12 ", "1.5", "0x10", "-", "abc", " ", "1,0"})
        EXPECT_EQ(parse_element(std::string("x=\"") + value + "\"").result, -1) << value;
}

TEST(skin_parse, reads_colours_as_rgb565)
{
    EXPECT_EQ(colour("#ff0000"), 0xF800);
    EXPECT_EQ(colour("#00ff00"), 0x07E0);
    EXPECT_EQ(colour("#0000ff"), 0x001F);
    EXPECT_EQ(colour("#ffffff"), 0xFFFF);
    EXPECT_EQ(colour("#FFffFF"), 0xFFFF);
    EXPECT_EQ(colour("#123456"), 0x11AA);
    EXPECT_EQ(colour("#808080"), 0x8410);
    EXPECT_EQ(colour("#abcdef"), 0xAE7D);
    EXPECT_EQ(colour("#070307"), 0x0000);
    EXPECT_EQ(colour("#080408"), 0x0821);
}

TEST(skin_parse, refuses_other_colours)
{
    for (const char *value : {"ff0000", "#fff", "#ff00001", "#12345g", "", "#", "red", "#ff000 "})
        EXPECT_EQ(colour(value), -1) << value;
}

TEST(skin_parse, combines_alignment_words)
{
    EXPECT_EQ(align("right center"), 0x03);
    EXPECT_EQ(align("middle bottom"), 0x30);
    EXPECT_EQ(align("top left"), 0);
    EXPECT_EQ(align("  center   middle "), 0x11);
    EXPECT_EQ(align(""), 0);
    for (const char *value : {"justify", "centre", "left,top", "Left", "center justify", "lef"})
        EXPECT_EQ(align(value), -1) << value;
}

TEST(skin_parse, refuses_an_attribute_that_stands_twice)
{
    EXPECT_EQ(parse_element("text_align=\"left\" text_align=\"right\"").result, -1);
}

TEST(skin_parse, reads_the_root)
{
    const parsed it("<skin version=\"0.1\" debug=\"3\" show=\"lyrics\" hide=\"pause\" x=\"y\"/>");
    ASSERT_EQ(it.result, 0);
    EXPECT_STREQ(it.page.version, "0.1");
    EXPECT_EQ(it.page.debug, 3);
    EXPECT_STREQ(it.page.show, "lyrics");
    EXPECT_STREQ(it.page.hide, "pause");
    EXPECT_EQ(it.page.element_count, 0u);
    EXPECT_EQ(it.page.variant, 0);
}

TEST(skin_parse, wants_version_zero_point_one)
{
    EXPECT_EQ(parse_result("<skin version=\"0.1\"/>"), 0);
    EXPECT_EQ(parse_result("<skin version=\"0.2\"/>"), -1);
    EXPECT_EQ(parse_result("<skin version=\"0.1000000000\"/>"), -1);
    EXPECT_EQ(parse_result("<skin version=\"\"/>"), -1);
    EXPECT_EQ(parse_result("<skin/>"), -1);
    EXPECT_EQ(parse_result("<skin version=\"0.1\" debug=\"yes\"/>"), -1);
}

TEST(skin_parse, wants_a_skin_as_its_root)
{
    EXPECT_EQ(parse_result("<html/>"), -1);
    EXPECT_EQ(parse_result("<part version=\"0.1\"><skin version=\"0.1\"/></part>"), -1);
}

TEST(skin_parse, reads_a_second_root_anew)
{
    EXPECT_EQ(parse_result(skin_xml("<skin/>")), -1);
    const parsed it("<skin version=\"0.1\" debug=\"1\" show=\"a\" hide=\"b\">"
                    "<img/><skin version=\"0.1\" show=\"c\"/></skin>");
    ASSERT_EQ(it.result, 0);
    EXPECT_EQ(it.page.debug, 0);
    EXPECT_STREQ(it.page.show, "c");
    EXPECT_STREQ(it.page.hide, "b");
    EXPECT_EQ(it.page.element_count, 1u);
}

TEST(skin_parse, makes_rows_one_and_a_half_sizes_apart)
{
    EXPECT_EQ(row_tops(10, 100, 20), (std::vector{10, 40, 70}));
    EXPECT_EQ(row_tops(0, 50, 20), (std::vector{0, 30}));
    EXPECT_EQ(row_tops(0, 49, 20), (std::vector{0}));
    EXPECT_EQ(row_tops(0, 19, 20), (std::vector<int>{}));
    EXPECT_EQ(row_tops(0, 200, 15), (std::vector{0, 22, 44, 66, 88, 110, 132, 154, 176}));
}

TEST(skin_parse, puts_rows_behind_their_list)
{
    const parsed it(skin_xml("<list x=\"3\" y=\"10\" width=\"200\" height=\"60\" font_size=\"20\" "
                             "font_color=\"#ff0000\" font_color_2=\"#0000ff\" action=\"a\" "
                             "text_align=\"right\" color=\"#00ff00\"/><img/>"));
    ASSERT_EQ(it.result, 0);
    const char *names[] = {"list", "item", "item_sel", "item", "item_sel", "img"};
    ASSERT_EQ(it.page.element_count, 6u);
    for (uint32_t i = 0; i < 6; i++)
        EXPECT_STREQ(it[i].name, names[i]);
    EXPECT_EQ(it[3].x, 3);
    EXPECT_EQ(it[3].y, 40);
    EXPECT_EQ(it[3].width, 200);
    EXPECT_EQ(it[3].height, 20);
    EXPECT_EQ(it[3].font_size, 20);
    EXPECT_EQ(it[3].font_color, 0xF800);
    EXPECT_EQ(it[4].font_color, 0x001F);
    EXPECT_EQ(it[3].font_color_2, 0);
    EXPECT_EQ(it[4].color, 0);
    EXPECT_EQ(it[4].text_align, 0u);
    EXPECT_EQ(it[4].action, nullptr);
}

TEST(skin_parse, refuses_a_list_that_would_never_end)
{
    EXPECT_EQ(parse_result(skin_xml("<list height=\"100\"/>")), -1);
    EXPECT_EQ(parse_result(skin_xml("<list height=\"100\" font_size=\"0\"/>")), -1);
    EXPECT_EQ(parse_result(skin_xml("<list height=\"100\" font_size=\"-3\"/>")), -1);
}

TEST(skin_parse, bounds_the_rows_of_a_list)
{
    EXPECT_EQ(row_tops(0, 240, 1).size(), 240u) << "a screen of the smallest rows is whole";
    EXPECT_EQ(row_tops(0, 240, 2).size(), 80u);
    EXPECT_EQ(row_tops(0, 63 * 30 + 20, 20).size(), 64u) << "as many as anybody asked for";
    EXPECT_LE(row_tops(0, 2000000000, 1).size(), skin_limit_rows);
    EXPECT_LE(row_tops(-2000000000, 2147483647, 1).size(), skin_limit_rows);
    EXPECT_EQ(row_tops(2147483647, 2147483647, 2147483647), (std::vector{2147483647}));
    EXPECT_TRUE(row_tops(-2147483647, 100, 2147483647).empty());
}

TEST(skin_parse, keeps_the_selected_row_of_an_endless_list_on_the_screen)
{
    for (const int y : {0, 10, 100, 200})
        for (const int size : {1, 2, 5, 12, 20, 33}) {
            const std::vector<int> tops = row_tops(y, 2000000000, size);
            ASSERT_FALSE(tops.empty()) << y << " " << size;
            const int selected = tops[(tops.size() - 1) / 2];
            EXPECT_GE(selected, 0) << y << " " << size;
            EXPECT_LE(selected + size, 240) << y << " " << size;
            EXPECT_GE(tops.back() + 3 * size, 240) << "rows down to the edge";
        }
}

TEST(skin_parse, refuses_broken_xml)
{
    for (const char *text : {"", " ", "<skin version=\"0.1\">", "<skin version=\"0.1\"></skin><b/>",
                             "<skin version=\"0.1\"><img></skin>", "skin", "<skin version=0.1/>",
                             "<skin version=\"0.1\"/>\xFF", "<?xml version=\"1.0\"?>"})
        EXPECT_EQ(parse_result(text), -1) << text;
}

TEST(skin_parse, notices_a_file_cut_off_at_the_end_of_a_chunk)
{
    std::string text = "<skin version=\"0.1\"><img/>";
    text += std::string(1024 - text.size(), ' ');
    EXPECT_EQ(parse_result(text), -1);
    EXPECT_EQ(parse_result(text + "</skin>"), 0);
}

TEST(skin_parse, gives_the_same_for_any_size_of_pieces)
{
    const std::string text =
        skin_xml("<list y=\"1\" height=\"99\" font_size=\"9\"/><img x=\"4\"/>");
    for (size_t piece = 1; piece < 20; piece++) {
        text_source source = {text};
        source.piece = piece;
        const parsed it(source);
        ASSERT_EQ(it.result, 0);
        EXPECT_EQ(it[it.page.element_count - 1].x, 4);
    }
}

TEST(skin_parse, refuses_a_file_whose_reading_fails)
{
    text_source source = {skin_xml("<img/>")};
    source.piece = 8;
    source.fails_at = 24;
    const parsed it(source);
    EXPECT_EQ(it.result, -1);
    EXPECT_EQ(it.page.elements, nullptr);
    ASSERT_EQ(it.notes.faults.size(), 1u);
    EXPECT_EQ(it.notes.faults[0].code, "unreadable");
}

TEST(skin_parse, refuses_a_file_above_a_mebibyte)
{
    const std::string text = skin_xml("<img/>");
    EXPECT_EQ(parse_result(text + std::string(skin_limit_text - text.size(), '\n')), 0);
    EXPECT_EQ(parse_result(text + std::string(skin_limit_text - text.size() + 1, '\n')), -1);
}

TEST(skin_parse, bounds_the_elements_of_a_part)
{
    std::string text;
    for (uint32_t i = 0; i < skin_room_of_part.elements; i++)
        text += "<i/>";
    const parsed whole(skin_xml(text));
    EXPECT_EQ(whole.result, 0);
    EXPECT_EQ(whole.room.elements, 0u);
    EXPECT_EQ(parse_result(skin_xml(text + "<i/>")), -1);
    text.clear();
    for (int i = 0; i < 1000; i++)
        text += "<list font_size=\"1\" height=\"999\"/>";
    EXPECT_EQ(parse_result(skin_xml(text)), -1);
}

TEST(skin_parse, bounds_what_entities_stand_for)
{
    std::string text =
        "<!DOCTYPE skin [<!ENTITY a \"" + std::string(900000, 'a') + "\">]><skin version=\"0.1\">";
    for (int i = 0; i < 40; i++)
        text += "<img src=\"&a;\"/>";
    const parsed values(text + "</skin>");
    EXPECT_EQ(values.result, -1);
    std::string content =
        "<!DOCTYPE skin [<!ENTITY a \"" + std::string(900000, 'a') + "\">]><skin version=\"0.1\">";
    for (int i = 0; i < 40; i++)
        content += "&a;";
    EXPECT_EQ(parse_result(content + "</skin>"), -1);
}

TEST(skin_parse, reads_small_entities)
{
    const parsed it("<!DOCTYPE skin [<!ENTITY dark \"#102030\">]>"
                    "<skin version=\"0.1\"><rect color=\"&dark;\"/></skin>");
    ASSERT_EQ(it.result, 0);
    EXPECT_EQ(it[0].color, 0x1106);
}

TEST(skin_parse, survives_deep_nesting)
{
    std::string text;
    for (int i = 0; i < 10000; i++)
        text += "<a>";
    for (int i = 0; i < 10000; i++)
        text += "</a>";
    const parsed it(skin_xml(text));
    EXPECT_EQ(it.result, 0);
    EXPECT_EQ(it.page.element_count, 10000u);
}

TEST(skin_parse, tells_where_a_value_is_wrong)
{
    const parsed it("<skin version=\"0.1\">\n"
                    "  <!-- \xE7\x9A\xAE\xE8\x82\xA4 --><img x=\"1\"\n"
                    "       src=\"x='2' y=3\"\r\n"
                    "       y = '12px'/>\n"
                    "</skin>");
    ASSERT_EQ(it.result, -1);
    ASSERT_EQ(it.notes.faults.size(), 1u);
    const seen_fault &fault = it.notes.faults[0];
    EXPECT_EQ(fault.code, "bad-number");
    EXPECT_EQ(fault.file, "list.xml");
    EXPECT_EQ(fault.line, 4u);
    EXPECT_EQ(fault.column, 8u);
    EXPECT_EQ(fault.element, "img");
    EXPECT_EQ(fault.attribute, "y");
    EXPECT_EQ(fault.value, "12px");
}

TEST(skin_parse, tells_the_column_of_an_attribute_on_the_line_of_its_tag)
{
    const parsed it("<skin version=\"0.1\">\n  <img format=\"\xE7\x9A\xAE\" x=\"a\"/></skin>");
    ASSERT_EQ(it.notes.faults.size(), 1u);
    EXPECT_EQ(it.notes.faults[0].line, 2u);
    EXPECT_EQ(it.notes.faults[0].column, 19u);
}

/* ASCII as UTF-16, behind its mark. */
static std::string widen(const std::string &text, bool little)
{
    std::string wide = little ? "\xFF\xFE" : "\xFE\xFF";
    for (const char c : text)
        wide += little ? std::string{c, '\0'} : std::string{'\0', c};
    return wide;
}

TEST(skin_parse, tells_places_as_editors_count_them)
{
    const std::string first = "<skin version=\"0.1\"><img x=\"a\"/></skin>";
    const std::string third =
        "<skin version=\"0.1\">\r\n<img src=\"a\"\r\n y = \"1\" x=\"a\"/></skin>";
    const std::string latin = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";
    const struct {
        std::string text;
        uint32_t line, column;
    } cases[] = {
        {first, 1, 26},
        {"\xEF\xBB\xBF" + first, 1, 26},
        {widen(first, true), 1, 26},
        {widen(first, false), 1, 26},
        {third, 3, 10},
        {"\xEF\xBB\xBF" + third, 3, 10},
        {widen(third, true), 3, 10},
        {widen(third, false), 3, 10},
        {latin + "<skin version=\"0.1\"><img src=\"20 \xB0\xB0\" x=\"a\"/></skin>", 2, 38},
        {"<skin version=\"0.1\">\n<img src=\"&quot;&amp;\"\n y=\"&nbsp;\"/></skin>", 3, 5},
        {"<skin version=\"0.1\">\n &nbsp;</skin>", 2, 2},
        {"<!DOCTYPE skin [<!ENTITY e \"<img x='a'/>\">]>\n<skin version=\"0.1\">&e;</skin>", 2, 21},
    };
    for (const auto &it : cases) {
        const parsed result(it.text);
        ASSERT_EQ(result.notes.faults.size(), 1u) << it.text;
        EXPECT_EQ(result.notes.faults[0].line, it.line) << it.text;
        EXPECT_EQ(result.notes.faults[0].column, it.column) << it.text;
    }
}

TEST(skin_parse, tells_why_a_file_is_refused)
{
    const struct {
        const char *text, *code;
        uint32_t line;
    } cases[] = {
        {"<skin version=\"0.1\">\n<img>\n</skin>", "xml", 3},
        {"\n<skin version=\"0.3\"/>", "bad-version", 2},
        {"<skin\n debug=\"1\"/>", "bad-version", 1},
        {"<skn/>", "bad-root", 1},
        {"<skin version=\"0.1\">\n<list/></skin>", "list-font-size", 2},
        {"<skin version=\"0.1\">\n<rect\ncolor=\"red\"/></skin>", "bad-color", 3},
        {"<skin version=\"0.1\"><text\n\ntext_align=\"up\"/></skin>", "bad-align", 3},
    };
    for (const auto &it : cases) {
        const parsed result(it.text);
        ASSERT_EQ(result.notes.faults.size(), 1u) << it.text;
        EXPECT_EQ(result.notes.faults[0].code, it.code);
        EXPECT_EQ(result.notes.faults[0].line, it.line) << it.text;
    }
}

TEST(skin_parse, shows_a_watcher_every_tag)
{
    struct tag_list {
        std::vector<std::string> lines;
    } list;
    const skin_watcher watcher = {
        .user = &list,
        .tag =
            [](void *user, const skin_tag *tag) {
                std::string line = std::string(tag->name) + " " + std::to_string(tag->element) +
                                   " " + std::to_string(tag->depth) + " " +
                                   std::to_string(tag->place.line);
                for (const char *const *at = tag->attributes; *at; at += 2)
                    line += std::string(" ") + at[0] + "=" + at[1] + "@" +
                            std::to_string(skin_tag_attribute_place(tag, at[0]).line);
                static_cast<tag_list *>(user)->lines.push_back(line);
            },
    };
    text_source source = {"<skin version=\"0.1\">\n<list font_size=\"10\"\n height=\"10\"/>\n"
                          "<img odd=\"1\"/></skin>"};
    skin_room room = skin_room_of_part;
    skin_page page;
    const skin_source from = {read_text, &source, "a.xml", &room, &watcher};
    ASSERT_EQ(skin_parse(&from, &page), 0);
    skin_page_clear(&page);
    EXPECT_EQ(list.lines, (std::vector<std::string>{
                              "skin -1 0 1 version=0.1@1",
                              "list 0 1 2 font_size=10@2 height=10@3",
                              "img 3 1 4 odd=1@4",
                          }));
}
