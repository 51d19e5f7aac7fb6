/* zerv-skin check tells a beginner's mistakes in words that help. */
#include "unit/tools/zerv_skin_check_fixture.h"

struct mistake {
    const char *xml;     /* on line 4 */
    const char *code;    /* a word of the report */
    const char *message; /* a part of what is told */
};

static std::string told_by(const check_result &result, const char *code)
{
    for (const report_finding &it : result.found.findings)
        if (it.code == code && it.line == 4)
            return it.message;
    return "nothing of " + std::string(code) + " on line 4 of\n" + to_text(result);
}

static void expect(const members &files, const mistake &it)
{
    const std::string told = told_by(check_members(files), it.code);
    EXPECT_NE(told.find(it.message), std::string::npos) << it.xml << "\n" << told;
}

static const mistake play_mistakes[] = {
    /* colours */
    {"<text format=\"a\" color=\"#ff0000\" width=\"90\" height=\"20\"/>", "other-color",
     "\"font_color\""},
    {"<lyrics color=\"#ff0000\" x=\"9\" y=\"40\" width=\"200\" height=\"90\"/>", "other-color",
     "\"font_color\""},
    {"<rect font_color=\"#ff0000\" x=\"9\" y=\"40\" width=\"90\" height=\"20\"/>", "other-color",
     "\"color\""},
    {"<rect x=\"9\" y=\"40\" width=\"90\" height=\"20\"/>", "no-color", "black"},
    {"<rect x=\"0\" y=\"40\" width=\"90\" height=\"30\" color=\"#224466\"/><text "
     "format=\"$battery\" "
     "y=\"40\" width=\"90\" height=\"30\" font_color=\"#204060\"/>",
     "low-contrast", "1.0 to 1"},
    {"<text format=\"$stopped\" y=\"40\" width=\"90\" height=\"30\" font_color=\"#ffff00\"/>",
     "low-contrast", "1.1 to 1"},
    /* where messages appear */
    {"<text format=\"$title\" y=\"190\" width=\"300\" height=\"20\" text_align=\"bottom\"/>",
     "message-strip", "6 pixels"},
    {"<button src=\"a.png\" action=\"next\" x=\"9\" y=\"200\" width=\"40\" height=\"40\"/>",
     "message-strip", "36 pixels"},
    {"<lyrics x=\"9\" y=\"140\" width=\"200\" height=\"90\"/>", "message-strip", "26 pixels"},
    {"<img src=\"a.png\" x=\"9\" y=\"205\" show=\"pause\"/>", "message-strip", "31 pixels"},
    /* elements over one another */
    {"<text format=\"$title\" y=\"40\" width=\"200\" height=\"20\"/><text format=\"$artist\" "
     "y=\"42\" "
     "width=\"200\" height=\"20\"/>",
     "overlap", "the text of line 4"},
    {"<text format=\"$title\" y=\"40\" width=\"200\" height=\"20\"/><lyrics y=\"44\" width=\"200\" "
     "height=\"90\"/>",
     "overlap", "while a track plays"},
    {"<text format=\"$stopped\" y=\"40\" width=\"200\" height=\"20\"/><text format=\"$time\" "
     "y=\"40\" "
     "width=\"200\" height=\"20\" hide=\"play\"/>",
     "overlap", "while nothing plays"},
    {"<text format=\"$title\" y=\"40\" width=\"200\" height=\"20\"/><rect y=\"30\" width=\"220\" "
     "height=\"40\" color=\"#eeeeee\"/>",
     "covered", "the rect of line 4"},
    {"<button action=\"next\" src=\"a.png\" x=\"0\" y=\"50\" width=\"40\" height=\"40\"/><button "
     "action=\"prev\" src=\"a.png\" x=\"10\" y=\"50\" width=\"40\" height=\"40\"/>",
     "overlap", "\"next\" of line 4"},
    /* is it meant? */
    {"<imge src=\"a.png\"/>", "unknown-element", "\"img\" meant?"},
    {"<label format=\"a\"/>", "unknown-element", "\"text\" meant?"},
    {"<Button src=\"a.png\"/>", "unknown-element", "\"button\" meant?"},
    {"<albumcover width=\"9\" height=\"9\"/>", "unknown-element", "\"album_cover\" meant?"},
    {"<img src=\"a.png\" widht=\"9\"/>", "unknown-attribute", "\"width\" meant?"},
    {"<img src=\"a.png\" w=\"9\"/>", "unknown-attribute", "\"width\" meant?"},
    {"<text format=\"a\" font-size=\"9\"/>", "unknown-attribute", "\"font_size\" meant?"},
    {"<text format=\"a\" font_colour=\"#123456\"/>", "unknown-attribute", "\"font_color\" meant?"},
    {"<text format=\"$tilte\" width=\"90\"/>", "unknown-token", "\"$title\" meant?"},
    {"<text format=\"$minutes\" width=\"90\"/>", "unknown-token", "\"$mins\" meant?"},
    {"<text format=\"$path\" width=\"90\"/>", "unknown-token", "the list screen"},
    {"<button src=\"a.png\" action=\"previous\"/>", "unknown-action", "\"prev\" meant?"},
    {"<button src=\"a.png\" action=\"Next\"/>", "unknown-action", "\"next\" meant?"},
    {"<scroll type=\"fill-x\" src=\"a.png\" width=\"32\" height=\"32\" action=\"position\"/>",
     "unknown-action", "\"play\" meant?"},
    {"<scroll type=\"fillx\" src=\"a.png\" width=\"32\" height=\"32\" action=\"play\"/>",
     "unknown-type", "\"fill-x\" meant?"},
    {"<img src=\"a.png\" show=\"paused\"/>", "unknown-condition", "\"pause\" meant?"},
    /* fingers */
    {"<button src=\"a.png\" action=\"next\" width=\"31\" height=\"40\"/>", "small-target",
     "the button \"next\" is 31 x 40 pixels; a finger needs 32 x 32"},
    {"<scroll type=\"fill-x\" src=\"a.png\" action=\"play\" width=\"200\" height=\"30\"/>",
     "small-target", "the bar \"play\" is 200 x 30 pixels"},
    /* XML */
    {"<text format=\"Rock & Roll\"/>", "xml", "&amp;"},
    {"<text format=\"Rock &Roll;\"/>", "xml", "&amp;"},
    {"<text format=\"a < b\"/>", "xml", "&lt;"},
    {"<text format=a/>", "xml", "quotes"},
    {"<text format=\"a\"width=\"9\"/>", "xml", "blank"},
    {"<text format=\"a\" format=\"b\"/>", "xml", "twice"},
    {"<text format=\"a\"></txt>", "xml", "another tag"},
    {"<text format=\"\xE9\"/>", "xml", "UTF-8"},
    {"<text format/>", "xml", "name=\"value\""},
};

