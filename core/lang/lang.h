/* lang: the language, which chooses the locale and the encoding of unmarked tags. Main thread. */
#pragma once

constexpr int lang_count = 3;
extern const char lang_list[lang_count][10]; /* "ko", "en", "ja" */
extern char lang_selected[10];               /* code last selected, "" before the first */

/* The language's own name; "未知" for a code that is not known. */
const char *lang_get_name(const char *code);
/* 0, or -1 for an unknown code (nothing changes). Rebuilds the main menu. Leaves cfg_lang alone. */
int lang_select(const char *code);
