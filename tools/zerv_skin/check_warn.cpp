/* check_warn: what a check finds, at its place in a file. */
#include "platform/base/str.h"
#include "tools/zerv_skin/check.h"
#include "tools/zerv_skin/check_page.h"

#include <cstdarg>

__attribute__((format(printf, 5, 0))) static void warn(const check_page &in, const source_tag &tag,
                                                       const source_attribute &at, const char *code,
                                                       const char *format, va_list arguments)
{
    char message[2048];
    (void)str_vformat_to(message, sizeof(message), format, arguments);
    report_add(in.found, {report_level::warning, code, in.file->name, at.place.line,
                          at.place.column, tag.name, at.name, at.value, message});
}

void check_warn(const check_page &in, const source_tag &tag, const char *attribute,
                const char *code, const char *format, ...)
{
    const source_attribute *at = source_find(tag, attribute);
    va_list arguments;
    va_start(arguments, format);
    warn(in, tag, at ? *at : source_attribute{attribute, "", tag.place}, code, format, arguments);
    va_end(arguments);
}

void check_warn_at(const check_page &in, const source_tag &tag, const source_attribute &attribute,
                   const char *code, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    warn(in, tag, attribute, code, format, arguments);
    va_end(arguments);
}
