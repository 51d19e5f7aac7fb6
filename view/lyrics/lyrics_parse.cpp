#include "view/lyrics/lyrics_parse.h"

#include <cstdlib>
#include <cstring>

constexpr size_t line_size = 1024;
/* A file of the most lines of full length; of a larger one, which is no song, the rest is
 * unread. */
constexpr size_t largest_file = lyrics_max_lines * line_size;
constexpr size_t stamp_length = 10;

/* A number that must end exactly two bytes on. Blanks and signs are part of a number here, as in
 * the files that exist, so "[ 1: 2. 5]" is one minute and two seconds. */
static bool read_two(const char *text, long *value)
{
    char *end = nullptr;
    *value = strtol(text, &end, 10);
    return end == text + 2;
}

bool lyrics_parse_line(const char *line, uint32_t *time, const char **text, size_t *length)
{
    if (strnlen(line, stamp_length) < stamp_length || line[0] != '[' || line[9] != ']')
        return false;
    long minutes = 0, seconds = 0, hundredths = 0;
    if (!read_two(line + 1, &minutes) || !read_two(line + 4, &seconds) ||
        !read_two(line + 7, &hundredths))
        return false;
    const uint32_t ms = static_cast<uint32_t>((minutes * 60 + seconds) * 1000 + hundredths * 10);
    if (ms == 0)
        return false;
    *time = ms;
    *text = line + stamp_length;
    *length = strcspn(*text, "\r\n");
    return true;
}

/* The next line, cut to the array, its rest skipped. False at the end of the file.
 *   left  bytes that may still be read; counted down */
static bool read_line(FILE *file, char (&line)[line_size], size_t *left)
{
    size_t used = 0;
    int byte = EOF;
    while (*left > 0 && (byte = getc_unlocked(file)) != EOF) {
        --*left;
        if (used < line_size - 1)
            line[used++] = static_cast<char>(byte);
        if (byte == '\n')
            break;
    }
    line[used] = '\0';
    return used > 0;
}

static int reserve(lyrics_lines *lines, uint32_t *capacity)
{
    if (lines->count < *capacity)
        return 0;
    const uint32_t wanted = *capacity ? *capacity * 2 : 64;
    auto **texts = static_cast<char **>(
        realloc(static_cast<void *>(lines->texts), wanted * sizeof *lines->texts));
    if (!texts)
        return -1;
    lines->texts = texts;
    auto *times = static_cast<uint32_t *>(realloc(lines->times, wanted * sizeof *lines->times));
    if (!times)
        return -1;
    lines->times = times;
    *capacity = wanted;
    return 0;
}

static int add_line(lyrics_lines *lines, uint32_t *capacity, const char *line)
{
    uint32_t time = 0;
    const char *text = nullptr;
    size_t length = 0;
    if (!lyrics_parse_line(line, &time, &text, &length))
        return 0;
    if (reserve(lines, capacity) != 0)
        return -1;
    char *copy = strndup(text, length);
    if (!copy)
        return -1;
    lines->texts[lines->count] = copy;
    lines->times[lines->count] = time;
    lines->count++;
    return 0;
}

int lyrics_parse_file(FILE *file, lyrics_lines *lines)
{
    *lines = {};
    uint32_t capacity = 0;
    size_t left = largest_file;
    char line[line_size];
    while (lines->count < lyrics_max_lines && read_line(file, line, &left)) {
        if (add_line(lines, &capacity, line) != 0) {
            (void)lyrics_free(lines);
            return -1;
        }
    }
    return 0;
}

int lyrics_free(lyrics_lines *lines)
{
    for (uint32_t i = 0; i < lines->count; i++)
        free(lines->texts[i]);
    free(static_cast<void *>(lines->texts));
    free(lines->times);
    *lines = {};
    return 0;
}
