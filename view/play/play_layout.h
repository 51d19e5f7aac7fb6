/* play_layout: which layout variant of the play part is used, and which of its elements show. */
#pragma once

#include "platform/base/lock.h"
#include "view/play/play_state.h"

#include <cstdint>

/* Starts what a variant asks for. Both are called with play_view_lock held, on any thread, and
 * start nothing twice for one track. Set before the first layout choice; null starts nothing. */
typedef void (*play_layout_want)();
extern play_layout_want play_layout_want_cover;
extern play_layout_want play_layout_want_lyrics;

/* Takes the first usable variant, counting on from `start`; -1 starts at the preferred one when it
 * is usable, else at 0. Variant 0 when none is usable. Drops the scaled cover, because another
 * layout may want another size. Returns the index. Any thread. */
uint32_t choose_layout(int32_t start);
/* Writes the `inactive` word of every element that has a condition. Main thread. */
void play_layout_update_visibility(skin_page *page);
/* The variant in use, null without a part; valid until the part is replaced. Main thread. */
skin_page *play_layout_current();
/* The same, to be drawn: its pictures are decoded when it is first shown. A part whose pictures turn out to
 * be broken is replaced as play_layout_load_skin() would have done. */
skin_page *play_layout_shown();
/* Reads the part "play" of a package, then of the default, then of any (which rewrites
 * cfg_skin_play), and makes it the screen's. -1: the old part stays. Main thread. */
int play_layout_load_skin(const char *package_path);
/* Changes with every part that was loaded. Main thread. */
uint32_t play_layout_skin_serial();
