/* str: text in fixed arrays. Any thread. */
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

/* Removes ASCII white space at both ends, in place; returns its argument. */
char *str_strip(char *text);

/* Formats into an array whose size cannot be wrong. Returns true when all of it fitted. */
template <size_t size>
__attribute__((format(printf, 2, 3))) bool str_format(char (&to)[size], const char *format, ...);

/* Copies, cut to the array. Returns true when all of it fitted. A null text counts as empty. */
bool str_copy_to(char *to, size_t size, const char *text);
template <size_t size> bool str_copy(char (&to)[size], const char *text)
{
    return str_copy_to(to, size, text);
}

__attribute__((format(printf, 3, 0))) bool str_vformat_to(char *to, size_t size, const char *format,
                                                          va_list arguments);

template <size_t size> bool str_format(char (&to)[size], const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const bool whole = str_vformat_to(to, size, format, arguments);
    va_end(arguments);
    return whole;
}

/* strtol() base 10 saturated to 32 bits, as the 32-bit target reads numbers. *rest may be null. */
int32_t str_to_int32(const char *text, const char **rest);

/* Without regard to ASCII case, whatever the locale. Null texts count as empty. */
bool str_equal_nocase(const char *left, const char *right);
bool str_starts_nocase(const char *text, const char *start);
