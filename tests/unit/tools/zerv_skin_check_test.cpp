/* zerv-skin check finds faults, each on its line. */
#include "unit/tools/zerv_skin_check_fixture.h"

TEST_F(zerv_skin_check, finds_nothing_in_a_good_skin)
{
    const check_result result = check_members(good_skin());
    EXPECT_EQ(to_text(result), "");
    EXPECT_EQ(report_status(&result.found), 0);
    EXPECT_TRUE(result.list.loads);
    EXPECT_TRUE(result.play.loads);
    EXPECT_EQ(result.play.variants, 1u);
}

struct seeded_fault {
    const char *xml; /* on line 4; `line` says where the fault stands */
    const char *code;
    uint32_t line;
    report_level level = report_level::warning;
};

constexpr report_level error = report_level::error;

static const seeded_fault play_faults[] = {
    {"<img>", "xml", 5, error},
    {"<img x=\"1\" x=\"2\"/>", "xml", 4, error},
    {"<img a=b/>", "xml", 4, error},
    {"\n</skin><more/>", "xml", 5, error},
    {"<img src=\"a.png\" x=\"12px\"/>", "bad-number", 4, error},
    {"<img src=\"a.png\"\n  y=\"\n1.5\"/>", "bad-number", 5, error},
    {"<img src=\"a.png\" width=\"1 \"/>", "bad-number", 4, error},
    {"<rect width=\"9\" height=\"9\"\ncolor=\"red\"/>", "bad-color", 5, error},
    {"<rect width=\"9\" height=\"9\" color=\"#fff\"/>", "bad-color", 4, error},
    {"<rect width=\"9\" height=\"9\"\n\ncolor=\"#12345g\"/>", "bad-color", 6, error},
    {"<text format=\"x\" font_color=\"ff0000\"/>", "bad-color", 4, error},
    {"<text format=\"x\"\ntext_align=\"centre\"/>", "bad-align", 5, error},
    {"<skin/>", "bad-version", 4, error},
    {"<skin version=\"0.2\"/>", "bad-version", 4, error},
    {"<list width=\"9\" height=\"100\"/>", "list-font-size", 4, error},
    {"<list width=\"9\" height=\"100\"\nfont_size=\"0\"/>", "list-font-size", 5, error},
    {"<img src=\"broken.png\"/>", "image", 4, error},
    {"<img\n\nsrc=\"broken.png\"/>", "image", 6, error},
    {"<img src=\"missing.png\"/>", "missing-image", 4},
    {"<img x=\"1\"\nsrc=\"A.png\"/>", "missing-image", 5},
    {"<img src=\"./a.png\"/>", "missing-image", 4},
    {"<img x=\"1\"/>", "no-image", 4},
    {"<picture src=\"a.png\"/>", "unknown-element", 4},
    {"<item x=\"1\" y=\"1\" width=\"30\" height=\"30\"/>", "wrong-part", 4},
    {"<img src=\"a.png\" hight=\"3\"/>", "unknown-attribute", 4},
    {"<img src=\"a.png\"\n\n onclick=\"3\"/>", "unknown-attribute", 6},
    {"<rect width=\"9\" height=\"9\" color=\"#0x1234\"/>", "odd-color", 4},
    {"<img src=\"a.png\" show=\"playing\"/>", "unknown-condition", 4},
    {"<img src=\"a.png\"\nhide=\"cover\"/>", "unknown-condition", 5},
    {"<img src=\"a.png\"\nhide=\"album_cover\"/>", "never-asked", 5},
    {"<lyrics width=\"200\" height=\"90\"\nshow=\"lyrics\"/>", "never-asked", 5},
    {"<button src=\"a.png\" action=\"quit\"/>", "unknown-action", 4},
    {"<scroll type=\"fill-x\" src=\"a.png\" width=\"30\" height=\"30\"\naction=\"volume\"/>",
     "unknown-action", 5},
    {"<scroll type=\"fill-x\" src=\"a.png\" width=\"30\" height=\"30\" action=\"list\"/>",
     "wrong-part", 4},
    {"<scroll src=\"a.png\" width=\"30\" height=\"30\" action=\"play\"/>", "no-type", 4},
    {"<scroll\ntype=\"fill\" src=\"a.png\" width=\"30\" height=\"30\" action=\"play\"/>",
     "unknown-type", 5},
    {"<scroll type=\"fill-x\" src=\"a.png\" width=\"30\" height=\"30\"/>", "no-action", 4},
    {"<scroll type=\"fill-x\" width=\"30\" height=\"30\" action=\"battery\"/>", "no-image", 4},
    {"<scroll type=\"fill-x\" src=\"a.png\"\nwidth=\"1\" height=\"30\" action=\"battery\"/>",
     "short-bar", 5},
    {"<scroll type=\"move-y\" src=\"a.png\" width=\"30\"\n height=\"1\" action=\"battery\"/>",
     "short-bar", 5},
    {"<scroll type=\"part-x-rev\" src=\"a.png\" width=\"40\" action=\"battery\"/>",
     "bar-image-length", 4},
    {"<scroll type=\"fill-x\" src=\"a.png\" width=\"100\"\nheight=\"10\" action=\"play\"/>",
     "small-target", 5},
    {"<button src=\"a.png\" action=\"next\" width=\"23\"/>", "small-target", 4},
    {"<button action=\"next\" x=\"5\" y=\"5\"/>", "no-size", 4},
    {"<album_cover x=\"5\" y=\"5\"/>", "no-size", 4},
    {"<lyrics x=\"5\" y=\"5\" width=\"100\" height=\"40\" font_size=\"16\"/>", "low-box", 4},
    {"<text format=\"x\" width=\"30\" height=\"10\" font_size=\"16\"/>", "low-box", 4},
    {"<text width=\"30\" height=\"20\"/>", "no-format", 4},
    {"<text format=\"x\" font_size=\"-3\"/>", "negative-size", 4},
    {"<rect x=\"1\" y=\"1\" width=\"-9\" height=\"9\"/>", "negative-size", 4},
    {"<rect x=\"320\" y=\"1\" width=\"9\" height=\"9\"/>", "outside", 4},
    {"<rect x=\"1\" y=\"-9\" width=\"9\" height=\"9\"/>", "outside", 4},
    {"<text\nformat=\"$tilte\"/>", "unknown-token", 5},
    {"<text format=\"$title of $path\" width=\"300\"/>", "unknown-token", 4},
    {"<text format=\"$battery\" font_size=\"20\"\nwidth=\"20\" height=\"30\"/>", "text-too-wide",
     5},
    {"<text format=\"$title\" font_size=\"30\" width=\"90\" height=\"30\"/>", "text-too-wide", 4},
    {"<text format=\"$02mins:$02secs\" font_size=\"20\" width=\"40\" height=\"30\"/>",
     "text-too-wide", 4},
};

