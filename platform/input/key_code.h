/* key_code: everything on a machine that can be pressed, as one number each, whatever reports it:
 *     0 to 0x2ff            keys and buttons, with the kernel's own numbers
 *     key_code_axis + 2 N   the low end of the kernel's axis N (left, up); + 1 the high end
 *     key_code_switch + N   the kernel's switch N: down while it is set
 * The numbers are those of the kernel's interface and never change. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint16_t key_code_axis = 0x300, key_code_switch = 0x380, key_code_count = 0x3a0;

using key_code_text = char[24];

/* The code that a person means: "KEY_UP", "BTN_SOUTH", "SW_LID", "ABS_X-low", "0x130"; a key of the
 * desktop ("Page Up", "Return", "w") or a button of a pad ("Pad A"). No regard to case and blanks.
 * -1 when nothing is called so. */
int32_t key_code_find(const char *name, size_t length);
/* The kernel's name, else the number: what key_code_find() takes. */
void key_code_write(uint16_t code, key_code_text &to);
