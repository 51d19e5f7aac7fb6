/* What zerv-skin check finds, where it says it is, and that it agrees with the player. */
#include "tools/zerv_skin/check.h"

#include "skin/skin_package.h"
#include "skin/skin_parse.h"
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

static check_result check(const char *path)
{
    check_result result = {};
    check_package(path, true, &result);
    return result;
}

static int status_of(const char *path)
{
    const check_result result = check(path);
    return report_status(&result.found);
}

static std::string to_text(const check_result &result)
{
    std::string text;
    for (const report_finding &it : result.found.findings)
        text += it.file + ":" + std::to_string(it.line) + ":" + std::to_string(it.column) + " " +
                it.code + ": " + it.message + "\n";
    return text;
}

/* A skin without a flaw; `play` and `list` stand on line 4 of their files. */
static members good_skin(const std::string &play = "", const std::string &list = "")
{
    return {
        {"list.xml", "<?xml version=\"1.0\"?>\n"
                     "<skin version=\"0.1\">\n"
                     "<list x=\"0\" y=\"0\" width=\"280\" height=\"240\" font_size=\"24\"/>\n" +
                         list + "\n</skin>\n"},
        {"play.xml", "<?xml version=\"1.0\"?>\n"
                     "<skin version=\"0.1\">\n"
                     "<img src=\"a.png\" x=\"0\" y=\"0\"/>\n" +
                         play + "\n</skin>\n"},
        {"a.png", make_png(30, 30)},
        {"broken.png", make_png(30, 30).substr(0, 60)},
    };
}

static void set_member(members *of, const std::string &name, const std::string &content)
{
    for (auto &[known, old] : *of)
        if (known == name) {
            old = content;
            return;
        }
    of->push_back({name, content});
}

static check_result check_members(const members &files)
{
    (void)file_remove("s.zip");
    make_zip("s.zip", files);
    return check("s.zip");
}

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
    const char size[] = {0, 0, char(0xEA), 0x60}; /* 60 000 */
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

TEST_F(zerv_skin_check, measures_nothing_without_a_font)
{
    check_result result = {};
    make_zip("s.zip",
             good_skin("<text format=\"$title\" font_size=\"30\" width=\"9\" height=\"30\"/>"));
    check_package("s.zip", false, &result);
    EXPECT_EQ(to_text(result), "");
}

/* ---- agreement with the player ---- */

struct name_count {
    uint32_t list = 0, play = 0;
};

static int count_part(skin_package *, const char *name, void *user)
{
    char part[skin_name_size];
    int32_t variant = 0;
    name_count *count = static_cast<name_count *>(user);
    if (skin_match_part(name, part, &variant)) {
        count->list += strcmp(part, "list") == 0;
        count->play += strcmp(part, "play") == 0;
    }
    return 0;
}

/* True when the player takes every part file of the package. */
static bool player_takes_all(const char *path, const check_result &result)
{
    skin_package package;
    name_count count;
    if (skin_package_open(&package, path) != 0)
        return false;
    const bool walked = skin_package_walk(&package, true, count_part, &count) == 0;
    if (skin_package_close(&package) != 0 || !walked)
        return false;
    const part_owner list(skin_read_part(path, "list")), play(skin_read_part(path, "play"));
    EXPECT_EQ(result.list.loads, list != nullptr);
    EXPECT_EQ(result.play.loads, play != nullptr);
    EXPECT_EQ(result.list.variants, list ? list->count : 0);
    EXPECT_EQ(result.play.variants, play ? play->count : 0);
    const bool whole =
        (list ? list->count : 0) == count.list && (play ? play->count : 0) == count.play;
    return whole && count.list + count.play > 0;
}

static std::string read_whole(const char *path)
{
    std::string content;
    FILE *file = fopen(path, "rb");
    for (int c = 0; file && (c = fgetc(file)) != EOF;)
        content += static_cast<char>(c);
    if (file)
        fclose(file);
    return content;
}

static void mutate(std::string *bytes, std::mt19937 *random)
{
    if (bytes->empty())
        return;
    static const char *const pieces[] = {"\"",    "<", ">",    "/",   "#",       "-",
                                         " ",     "$", "12px", "&a;", "<skin/>", "font_size=\"0\" ",
                                         "a.png", "\n"};
    const size_t at = (*random)() % bytes->size();
    switch ((*random)() % 4) {
    case 0:
        (*bytes)[at] = static_cast<char>((*random)());
        break;
    case 1:
        bytes->erase(at, 1 + (*random)() % 20);
        break;
    case 2:
        bytes->insert(at, pieces[(*random)() % std::size(pieces)]);
        break;
    default:
        bytes->insert(at, bytes->substr((*random)() % bytes->size(), (*random)() % 60));
        break;
    }
}

