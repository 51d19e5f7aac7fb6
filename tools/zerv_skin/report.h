/* report: what zerv-skin has found, and how it is told to people and to programs. */
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <tuple>
#include <vector>

enum class report_level {
    warning, /* the player takes it, and probably not as it was meant */
    error,   /* the player leaves it out */
};

/* Lines and columns count from 1; line 0 means the file as a whole. */
struct report_finding {
    report_level level;
    std::string code; /* a word for programs */
    std::string file; /* member of the package, "" for the package itself */
    uint32_t line, column;
    std::string element, attribute, value; /* "" where none is meant */
    std::string message;
};

/* Warnings that are kept: nobody reads more, and a hostile package would have any number. */
constexpr uint32_t report_limit = 50000;
/* Bytes of a value or message that are kept. */
constexpr size_t report_limit_text = 500;

/* How well letters stand out from what is behind them, 1 (not at all) to 21: by the file, the line and
 * the column of their tag the worst that it has. */
using report_contrasts = std::map<std::tuple<std::string, uint32_t, uint32_t>, double>;

struct report {
    std::vector<report_finding> findings;
    uint32_t warnings = 0;      /* among them */
    report_contrasts contrasts; /* of the texts that were drawn, good ones too */
};

/* Above its limit a warning is dropped, and one is added that says so. Long texts are cut. */
void report_add(report *to, report_finding finding);
/* Puts findings into the order of files and lines, those of the whole package first, and drops
 * what stands there twice. */
void report_sort(report *of);
uint32_t report_count(const report *of, report_level level);
/* Exit status: 0 nothing found, 1 warnings, 2 errors. */
int report_status(const report *of);

/* One line a finding: FILE:LINE:COLUMN: level: message [code]. Control characters are written as
 * \xNN: names and values are somebody else's. */
void report_print(const report *of, FILE *to, bool colours);
/* The findings as a JSON array. */
void report_print_json(const report *of, FILE *to);
/* A text as a JSON string, quotes included; broken UTF-8 becomes U+FFFD. */
std::string report_json_text(const std::string &text);
