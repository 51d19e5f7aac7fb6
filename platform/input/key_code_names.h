/* key_code_names: the tables behind key_code.h. Any thread. */
#pragma once

#include "platform/input/key_code.h"

#include <iterator>

/* Without pointers: a program that never asks for a name does not touch the table at its start. */
struct key_code_entry {
    uint16_t code;
    key_code_text name;
};

extern const key_code_entry key_code_entries[]; /* keys, buttons and switches */
extern const size_t key_code_entry_count;
extern const key_code_entry key_code_axes[]; /* `code` is the kernel's number of the axis */
extern const size_t key_code_axis_count;
