/* str: text in fixed arrays. */
#include "platform/base/str.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

/* isspace() follows the locale, and a locale may call bytes of UTF-8 white. */
static bool str_is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

static char str_fold(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char *str_strip(char *text)
{
    if (!text)
        return nullptr;
    size_t begin = 0;
    size_t end = strlen(text);
    while (end > 0 && str_is_space(text[end - 1]))
        end--;
    while (begin < end && str_is_space(text[begin]))
        begin++;
    memmove(text, text + begin, end - begin);
    text[end - begin] = '\0';
    return text;
}

bool str_copy_to(char *to, size_t size, const char *text)
{
    if (!to || size == 0)
        return false;
    const size_t length = text ? strnlen(text, size) : 0;
    const size_t kept = length < size ? length : size - 1;
    /* The source may lie inside the target: settings are trimmed in place. */
    if (kept > 0)
        memmove(to, text, kept);
    to[kept] = '\0';
    return length < size;
}

bool str_vformat_to(char *to, size_t size, const char *format, va_list arguments)
{
    if (!to || size == 0)
        return false;
    const int length = vsnprintf(to, size, format, arguments);
    if (length < 0) {
        to[0] = '\0';
        return false;
    }
    return static_cast<size_t>(length) < size;
}

int32_t str_to_int32(const char *text, const char **rest)
{
    static const char empty[] = "";
    if (!text)
        text = empty;
    const int saved = errno;
    char *end = nullptr;
    const long value = strtol(text, &end, 10);
    errno = saved;
    if (rest)
        *rest = end;
    if (value > INT32_MAX)
        return INT32_MAX;
    if (value < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

bool str_starts_nocase(const char *text, const char *start)
{
    if (!text)
        text = "";
    for (; start && *start; text++, start++)
        if (str_fold(*text) != str_fold(*start))
            return false;
    return true;
}

bool str_equal_nocase(const char *left, const char *right)
{
    return str_starts_nocase(left, right) && str_starts_nocase(right, left);
}
