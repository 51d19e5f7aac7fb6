/* play_text: the text templates of the play screen. */
#pragma once

#include <cstddef>
#include <ctime>

/* Replaces the "$" keywords of a template by what the playing track says. What goes beyond the
 * array is cut.
 *   now  the wall clock of the frame
 * Main thread. */
void play_text_expand(const char *text, time_t now, char (&to)[1024]);
