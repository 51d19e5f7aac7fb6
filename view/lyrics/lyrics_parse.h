/* lyrics_parse: ".lrc" files, of which only lines with one exact shape of time stamp count. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

constexpr uint32_t lyrics_max_lines = 10000;

/* In file order. `texts` and `times` are both null while there are no lines. */
struct lyrics_lines {
    char **texts;    /* owned texts */
    uint32_t *times; /* ms */
    uint32_t count;
};

/* Reads "[mm:ss.hh]text"; the separators may be any character. What follows a carriage return or
 * a line feed is not text.
 *   line  ends with 0
 *   text  receives a pointer into `line`, `length` its bytes
 * False for any other shape, and for a time of 0, which heads a song with its title. */
bool lyrics_parse_line(const char *line, uint32_t *time, const char **text, size_t *length);
/* Reads a whole file from where it stands. Lines above 1023 bytes are cut there; lines above
 * lyrics_max_lines, and all that stands behind the first 10 000 KiB, are left out. -1 when memory
 * runs out (nothing is kept). Any thread. */
[[nodiscard]] int lyrics_parse_file(FILE *file, lyrics_lines *lines);
/* Empties the record. */
int lyrics_free(lyrics_lines *lines);
