/* key_map_file: the text of keys.txt.
 *
 *     # a comment
 *     up = KEY_W, BTN_DPAD_UP
 *     page_up = BTN_SELECT + BTN_DPAD_UP */
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/key_name.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <string_view>
#include <strings.h>
#include <unistd.h>

constexpr size_t file_bytes_most = 64 * 1024; /* a hundred times a long one */
constexpr size_t line_bytes_most = 1000;
constexpr uint32_t lines_told_most =
    20;                            /* on standard error, of a file that is no key map at all */
constexpr char nothing[] = "none"; /* the name that takes a code's meaning away */

/* While a file is read. */
struct map_reader {
    key_map *map;
    const char *name; /* of the file */
    uint32_t line;
    key_map_report *report;
};

static std::string_view strip(std::string_view text)
{
    const size_t from = text.find_first_not_of(" \t\r");
    return from == text.npos ? std::string_view()
                             : text.substr(from, text.find_last_not_of(" \t\r") - from + 1);
}

/* What a person can read: a control character or half a letter would spoil the line that shows it. */
static void make_printable(char *text)
{
    for (; *text; text++) {
        if (static_cast<unsigned char>(*text) < 0x20 || static_cast<unsigned char>(*text) >= 0x7f)
            *text = '?';
    }
}

__attribute__((format(printf, 2, 3))) static void complain(const map_reader *from,
                                                           const char *format, ...)
{
    char why[120], all[200];
    va_list arguments;
    va_start(arguments, format);
    (void)str_vformat_to(why, sizeof why, format, arguments); /* cut is enough */
    va_end(arguments);
    make_printable(why);
    if (from->line > 0)
        (void)str_format(all, "%s:%u: %s", from->name, from->line, why);
    else
        (void)str_format(all, "%s: %s", from->name, why);
    key_map_report *report = from->report;
    if (report->bad_lines == 0)
        (void)str_copy(report->first, all);
    if (report->bad_lines++ < lines_told_most)
        fprintf(stderr, "%s\n", all);
}

static int length_of(std::string_view text)
{
    return static_cast<int>(std::min<size_t>(text.size(), 40));
}

/* A chord, or a single code. 0, or -1 after a complaint. */
static int read_codes(const map_reader *from, std::string_view text, key_binding *to)
{
    to->count = 0;
    for (size_t plus = 0; plus != text.npos; text.remove_prefix(std::min(text.size(), plus + 1))) {
        plus = text.find('+');
        const std::string_view name = strip(text.substr(0, plus));
        const int32_t code = key_code_find(name.data(), name.size());
        if (code < 0)
            complain(from, "\"%.*s\" is no key, button, switch or axis", length_of(name),
                     name.data());
        else if (to->count == key_binding_codes_most)
            complain(from, "a chord has %u parts at most", key_binding_codes_most);
        else if (std::find(to->codes, to->codes + to->count, code) != to->codes + to->count)
            complain(from, "\"%.*s\" is there twice", length_of(name), name.data());
        else {
            to->codes[to->count++] = static_cast<uint16_t>(code);
            continue;
        }
        return -1;
    }
    return 0;
}

/* The same codes in whatever order they begin, as long as the same one ends them. */
static bool is_same_chord(const key_binding &left, const key_binding &right)
{
    return left.count == right.count && left.codes[left.count - 1] == right.codes[left.count - 1] &&
           std::is_permutation(left.codes, left.codes + left.count, right.codes);
}

/* The binding that has the same codes; null when there is none. */
static key_binding *find_same(key_map *map, const key_binding &as)
{
    key_binding *end = map->all + map->count;
    key_binding *found = std::find_if(
        map->all, end, [&](const key_binding &each) { return is_same_chord(each, as); });
    return found == end ? nullptr : found;
}

