/* Codes: their names, and the kernel's own numbers behind them. */
#include "platform/input/key_code.h"
#include "platform/input/key_code_names.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>

static int32_t find(const std::string &name)
{
    return key_code_find(name.data(), name.size());
}

static std::string written(uint16_t code)
{
    key_code_text text;
    key_code_write(code, text);
    return text;
}

/* The kernel's own table, as this machine's headers have it. */
static std::map<std::string, int> kernel_numbers()
{
    std::map<std::string, int> all;
    std::ifstream header("/usr/include/linux/input-event-codes.h");
    std::string word, name, value;
    for (std::string line; std::getline(header, line);) {
        std::istringstream words(line);
        if (!(words >> word >> name >> value) || word != "#define")
            continue;
        char *rest = nullptr;
        const long number = strtol(value.c_str(), &rest, 0);
        if (!*rest)
            all[name] = static_cast<int>(number);
        else if (all.count(value))
            all[name] = all[value];
    }
    return all;
}

TEST(key_code, names_have_the_numbers_of_the_kernel)
{
    const std::map<std::string, int> kernel = kernel_numbers();
    ASSERT_GT(kernel.size(), 400u);
    ASSERT_GT(key_code_entry_count, 350u);
    for (size_t i = 0; i < key_code_entry_count; i++) {
        const key_code_entry &each = key_code_entries[i];
        const int base = strncmp(each.name, "SW_", 3) == 0 ? key_code_switch : 0;
        ASSERT_TRUE(kernel.count(each.name)) << each.name;
        EXPECT_EQ(each.code, base + kernel.at(each.name)) << each.name;
        EXPECT_LT(each.code, key_code_count) << each.name;
    }
    for (size_t i = 0; i < key_code_axis_count; i++)
        EXPECT_EQ(key_code_axes[i].code, kernel.at(key_code_axes[i].name));
}

TEST(key_code, every_number_is_written_so_that_it_is_found_again)
{
    for (uint16_t code = 1; code < key_code_count; code++)
        EXPECT_EQ(find(written(code)), code) << written(code);
    EXPECT_EQ(written(103), "KEY_UP");
    EXPECT_EQ(written(0x130), "BTN_SOUTH");
    EXPECT_EQ(written(key_code_switch + 2), "SW_HEADPHONE_INSERT");
    EXPECT_EQ(written(key_code_axis + 2 * 0x10), "ABS_HAT0X-low");
    EXPECT_EQ(written(key_code_axis + 2 * 0x10 + 1), "ABS_HAT0X-high");
    EXPECT_EQ(written(0x2fe), "0x2fe");
}

TEST(key_code, what_the_desktop_and_a_pad_call_them_is_understood)
{
    const std::map<std::string, std::string> names = {{"Up", "KEY_UP"},
                                                      {"page up", "KEY_PAGEUP"},
                                                      {"Return", "KEY_ENTER"},
                                                      {"Escape", "KEY_ESC"},
                                                      {"w", "KEY_W"},
                                                      {"W", "KEY_W"},
                                                      {"F11", "KEY_F11"},
                                                      {"Space", "KEY_SPACE"},
                                                      {"Left Ctrl", "KEY_LEFTCTRL"},
                                                      {"1", "KEY_1"},
                                                      {"btn_south", "BTN_SOUTH"},
                                                      {"BTN_A", "BTN_SOUTH"},
                                                      {"Pad A", "BTN_SOUTH"},
                                                      {"pad start", "BTN_START"},
                                                      {"Pad L1", "BTN_TL"},
                                                      {"Plus", "KEY_KPPLUS"},
                                                      {"abs_y-LOW", "ABS_Y-low"},
                                                      {"0x130", "BTN_SOUTH"},
                                                      {"\tTab ", "KEY_TAB"},
                                                      {"Volume Up", "KEY_VOLUMEUP"}};
    for (const auto &[name, kernel] : names)
        EXPECT_EQ(find(name), find(kernel)) << name;
    EXPECT_GT(find("KEY_UP"), 0);
}

TEST(key_code, what_nothing_is_called_is_not_found)
{
    for (const char *name : {"", " ", "KEY_", "KEY_UPP", "ABS_X", "ABS_X-", "ABS_X-lower", "-low",
                             "0x", "0x0", "0xg", "0x3a0", "0xffffffffffffffffff", "0x-1", "Ü",
                             "KEY_AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA", "+", "="})
        EXPECT_EQ(find(name), -1) << name;
    EXPECT_EQ(key_code_find("KEY_UP\0X", 8), -1);
}