static void compare(const char *path)
{
    const check_result result = check(path);
    EXPECT_EQ(player_takes_all(path, result), report_status(&result.found) < 2) << to_text(result);
}

static members rich_skin()
{
    members files = good_skin(
        "<text format=\"$title - $artist\" x=\"1\" y=\"2\" font_color=\"#102030\" "
        "text_align=\"left middle\" show=\"play\"/>\n"
        "<scroll type=\"fill-x\" src=\"b/c.png\" action=\"play\" width=\"100\" height=\"30\"/>\n"
        "<rect x=\"-5\" width=\"20\" height=\"20\" color=\"#aabbcc\"/>",
        "<text format=\"$time\" font_size=\"14\" origin_x=\"3\"/>");
    files.pop_back();
    files.push_back({"play-1.xml", skin_xml("<img src=\"b/c.png\"/>")});
    files.push_back({"b/c.png", make_png(7, 5, 0x80112233)});
    return files;
}

TEST_F(zerv_skin_check, agrees_with_the_player_about_mutated_files)
{
    std::mt19937 random(20260109);
    int refused = 0;
    for (int round = 0; round < 500; round++) {
        members files = rich_skin();
        mutate(&files[random() % files.size()].second, &random);
        (void)file_remove("s.zip");
        (void)file_remove("s");
        const bool folder = round % 4 == 0;
        if (folder)
            make_folder("s", files);
        else
            make_zip("s.zip", files);
        SCOPED_TRACE(round);
        compare(folder ? "s" : "s.zip");
        refused += status_of(folder ? "s" : "s.zip") == 2;
    }
    EXPECT_GT(refused, 100);
    EXPECT_LT(refused, 450);
}

TEST_F(zerv_skin_check, agrees_with_the_player_about_mutated_archives)
{
    std::mt19937 random(4711);
    make_zip("whole.zip", rich_skin());
    const std::string whole = read_whole("whole.zip");
    for (int round = 0; round < 400; round++) {
        std::string bytes = whole;
        mutate(&bytes, &random);
        write_file("s.zip", bytes);
        SCOPED_TRACE(round);
        compare("s.zip");
    }
}

/* Entity in entity: the last one stands for a thousand million texts. */
static std::string billion_laughs(const std::string &body)
{
    std::string text = "<!DOCTYPE skin [<!ENTITY a0 \"ha\">";
    for (int i = 1; i < 10; i++) {
        text += "<!ENTITY a" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; k++)
            text += "&a" + std::to_string(i - 1) + ";";
        text += "\">";
    }
    return text + "]>\n<skin version=\"0.1\">\n" + body + "</skin>";
}

TEST_F(zerv_skin_check, agrees_with_the_player_about_odd_documents)
{
    const std::string open = "<skin version=\"0.1\">";
    const struct {
        std::string content;
        int status;
    } cases[] = {
        {"\xEF\xBB\xBF" + open + "</skin>", 0},
        {std::string("<skin version=\"0.1\">\0</skin>", 28), 2},
        {"<?xml version=\"1.0\" encoding=\"EUC-KR\"?>" + open + "</skin>", 2},
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + open + "</skin>", 0},
        {" <?xml version=\"1.0\"?>" + open + "</skin>", 2},
        {"x" + open + "</skin>", 2},
        {open + "</skin>x", 2},
        {open + "</skin>" + open + "</skin>", 2},
        {open + open + "</skin></skin>", 0},
        {open + "<skin/></skin>", 2},
        {"<s><skin version=\"0.1\"/></s>", 2},
        {"<a:skin xmlns:a=\"x\" version=\"0.1\"/>", 2},
        {open + "<![CDATA[<img x=\"q\"/>]]><?php ?><!-- <img x=\"q\"/> --></skin>", 0},
        {open + "<img src=\"a<b\"/></skin>", 2},
        {open + "<img src=\"a\"y=\"1\"/></skin>", 2},
        {open + "<img x=\"99999999999999999999\" src=\"a.png\"/></skin>", 1},
        {open + "<img x=\"\" y=\" +5\" src=\"a.png\"/></skin>", 0},
        {open + "<img x=\" \" src=\"a.png\"/></skin>", 2},
        {open + "<img x=\"0x10\" src=\"a.png\"/></skin>", 2},
        {open + "<text format=\"x\" text_align=\"\"/></skin>", 0},
        {open + "<text format=\"x\" text_align=\"left&#9;top\"/></skin>", 2},
        {"<!DOCTYPE skin [<!ATTLIST img x CDATA \"12px\">]>" + open + "<img src=\"a.png\"/></skin>",
         2},
        {"<!DOCTYPE skin [<!ENTITY e \"<img src='a.png'/>\">]>" + open + "&e;</skin>", 0},
        {"<!DOCTYPE skin SYSTEM \"/etc/passwd\" [<!ENTITY e SYSTEM \"/etc/passwd\">]>" + open +
             "&e;</skin>",
         0},
        {"<!DOCTYPE skin [<!ENTITY e \"&e;\">]>" + open + "&e;</skin>", 2},
        {billion_laughs("&a9;"), 2},
        {billion_laughs("<img src=\"&a9;\"/>"), 2},
    };
    for (const auto &it : cases) {
        members files = good_skin();
        set_member(&files, "play.xml", it.content);
        const check_result result = check_members(files);
        EXPECT_EQ(report_status(&result.found), it.status) << it.content << to_text(result);
        EXPECT_EQ(player_takes_all("s.zip", result), it.status < 2) << it.content;
    }
}

