/* How findings are ordered and printed. */
#include "tools/zerv_skin/report.h"

#include <cstdlib>
#include <gtest/gtest.h>

static report_finding make_finding(report_level level, const char *file, uint32_t line,
                                   const char *message)
{
    return {level, "code", file, line, 7, "img", "x", "1\"2", message};
}

static std::string printed(const report &of, void (*print)(const report *of, FILE *to))
{
    char *text = nullptr;
    size_t size = 0;
    FILE *to = open_memstream(&text, &size);
    print(&of, to);
    fclose(to);
    const std::string result(text, size);
    free(text);
    return result;
}

TEST(zerv_skin_report, takes_its_status_from_the_worst_finding)
{
    report it;
    EXPECT_EQ(report_status(&it), 0);
    report_add(&it, make_finding(report_level::warning, "a", 1, "m"));
    EXPECT_EQ(report_status(&it), 1);
    report_add(&it, make_finding(report_level::error, "a", 2, "m"));
    EXPECT_EQ(report_status(&it), 2);
    EXPECT_EQ(report_count(&it, report_level::warning), 1u);
}

TEST(zerv_skin_report, orders_findings_and_drops_what_stands_twice)
{
    report it;
    report_add(&it, make_finding(report_level::warning, "b.xml", 1, "m"));
    report_add(&it, make_finding(report_level::warning, "a.xml", 20, "m"));
    report_add(&it, make_finding(report_level::warning, "a.xml", 3, "m"));
    report_add(&it, make_finding(report_level::error, "", 0, "m"));
    report_add(&it, make_finding(report_level::warning, "a.xml", 3, "m"));
    report_sort(&it);
    ASSERT_EQ(it.findings.size(), 4u);
    EXPECT_EQ(it.findings[0].file, "");
    EXPECT_EQ(it.findings[1].line, 3u);
    EXPECT_EQ(it.findings[2].line, 20u);
    EXPECT_EQ(it.findings[3].file, "b.xml");
}

TEST(zerv_skin_report, prints_lines_that_editors_understand)
{
    report it;
    report_add(&it, make_finding(report_level::error, "a.xml", 3, "bad"));
    report_add(&it, make_finding(report_level::warning, "b.xml", 0, "odd"));
    report_add(&it, make_finding(report_level::error, "", 0, "no"));
    EXPECT_EQ(printed(it, [](const report *of, FILE *to) { report_print(of, to, false); }),
              "a.xml:3:7: error: bad [code]\n"
              "b.xml: warning: odd [code]\n"
              "error: no [code]\n");
    EXPECT_NE(printed(it, [](const report *of, FILE *to) { report_print(of, to, true); })
                  .find("\033[31merror:\033[0m"),
              std::string::npos);
}

TEST(zerv_skin_report, writes_json)
{
    report it;
    EXPECT_EQ(printed(it, report_print_json), "[]");
    report_add(&it, make_finding(report_level::error, "a.xml", 3, "bad"));
    EXPECT_EQ(printed(it, report_print_json),
              "[\n    {\"level\": \"error\", \"code\": \"code\", \"file\": \"a.xml\", \"line\": 3, "
              "\"column\": 7, \"element\": \"img\", \"attribute\": \"x\", \"value\": \"1\\\"2\", "
              "\"message\": \"bad\"}\n  ]");
}

TEST(zerv_skin_report, escapes_texts_for_json)
{
    EXPECT_EQ(report_json_text("a\"b\\c\n\t\x01"), "\"a\\\"b\\\\c\\u000a\\u0009\\u0001\"");
    EXPECT_EQ(report_json_text("\xE7\x9A\xAE"), "\"\xE7\x9A\xAE\"");
    EXPECT_EQ(report_json_text("\xFF"
                               "a\xE7\x9A"),
              "\"\\ufffda\\ufffd\\ufffd\"");
    EXPECT_EQ(report_json_text(std::string("a\0b", 3)), "\"a\\u0000b\"");
}

TEST(zerv_skin_report, keeps_terminals_and_lines_safe_from_names)
{
    report it;
    report_add(&it, {report_level::error, "c", "a\033[31m\nb.xml", 1, 1, "", "", "",
                     "x\xC2\x9By\xFF\xC3\xA9"});
    char *text = nullptr;
    size_t size = 0;
    FILE *file = open_memstream(&text, &size);
    ASSERT_NE(file, nullptr);
    report_print(&it, file, false);
    fclose(file);
    EXPECT_STREQ(text, "a\\x1B[31m\\x0Ab.xml:1:1: error: x\\xC2\\x9By\\xFF\xC3\xA9 [c]\n");
    free(text);
}

TEST(zerv_skin_report, replaces_every_kind_of_broken_text_in_json)
{
    for (const char *broken :
         {"\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xC3"})
        EXPECT_EQ(report_json_text(broken).find_first_not_of("\"\\ufd"), std::string::npos);
}

TEST(zerv_skin_report, keeps_a_bounded_number_of_warnings_and_every_error)
{
    report it;
    for (uint32_t i = 0; i < report_limit + 1000; i++)
        report_add(&it, {report_level::warning, "w", "", i, 1, "", "", "", "m"});
    report_add(&it, {report_level::error, "e", "", 1, 1, "", "", "", "m"});
    EXPECT_EQ(report_count(&it, report_level::warning), report_limit + 1);
    EXPECT_EQ(report_count(&it, report_level::error), 1u);
    EXPECT_EQ(it.findings[report_limit].code, "too-many");
    EXPECT_EQ(report_status(&it), 2);
}

TEST(zerv_skin_report, cuts_long_texts_between_characters)
{
    report it;
    std::string text = "x";
    while (text.size() < 3 * report_limit_text)
        text += "\xE5\x8C\x97";
    report_add(&it, {report_level::warning, "w", "", 1, 1, "", "", text, text});
    const std::string &kept = it.findings[0].value;
    EXPECT_EQ(kept, text.substr(0, kept.size() - 3) + "...");
    EXPECT_LE(kept.size(), report_limit_text + 3);
    EXPECT_EQ(kept.size() % 3, 1u);
}