/* What the line says must fit what the lines before it said, and there must be room. */
static int check(const map_reader *from, const key_binding &made, uint32_t count)
{
    const key_binding *same = find_same(from->map, made);
    if (same && same->line > 0 && same->mask != made.mask) {
        complain(from, "line %u gives the same another meaning", same->line);
        return -1;
    }
    if (from->map->count + count < key_bindings_most)
        return 0;
    complain(from, "more than %u meanings", key_bindings_most);
    return -1;
}

static void keep(key_map *map, const key_binding &made)
{
    key_binding *same = find_same(map, made);
    if (!same)
        map->all[map->count++] = made;
    else if (same->line == 0)
        *same = made; /* the built-in meaning gives way */
}

/* All of a line or nothing of it. */
static void read_meanings(const map_reader *from, uint32_t mask, std::string_view text)
{
    key_binding made[32] = {};
    uint32_t count = 0;
    for (size_t comma = 0; comma != text.npos;
         text.remove_prefix(std::min(text.size(), comma + 1))) {
        comma = text.find(',');
        if (count == std::size(made))
            return complain(from, "more than %zu meanings in one line", std::size(made));
        made[count].mask = mask;
        made[count].line = from->line;
        if (read_codes(from, text.substr(0, comma), &made[count]) != 0 ||
            check(from, made[count], count) != 0)
            return;
        count++;
    }
    for (uint32_t i = 0; i < count; i++)
        keep(from->map, made[i]);
}

static void read_line(const map_reader *from, std::string_view line)
{
    if (line.size() > line_bytes_most)
        return complain(from, "longer than %zu bytes", line_bytes_most);
    if (line.find('\0') != line.npos)
        return complain(from, "no text");
    line = strip(line.substr(0, line.find('#')));
    if (line.empty())
        return;
    const size_t equals = line.find('=');
    if (equals == line.npos)
        return complain(from, "no \"=\"");
    const std::string_view name = strip(line.substr(0, equals));
    const uint32_t mask = key_name_find(name.data(), name.size());
    const bool is_nothing =
        name.size() == sizeof nothing - 1 && strncasecmp(name.data(), nothing, name.size()) == 0;
    if (mask == 0 && !is_nothing)
        return complain(from, "the player has no key \"%.*s\"", length_of(name), name.data());
    read_meanings(from, mask, line.substr(equals + 1));
}

void key_map_read(key_map *map, const char *text, size_t size, const char *name,
                  key_map_report *report)
{
    map_reader from = {map, name, 0, report};
    std::string_view rest(text, size);
    if (size > file_bytes_most)
        return complain(&from, "larger than %zu bytes", file_bytes_most);
    if (rest.starts_with("\xef\xbb\xbf")) /* as some editors begin a file */
        rest.remove_prefix(3);
    for (size_t end = 0; end != rest.npos; rest.remove_prefix(std::min(rest.size(), end + 1))) {
        end = rest.find('\n');
        from.line++;
        read_line(&from, rest.substr(0, end));
    }
}

/* The file's bytes in `to`, which has room for one more than a file may have; -1: errno says why. */
static ssize_t read_file(int fd, char *to)
{
    size_t done = 0;
    while (done <= file_bytes_most) {
        const ssize_t got = read(fd, to + done, file_bytes_most + 1 - done);
        if (got == 0)
            break;
        if (got < 0 && errno != EINTR)
            return -1;
        done += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return static_cast<ssize_t>(done);
}

int key_map_load(key_map *map, const char *path, key_map_report *report)
{
    /* A pipe under that name must not keep the player waiting for its writer. */
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT)
        return 0;
    const owner<char, free> text(fd < 0 ? nullptr
                                        : static_cast<char *>(malloc(file_bytes_most + 1)));
    const ssize_t size = text ? read_file(fd, text.get()) : -1;
    const map_reader from = {map, path, 0, report};
    if (size < 0)
        complain(&from, "%s", strerror(errno));
    else
        key_map_read(map, text.get(), static_cast<size_t>(size), path, report);
    if (fd >= 0)
        close(fd);
    return size < 0 ? -1 : 0;
}
