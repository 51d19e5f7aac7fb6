/* list_cfg_settings: the settings, what each offers and what each does. Main thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct cfg_choice;

struct list_cfg_setting {
    const char *label;
    int32_t *number = nullptr; /* what it edits: a number, or else a text */
    char *text = nullptr;
    size_t text_size = 0;
    const char *description = ""; /* subtitle while the cursor is on the setting */
    /* Fills the choices; returns the row of the cursor. */
    int32_t (*collect)();
    /* The row of a choice, heap text. */
    char *(*show)(const cfg_choice *choice);
    /* Makes a new value felt at once, where the loop and the playlist do not look themselves. */
    void (*apply)() = nullptr;
};

constexpr uint32_t list_cfg_setting_count = 6;
extern const list_cfg_setting list_cfg_settings[list_cfg_setting_count]; /* row by row */
extern const list_cfg_setting *const list_cfg_auto_off;                  /* one of them */

/* ---- The values that are offered: those of one setting, or none ---- */

/* Replaces the choices by those of a setting; null: by none. Returns the cursor's row. */
int32_t list_cfg_collect(const list_cfg_setting *setting);
uint32_t list_cfg_choice_count();
/* The text of a choice, the caller's; null when memory runs out. `row` must exist. */
char *list_cfg_choice_text(const list_cfg_setting *setting, uint32_t row);
/* Stores a choice in its setting and makes it felt. `row` must exist. */
void list_cfg_choose(const list_cfg_setting *setting, uint32_t row);
/* Counts row 0 of the auto power-off down to the time that is left now and returns its text, the
 * caller's. Null when the choices have no such row. */
char *list_cfg_count_down();
