#include "platform/input/key_code.h"

#include "platform/base/str.h"
#include "platform/input/key_code_names.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

constexpr char low_end[] = "-low", high_end[] = "-high";

/* Names of the desktop that are not the kernel's without "KEY_", and of a pad's buttons. */
static constexpr key_code_entry aliases[] = {
    {1, "ESCAPE"},       {28, "RETURN"},       {78, "PLUS"},        {13, "EQUALS"},
    {96, "KEYPADENTER"}, {78, "KEYPAD+"},      {74, "KEYPAD-"},     {14, "BKSP"},
    {111, "DEL"},        {110, "INS"},         {29, "CTRL"},        {56, "ALT"},
    {42, "SHIFT"},       {139, "APPLICATION"}, {113, "AUDIOMUTE"},  {164, "AUDIOPLAY"},
    {166, "AUDIOSTOP"},  {165, "AUDIOPREV"},   {163, "AUDIONEXT"},  {0x220, "PADUP"},
    {0x221, "PADDOWN"},  {0x222, "PADLEFT"},   {0x223, "PADRIGHT"}, {0x130, "PADA"},
    {0x131, "PADB"},     {0x133, "PADX"},      {0x134, "PADY"},     {0x136, "PADL1"},
    {0x137, "PADR1"},    {0x138, "PADL2"},     {0x139, "PADR2"},    {0x13a, "PADSELECT"},
    {0x13b, "PADSTART"}, {0x13c, "PADGUIDE"},  {0x13d, "PADL3"},    {0x13e, "PADR3"},
};

/* In capitals and without blanks; "" when it is longer than any name. */
static void squeeze(const char *from, size_t length, key_code_text &to)
{
    size_t used = 0;
    for (size_t i = 0; i < length; i++) {
        const unsigned char byte = static_cast<unsigned char>(from[i]);
        if (byte == ' ' || byte == '\t')
            continue;
        if (used + 1 >= sizeof to || byte < 0x20 || byte >= 0x7f) {
            used = 0;
            break;
        }
        to[used++] = static_cast<char>(toupper(byte));
    }
    to[used] = '\0';
}

template <size_t count>
static int32_t find_in(const key_code_entry (&table)[count], const char *name)
{
    for (const key_code_entry &each : table) {
        if (strcmp(each.name, name) == 0)
            return each.code;
    }
    return -1;
}

static int32_t find_kernel_name(const char *prefix, const char *name)
{
    key_code_text whole;
    if (!str_format(whole, "%s%s", prefix, name))
        return -1;
    for (size_t i = 0; i < key_code_entry_count; i++) {
        if (strcmp(key_code_entries[i].name, whole) == 0)
            return key_code_entries[i].code;
    }
    return -1;
}

/* "ABS_X-LOW" */
static int32_t find_axis_end(const char *name)
{
    for (size_t i = 0; i < key_code_axis_count; i++) {
        const key_code_entry &each = key_code_axes[i];
        const size_t length = strlen(each.name);
        if (strncmp(each.name, name, length) != 0)
            continue;
        if (str_equal_nocase(name + length, low_end))
            return key_code_axis + 2 * each.code;
        if (str_equal_nocase(name + length, high_end))
            return key_code_axis + 2 * each.code + 1;
    }
    return -1;
}

static int32_t read_number(const char *name)
{
    char *rest = nullptr;
    if (strncmp(name, "0X", 2) != 0 || !isxdigit(static_cast<unsigned char>(name[2])))
        return -1;
    const unsigned long value = strtoul(name, &rest, 16);
    return *rest || value == 0 || value >= key_code_count ? -1 : static_cast<int32_t>(value);
}

int32_t key_code_find(const char *name, size_t length)
{
    key_code_text plain;
    squeeze(name, length, plain);
    if (plain[0] == '\0')
        return -1;
    int32_t found = find_kernel_name("", plain);
    if (found < 0)
        found = find_kernel_name("KEY_", plain); /* as the desktop calls most of them */
    if (found < 0)
        found = find_axis_end(plain);
    if (found < 0)
        found = find_in(aliases, plain);
    return found < 0 ? read_number(plain) : found;
}

void key_code_write(uint16_t code, key_code_text &to)
{
    const bool is_axis = code >= key_code_axis && code < key_code_switch;
    const uint16_t wanted = is_axis ? (code - key_code_axis) / 2 : code;
    const key_code_entry *table = is_axis ? key_code_axes : key_code_entries;
    const size_t count = is_axis ? key_code_axis_count : key_code_entry_count;
    for (size_t i = 0; i < count; i++) {
        if (table[i].code != wanted)
            continue;
        const char *end = !is_axis ? "" : code % 2 ? high_end : low_end;
        (void)str_format(to, "%s%s", table[i].name, end); /* fits: see the names */
        return;
    }
    (void)str_format(to, "0x%x", code);
}
