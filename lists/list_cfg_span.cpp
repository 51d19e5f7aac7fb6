/* list_cfg_span: durations as people read them. */
#include "core/lang/lang.h"
#include "lists/list_cfg.h"
#include "platform/base/str.h"

#include <algorithm>
#include <cstring>

struct span_unit {
    int64_t seconds;
    const char *name;
};

static constexpr span_unit units[] = {{3600, "小时"}, {60, "分钟"}, {1, "秒"}};

struct span_text {
    char *to;
    size_t size; /* with the end */
    size_t length;
};

/* Bytes, not characters, are cut, as snprintf() does. */
static void put(span_text *text, const char *part)
{
    if (text->size == 0)
        return;
    const size_t taken = std::min(strlen(part), text->size - 1 - text->length);
    memcpy(text->to + text->length, part, taken);
    text->length += taken;
    text->to[text->length] = 0;
}

static void put_count(span_text *text, int64_t count, const char *unit)
{
    char part[40];
    (void)str_format(part, "%d %s", static_cast<int>(count), unit); /* at most 22 bytes */
    put(text, part);
}

int list_cfg_span2str(int32_t seconds, char *to, size_t size)
{
    span_text text = {to, size, 0};
    put(&text, seconds < 0 ? "-" : "");
    const char *separator = strcmp(lang_selected, "ja") == 0 ? "" : " ";
    int64_t left = seconds < 0 ? -int64_t{seconds} : int64_t{seconds};
    if (left == 0)
        put_count(&text, 0, "秒");
    bool first = true;
    for (const span_unit &unit : units) {
        if (left < unit.seconds)
            continue;
        put(&text, first ? "" : separator);
        put_count(&text, left / unit.seconds, unit.name);
        left %= unit.seconds;
        first = false;
    }
    return static_cast<int>(text.length);
}
