/* report: what zerv-skin has found, and how it is told to people and to programs. */
#include "tools/zerv_skin/report.h"

#include <algorithm>
#include <tuple>

static const char red[] = "\033[31m", yellow[] = "\033[33m", bold[] = "\033[1m",
                  normal[] = "\033[0m";

static const char *level_name(report_level level)
{
    return level == report_level::error ? "error" : "warning";
}

static auto sort_key(const report_finding &finding)
{
    return std::tie(finding.file, finding.line, finding.column, finding.code, finding.message);
}

/* Between two characters; the dots say that there was more. */
static void cut(std::string *text)
{
    if (text->size() <= report_limit_text)
        return;
    size_t size = report_limit_text;
    while (size > 0 && (static_cast<unsigned char>((*text)[size]) & 0xC0) == 0x80)
        size--;
    text->resize(size);
    text->append("...");
    text->shrink_to_fit();
}

void report_add(report *to, report_finding finding)
{
    if (finding.level == report_level::warning) {
        if (to->warnings > report_limit)
            return;
        if (++to->warnings > report_limit)
            finding = {report_level::warning,
                       "too-many",
                       "",
                       0,
                       0,
                       "",
                       "",
                       "",
                       "there are more warnings, which are not shown"};
    }
    for (std::string *text :
         {&finding.element, &finding.attribute, &finding.value, &finding.message})
        cut(text);
    to->findings.push_back(std::move(finding));
}

void report_sort(report *of)
{
    std::vector<report_finding> &all = of->findings;
    std::stable_sort(all.begin(), all.end(), [](const report_finding &a, const report_finding &b) {
        return sort_key(a) < sort_key(b);
    });
    const auto end =
        std::unique(all.begin(), all.end(), [](const report_finding &a, const report_finding &b) {
            return sort_key(a) == sort_key(b);
        });
    all.erase(end, all.end());
}

uint32_t report_count(const report *of, report_level level)
{
    uint32_t count = 0;
    for (const report_finding &finding : of->findings)
        count += finding.level == level;
    return count;
}

int report_status(const report *of)
{
    if (report_count(of, report_level::error) > 0)
        return 2;
    return of->findings.empty() ? 0 : 1;
}

/* Length of the UTF-8 character at `at`, 0 when it is broken. */
static size_t character_length(const std::string &text, size_t at)
{
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    const size_t length = lead < 0x80   ? 1
                          : lead < 0xC2 ? 0
                          : lead < 0xE0 ? 2
                          : lead < 0xF0 ? 3
                          : lead < 0xF5 ? 4
                                        : 0;
    if (length == 0 || at + length > text.size())
        return 0;
    for (size_t i = 1; i < length; i++)
        if ((byte(at + i) & 0xC0) != 0x80)
            return 0;
    /* Written too long, half of a pair, or above the last character. */
    const bool wrong =
        (lead == 0xE0 && byte(at + 1) < 0xA0) || (lead == 0xED && byte(at + 1) >= 0xA0) ||
        (lead == 0xF0 && byte(at + 1) < 0x90) || (lead == 0xF4 && byte(at + 1) >= 0x90);
    return wrong ? 0 : length;
}

/* Whether a terminal would do something else than show it. */
static bool is_control(const std::string &text, size_t at, size_t length)
{
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    return length == 0 || lead < 0x20 || lead == 0x7F ||
           (lead == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0);
}

static void print_text(const std::string &text, FILE *to)
{
    for (size_t at = 0; at < text.size();) {
        const size_t length = character_length(text, at);
        const size_t size = std::max<size_t>(length, 1);
        if (is_control(text, at, length))
            for (size_t i = 0; i < size; i++)
                fprintf(to, "\\x%02X", static_cast<unsigned char>(text[at + i]));
        else
            fwrite(text.data() + at, 1, size, to);
        at += size;
    }
}

static void print_place(const report_finding &finding, FILE *to)
{
    if (finding.file.empty())
        return;
    print_text(finding.file, to);
    if (finding.line > 0)
        fprintf(to, ":%u:%u", finding.line, finding.column);
    fputs(": ", to);
}

void report_print(const report *of, FILE *to, bool colours)
{
    for (const report_finding &finding : of->findings) {
        const char *colour = finding.level == report_level::error ? red : yellow;
        if (colours)
            fputs(bold, to);
        print_place(finding, to);
        fprintf(to, "%s%s:%s ", colours ? colour : "", level_name(finding.level),
                colours ? normal : "");
        print_text(finding.message, to);
        fprintf(to, " [%s]\n", finding.code.c_str());
    }
}

std::string report_json_text(const std::string &text)
{
    std::string result = "\"";
    for (size_t at = 0; at < text.size();) {
        const size_t length = character_length(text, at);
        const char c = text[at];
        if (length == 0) {
            result += "\\ufffd";
        } else if (length == 1 && (c == '"' || c == '\\')) {
            result += {'\\', c};
        } else if (length == 1 && static_cast<unsigned char>(c) < 0x20) {
            char code[8];
            snprintf(code, sizeof(code), "\\u%04x", static_cast<unsigned char>(c));
            result += code;
        } else {
            result.append(text, at, length);
        }
        at += std::max<size_t>(length, 1);
    }
    return result + "\"";
}

void report_print_json(const report *of, FILE *to)
{
    fputs("[", to);
    const char *separator = "\n";
    for (const report_finding &finding : of->findings) {
        fprintf(to,
                "%s    {\"level\": \"%s\", \"code\": %s, \"file\": %s, \"line\": %u, "
                "\"column\": %u, \"element\": %s, \"attribute\": %s, \"value\": %s, "
                "\"message\": %s}",
                separator, level_name(finding.level), report_json_text(finding.code).c_str(),
                report_json_text(finding.file).c_str(), finding.line, finding.column,
                report_json_text(finding.element).c_str(),
                report_json_text(finding.attribute).c_str(),
                report_json_text(finding.value).c_str(), report_json_text(finding.message).c_str());
        separator = ",\n";
    }
    fputs(of->findings.empty() ? "]" : "\n  ]", to);
}