static const mistake list_mistakes[] = {
    {"<text format=\"$artist\" y=\"200\" width=\"90\"/>", "unknown-token", "the play screen"},
    {"<text format=\"$folder\" width=\"90\"/>", "unknown-token", "\"$path\" meant?"},
    {"<list x=\"0\" y=\"50\" width=\"90\" height=\"170\" font_size=\"24\"/>", "message-strip",
     "14 pixels"},
    {"<list x=\"0\" y=\"50\" width=\"90\" height=\"100\" font_size=\"20\"/>", "small-target",
     "rows of 20 pixels, 30 with the gap below, are hard to touch"},
    {"<item x=\"0\" y=\"0\" width=\"90\" height=\"31\"/><item_sel x=\"0\" y=\"0\" width=\"90\" "
     "height=\"32\"/>",
     "small-target", "the item is 90 x 31 pixels"},
};

TEST_F(zerv_skin_check, tells_the_mistakes_of_beginners)
{
    for (const mistake &it : play_mistakes)
        expect(good_skin(it.xml), it);
    for (const mistake &it : list_mistakes)
        expect(good_skin("", it.xml), it);
}

TEST_F(zerv_skin_check, tells_the_line_of_a_fault_in_the_xml)
{
    const check_result result = check_members(good_skin("<text\nformat=\"Rock & Roll\"/>"));
    ASSERT_EQ(result.found.findings.size(), 1u);
    EXPECT_EQ(result.found.findings[0].line, 5u);
    EXPECT_EQ(result.found.findings[0].column, 15u) << "behind the &";
}