TEST_F(zerv_skin_check, finds_nothing_in_the_skins_of_the_player)
{
    for (const char *name : {"Aqua_Ver0.4", "Night", "LargeType"}) {
        const std::string path = std::string(ZERV_BINARY_DIR) + "/player/skins/" + name + ".zip";
        const check_result result = check(path.c_str());
        EXPECT_EQ(to_text(result), "") << path;
        EXPECT_TRUE(result.list.loads && result.play.loads);
        EXPECT_GE(result.play.variants, 4u);
    }
}

/* ---- hostile packages ---- */

TEST_F(zerv_skin_check, refuses_hostile_packages_in_bounded_time_and_memory)
{
    maker_zip *zip = maker_zip_open("s.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bomb(zip, "list.xml", ' ', 100u << 20), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "play.xml", skin_xml("<img src=\"b.png\"/>").c_str()), 0);
    ASSERT_EQ(maker_zip_add_bomb(zip, "b.png", 'x', 300u << 20), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    make_zip("climbing.zip", {{"list.xml", skin_xml("")}, {"../x", ""}});
    make_folder("loop", {{"play.xml", skin_xml("")}});
    ASSERT_EQ(symlink(".", "loop/again"), 0);
    rusage before = {}, after = {};
    ASSERT_EQ(getrusage(RUSAGE_SELF, &before), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(status_of("s.zip"), 2);
    EXPECT_EQ(status_of("climbing.zip"), 2);
    EXPECT_EQ(status_of("loop"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    ASSERT_EQ(getrusage(RUSAGE_SELF, &after), 0);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "KiB";
}

static std::string repeat(const std::string &text, size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; i++)
        all += text;
    return all;
}

/* Each of these took minutes or gigabytes when the work grew with the square of the file. */
TEST_F(zerv_skin_check, survives_files_that_are_made_to_be_slow)
{
    std::string odd = "<img";
    for (int i = 0; i < 60000; i++)
        odd += " a" + std::to_string(i) + "=\"\"";
    const std::string cases[] = {
        "<text format=\"" + repeat("$a ", 300000) + "\"/>",
        odd + "/>",
        repeat("<img src=\"broken.png\"/>", 5000),
        repeat("<list font_size=\"1000\" height=\"1\"/>", 10000),
        repeat("<skin version=\"0.1\"/>", 40000),
    };
    rusage before = {}, after = {};
    ASSERT_EQ(getrusage(RUSAGE_SELF, &before), 0);
    const auto start = std::chrono::steady_clock::now();
    for (const std::string &text : cases) {
        const check_result result = check_members(good_skin(text));
        EXPECT_LE(report_count(&result.found, report_level::warning), report_limit + 1);
        for (const report_finding &it : result.found.findings)
            ASSERT_LE(it.value.size() + it.message.size(), 2 * report_limit_text + 6);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    ASSERT_EQ(getrusage(RUSAGE_SELF, &after), 0);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 256 * 1024) << "KiB";
}

TEST_F(zerv_skin_check, survives_a_file_of_as_many_elements_as_a_part_may_have)
{
    std::string text;
    for (uint32_t i = 0; i < skin_room_of_part.elements; i++)
        text += "<q src=\"z\"/>\n";
    const auto start = std::chrono::steady_clock::now();
    const check_result result = check_members({{"play.xml", skin_xml(text)}});
    EXPECT_EQ(report_count(&result.found, report_level::warning), 2 * skin_room_of_part.elements);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}