static const seeded_fault list_faults[] = {
    {"<item x=\"0\" y=\"0\" width=\"200\" height=\"30\"/>", "uneven-rows", 2},
    {"<item x=\"0\" y=\"220\" width=\"200\" height=\"30\"/>\n"
     "<item_sel x=\"0\" y=\"220\" width=\"200\" height=\"30\"/>",
     "row-outside", 5},
    {"<list x=\"0\" y=\"10\" width=\"9\"\nheight=\"280\" font_size=\"24\"/>", "row-outside", 4},
    {"<list x=\"0\" y=\"10\" width=\"9\" height=\"60\"\nfont_size=\"16\"/>", "small-target", 5},
    {"<list x=\"0\" y=\"10\" width=\"9\"\nheight=\"20\" font_size=\"24\"/>", "no-rows", 5},
    {"<list x=\"0\" y=\"0\" width=\"9\"\nheight=\"99999\" font_size=\"24\"/>", "many-rows", 5},
    {"<album_cover x=\"0\" y=\"0\" width=\"30\" height=\"30\"/>", "wrong-part", 4},
    {"<img src=\"a.png\"\nshow=\"play\"/>", "no-condition", 5},
    {"<img src=\"a.png\" action=\"next\"/>", "wrong-part", 4},
    {"<text format=\"$artist\"/>", "unknown-token", 4},
};

static bool has(const check_result &result, const std::string &file, const seeded_fault &fault)
{
    for (const report_finding &it : result.found.findings)
        if (it.file == file && it.code == fault.code && it.line == fault.line &&
            it.level == fault.level)
            return true;
    return false;
}

TEST_F(zerv_skin_check, finds_each_seeded_fault_on_its_line)
{
    size_t count = 0;
    for (const seeded_fault &fault : play_faults) {
        const check_result result = check_members(good_skin(fault.xml));
        EXPECT_TRUE(has(result, "play.xml", fault)) << fault.xml << "\n" << to_text(result);
        EXPECT_EQ(report_status(&result.found), fault.level == error ? 2 : 1) << fault.xml;
        count++;
    }
    for (const seeded_fault &fault : list_faults) {
        const check_result result = check_members(good_skin("", fault.xml));
        EXPECT_TRUE(has(result, "list.xml", fault)) << fault.xml << "\n" << to_text(result);
        EXPECT_EQ(report_status(&result.found), 1) << fault.xml << "\n" << to_text(result);
        count++;
    }
    EXPECT_GE(count, 40u);
}