TEST_F(zerv_skin_check, measures_the_letters_of_rows_where_they_are_drawn)
{
    /* The cursor is on the third of five rows, which alone has a dark ground. */
    members files = good_skin();
    const std::string ground = "<rect y=\"72\" width=\"320\" height=\"30\" color=\"#203040\"/>",
                      rows = "<list width=\"280\" height=\"180\" font_size=\"24\" ";
    const struct {
        const char *colours, *told;
    } cases[] = {
        {"font_color=\"#203040\" font_color_2=\"#ffffff\"/>", ""},
        {"font_color=\"#203040\" font_color_2=\"#304050\"/>", "font_color_2 1.3 to 1"},
        {"font_color=\"#f0f0f0\" font_color_2=\"#ffffff\"/>", "font_color 1.1 to 1"},
    };
    for (const auto &it : cases) {
        set_member(&files, "list.xml", skin_xml(ground + rows + it.colours));
        const check_result result = check_members(files);
        std::string told;
        for (const report_finding &each : result.found.findings)
            told = each.attribute + each.message.substr(each.message.find(" of ") + 3, 9);
        EXPECT_EQ(told, it.told) << to_text(result);
    }
}

TEST_F(zerv_skin_check, measures_the_strip_for_messages)
{
    const struct {
        const char *colour, *message;
    } cases[] = {
        {"#ffffff", nullptr},          {"#f0e3cb", nullptr},      {"#ffb84d", "red ones have"},
        {"#204060", "blue ones have"}, {"#204060", "x 0, y 204"},
    };
    for (const auto &it : cases) {
        const check_result result = check_members(
            good_skin(std::string("<rect y=\"100\" width=\"320\" height=\"140\" color=\"") +
                      it.colour + "\"/>"));
        if (!it.message)
            EXPECT_EQ(to_text(result), "") << it.colour;
        else
            EXPECT_NE(to_text(result).find(it.message), std::string::npos) << to_text(result);
    }
}

TEST_F(zerv_skin_check, finds_no_fault_in_elements_that_take_turns)
{
    const char *const fine[] = {
        /* two bars of one action, a label over a bar, a text over a picture */
        "<scroll type=\"fill-x\" src=\"a.png\" action=\"play\" y=\"100\" width=\"200\" "
        "height=\"32\"/><scroll type=\"move-x\" src=\"a.png\" action=\"play\" y=\"100\" "
        "width=\"200\" height=\"32\"/><text format=\"$time\" x=\"9\" y=\"104\" width=\"90\" "
        "height=\"20\" font_color=\"#000000\"/>",
        /* buttons, texts and pictures that are never there together */
        "<button action=\"play\" src=\"a.png\" y=\"100\" width=\"40\" height=\"40\" "
        "show=\"pause\"/>"
        "<button action=\"pause\" src=\"a.png\" y=\"100\" width=\"40\" height=\"40\" "
        "hide=\"pause\"/>",
        "<text format=\"$title\" y=\"50\" width=\"200\" height=\"20\"/><text format=\"$stopped\" "
        "y=\"50\" width=\"200\" height=\"20\"/>",
        "<img src=\"a.png\" x=\"0\" y=\"100\"/><album_cover y=\"100\" width=\"90\" height=\"90\"/>",
        /* texts in boxes that only touch */
        "<text format=\"$title\" y=\"50\" width=\"200\" height=\"24\" text_align=\"middle\"/>"
        "<text format=\"$artist\" y=\"66\" width=\"200\" height=\"24\" text_align=\"middle\"/>",
    };
    for (const char *xml : fine)
        EXPECT_EQ(to_text(check_members(good_skin(xml))), "") << xml;
}

TEST_F(zerv_skin_check, survives_boxes_at_the_ends_of_numbers)
{
    for (const char *end : {"2147483647", "-2147483648"}) {
        const std::string place = std::string(" x=\"") + end + "\" y=\"" + end + "\" ";
        const check_result result = check_members(good_skin(
            "<text format=\"$title\" width=\"2147483647\" height=\"2147483647\" "
            "text_align=\"right bottom\"" +
            place + "/><lyrics width=\"2147483647\" height=\"2147483647\"" + place +
            "/><button action=\"next\" width=\"2147483647\" height=\"2147483647\"" + place +
            "/><button action=\"prev\" width=\"2147483647\" height=\"2147483647\"/>"));
        EXPECT_EQ(report_status(&result.found), 1) << to_text(result);
    }
}
