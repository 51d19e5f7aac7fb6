/* device_virtual_words: the arguments of a command. */
#include "platform/device/virtual/device_virtual.h"
#include "platform/input/key_name.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

static int read_hex(const char *word, uint32_t *mask)
{
    char *rest = nullptr;
    errno = 0;
    const unsigned long long value = strtoull(word, &rest, 16);
    if (errno || *rest || rest == word + 2 || value == 0 || value > UINT32_MAX)
        return -1;
    *mask = static_cast<uint32_t>(value);
    return 0;
}

int virtual_word_keys(const char *word, uint32_t *mask)
{
    if (strncmp(word, "0x", 2) == 0)
        return read_hex(word, mask);
    uint32_t all = 0;
    for (const char *at = word;; at++) {
        const size_t length = strcspn(at, "+");
        const uint32_t one = key_name_find(at, length);
        if (one == 0)
            return -1;
        all |= one;
        at += length;
        if (*at == 0)
            break;
    }
    *mask = all;
    return 0;
}

static int read_decimal(const char *word, int64_t first, int64_t last, int64_t *number)
{
    char *rest = nullptr;
    errno = 0;
    const long long value = strtoll(word, &rest, 10);
    if (errno || rest == word || *rest || value < first || value > last)
        return -1;
    *number = value;
    return 0;
}

int virtual_word_number(const char *word, int32_t *number)
{
    int64_t value = 0;
    if (read_decimal(word, INT32_MIN, INT32_MAX, &value) != 0)
        return -1;
    *number = static_cast<int32_t>(value);
    return 0;
}

int virtual_word_clock(const char *word, int64_t last, int64_t *ms)
{
    return read_decimal(word, 0, last, ms);
}

int virtual_word_wall(const char *word, int64_t *seconds)
{
    tm local = {};
    const char *rest = strptime(word, "%Y-%m-%dT%H:%M:%S", &local);
    const bool utc = rest && strcmp(rest, "Z") == 0;
    if (!rest || (*rest && !utc))
        return -1;
    const tm wanted = local;
    local.tm_isdst = -1;
    const time_t at = utc ? timegm(&local) : mktime(&local);
    /* mktime() moves the 31st of February on into March. */
    if (at == static_cast<time_t>(-1) || local.tm_mday != wanted.tm_mday ||
        local.tm_mon != wanted.tm_mon)
        return -1;
    *seconds = at;
    return 0;
}