struct seeded_member {
    const char *name, *content;
    const char *code;
    uint32_t line;
    report_level level;
};

static const seeded_member member_faults[] = {
    {"play.xml", "<skin version=\"0.3\"/>", "bad-version", 1, error},
    {"play.xml", "<skn version=\"0.1\"/>", "bad-root", 1, error},
    {"play.xml", "", "xml", 1, error},
    {"play.xml", "<skin version=\"0.1\"\ndebug=\"on\"/>", "bad-number", 2, error},
    {"play.xml", "<skin version=\"0.1\"\ndebug=\"1\"/>", "debug", 2, report_level::warning},
    {"play.xml", "<skin version=\"0.1\"\nshow=\"pause\"/>", "unknown-condition", 2,
     report_level::warning},
    {"play.xml", "<skin version=\"0.1\" shows=\"x\"/>", "unknown-attribute", 1,
     report_level::warning},
    {"play.xml", "<skin version=\"0.1\" show=\"lyrics\"/>", "no-variant", 0, report_level::warning},
    {"play-0.xml", "<skin version=\"0.1\"/>", "same-variant", 0, report_level::warning},
    {"list-1.xml",
     "<skin version=\"0.1\"><list width=\"9\" height=\"99\" font_size=\"30\"/></skin>",
     "unused-variant", 0, report_level::warning},
    {"list.xml", "<skin version=\"0.1\"/>", "no-rows", 1, report_level::warning},
    {"list.xml",
     "<skin version=\"0.1\" hide=\"lyrics\"><list width=\"9\" height=\"99\" "
     "font_size=\"30\"/></skin>",
     "no-condition", 1, report_level::warning},
    {"Play-1.xml", "", "part-name", 0, report_level::warning},
    {"my-list.xml", "", "part-name", 0, report_level::warning},
    {"sub/play.xml", "", "part-name", 0, report_level::warning},
    {"play--1.txt", "", "part-name", 0, report_level::warning},
    {"menu.xml", "", "unknown-part", 0, report_level::warning},
    {"../other.png", "", "odd-name", 0, report_level::warning},
};

TEST_F(zerv_skin_check, finds_faults_of_whole_files)
{
    for (const seeded_member &fault : member_faults) {
        members files = good_skin();
        set_member(&files, fault.name, fault.content);
        const check_result result = check_members(files);
        EXPECT_TRUE(has(result, fault.name, {"", fault.code, fault.line, fault.level}))
            << fault.name << " " << fault.content << "\n"
            << to_text(result);
        EXPECT_EQ(report_status(&result.found), fault.level == error ? 2 : 1);
    }
}

TEST_F(zerv_skin_check, tells_column_element_attribute_and_value)
{
    const check_result result = check_members(good_skin("  <img src=\"a.png\"\n   x=\"12px\"/>"));
    ASSERT_EQ(result.found.findings.size(), 1u);
    const report_finding &it = result.found.findings[0];
    EXPECT_EQ(it.line, 5u);
    EXPECT_EQ(it.column, 4u);
    EXPECT_EQ(it.element, "img");
    EXPECT_EQ(it.attribute, "x");
    EXPECT_EQ(it.value, "12px");
}

TEST_F(zerv_skin_check, tells_why_an_image_does_not_decode)
{
    std::string huge = make_png(2, 2);
    const char size[] = {0, 0, static_cast<char>(0xEA), 0x60}; /* 60 000 */
    memcpy(huge.data() + 16, size, 4);
    memcpy(huge.data() + 20, size, 4);
    const struct {
        std::string content;
        const char *reason;
    } cases[] = {
        {huge, "60000 x 60000"},
        {"BM no picture that is known", "neither a PNG"},
        {make_png(9, 9).substr(0, 50), "damaged"},
        {"", "empty"},
    };
    for (const auto &it : cases) {
        members files = good_skin("<img src=\"b.png\"/>");
        files.push_back({"b.png", it.content});
        const check_result result = check_members(files);
        ASSERT_EQ(result.found.findings.size(), 1u) << it.reason;
        EXPECT_NE(result.found.findings[0].message.find(it.reason), std::string::npos)
            << to_text(result);
        EXPECT_FALSE(result.play.loads);
    }
}

TEST_F(zerv_skin_check, tells_a_broken_image_that_is_a_part_file_at_its_element)
{
    const check_result result = check_members(good_skin("<img src=\"play.xml\"/>"));
    ASSERT_EQ(result.found.findings.size(), 1u);
    EXPECT_TRUE(has(result, "play.xml", {"", "image", 4, error})) << to_text(result);
}

