/* zerv-skin check against the player: mutated, odd and hostile packages. */
#include "support/sanitizer.h"
#include "support/seed.h"
#include "unit/tools/zerv_skin_check_fixture.h"

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
    std::mt19937 random(seed_or(20260109));
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
    std::mt19937 random(seed_or(4711));
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

TEST_F(zerv_skin_check, refuses_hostile_packages_in_bounded_memory)
{
    maker_zip *zip = maker_zip_open("s.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bomb(zip, "list.xml", ' ', 100u << 20), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "play.xml", skin_xml("<img src=\"b.png\"/>").c_str()), 0);
    ASSERT_EQ(maker_zip_add_bomb(zip, "b.png", 'x', 300u << 20), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    make_folder("loop", {{"play.xml", skin_xml("")}});
    ASSERT_EQ(symlink(".", "loop/again"), 0);
    rusage before = {}, after = {};
    ASSERT_EQ(getrusage(RUSAGE_SELF, &before), 0);
    EXPECT_EQ(status_of("s.zip"), 2);
    EXPECT_EQ(status_of("loop"), 0);
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
    for (const std::string &text : cases) {
        const check_result result = check_members(good_skin(text));
        EXPECT_LE(report_count(&result.found, report_level::warning), report_limit + 1);
        for (const report_finding &it : result.found.findings)
            ASSERT_LE(it.value.size() + it.message.size(), 2 * report_limit_text + 6);
    }
    ASSERT_EQ(getrusage(RUSAGE_SELF, &after), 0);
#ifndef HAS_SANITIZER
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 256 * 1024) << "KiB";
#endif
}

TEST_F(zerv_skin_check, survives_a_file_of_as_many_elements_as_a_part_may_have)
{
    std::string text;
    for (uint32_t i = 0; i < skin_room_of_part.elements; i++)
        text += "<q src=\"z\"/>\n";
    const check_result result = check_members({{"play.xml", skin_xml(text)}});
    EXPECT_EQ(report_count(&result.found, report_level::warning), 2 * skin_room_of_part.elements);
}