TEST_F(zerv_skin_check, tells_the_line_in_every_encoding)
{
    const std::string text =
        "<skin version=\"0.1\">\r\n<img src=\"a.png\"\r\n  hight=\"1\"/></skin>";
    std::string little = "\xFF\xFE", big = "\xFE\xFF";
    for (const char c : text) {
        little += {c, '\0'};
        big += {'\0', c};
    }
    for (const std::string &content : {text, "\xEF\xBB\xBF" + text, little, big}) {
        members files = good_skin();
        set_member(&files, "play.xml", content);
        const check_result result = check_members(files);
        ASSERT_EQ(result.found.findings.size(), 1u);
        EXPECT_EQ(result.found.findings[0].line, 3u);
        EXPECT_EQ(result.found.findings[0].column, 3u);
    }
}

TEST_F(zerv_skin_check, guesses_which_file_was_meant)
{
    for (const char *src : {"A.png", "./a.png", ".\\a.PNG"}) {
        const check_result result =
            check_members(good_skin(std::string("<img src=\"") + src + "\"/>"));
        ASSERT_EQ(result.found.findings.size(), 1u) << src;
        EXPECT_NE(result.found.findings[0].message.find("\"a.png\" meant"), std::string::npos);
    }
}

TEST_F(zerv_skin_check, says_that_a_package_is_missing)
{
    const check_result result = check("missing.zip");
    ASSERT_EQ(result.found.findings.size(), 1u);
    EXPECT_EQ(result.found.findings[0].message, "No such file or directory");
}

TEST_F(zerv_skin_check, tells_every_element_that_names_a_broken_image)
{
    const check_result result =
        check_members(good_skin("<img src=\"broken.png\"/>\n<img src=\"broken.png\"/>"));
    ASSERT_EQ(result.found.findings.size(), 2u);
    EXPECT_EQ(result.found.findings[0].line, 4u);
    EXPECT_EQ(result.found.findings[1].line, 5u);
}

TEST_F(zerv_skin_check, goes_on_after_a_fault_of_another_file)
{
    members files = good_skin("<img src=\"broken.png\"/>\n<picture/>");
    set_member(&files, "play-1.xml", "<skin version=\"0.2\"/>");
    const check_result result = check_members(files);
    EXPECT_TRUE(has(result, "play.xml", {"", "image", 4, error}));
    EXPECT_TRUE(has(result, "play.xml", {"", "unknown-element", 5}));
    EXPECT_TRUE(has(result, "play-1.xml", {"", "bad-version", 1, error}));
}

TEST_F(zerv_skin_check, checks_a_package_with_one_part_only)
{
    members files = good_skin();
    files.erase(files.begin());
    const check_result result = check_members(files);
    EXPECT_EQ(to_text(result), "");
    EXPECT_FALSE(result.list.present);
}

TEST_F(zerv_skin_check, refuses_what_is_no_skin)
{
    write_file("x.zip", "no archive");
    ASSERT_EQ(mkdir("empty", 0755), 0);
    make_zip("other.zip", {{"readme.md", "x"}});
    for (const char *path : {"x.zip", "missing", "empty", "other.zip"}) {
        const check_result result = check(path);
        EXPECT_EQ(report_status(&result.found), 2) << path;
    }
}

TEST_F(zerv_skin_check, tells_what_the_player_leaves_out_of_a_package)
{
    std::string deep = "s";
    for (uint32_t i = 0; i <= skin_limit_depth; i++)
        deep += "/d";
    make_folder("s", good_skin());
    make_folder(deep, {{"x.png", ""}});
    check_result result = check("s");
    ASSERT_EQ(result.found.findings.size(), 1u) << to_text(result);
    EXPECT_EQ(result.found.findings[0].code, "left-out");
    EXPECT_EQ(result.found.findings[0].file, deep.substr(2) + "/");
    EXPECT_TRUE(result.play.loads);

    members files = good_skin();
    for (uint32_t i = 1; i <= skin_limit_variants; i++)
        files.push_back({"play-" + std::to_string(i) + ".xml", skin_xml("")});
    result = check_members(files);
    EXPECT_TRUE(has(result, "play-256.xml", {"", "too-many", 0, error})) << to_text(result);
    EXPECT_EQ(result.play.variants, skin_limit_variants);
}

TEST_F(zerv_skin_check, measures_nothing_without_a_font)
{
    check_result result = {};
    make_zip("s.zip",
             good_skin("<text format=\"$title\" font_size=\"30\" width=\"9\" height=\"30\"/>"));
    check_package("s.zip", false, &result);
    EXPECT_EQ(to_text(result), "");
}
