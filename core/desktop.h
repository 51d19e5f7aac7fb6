/* desktop: what a desktop adds to the handheld: media keys, files dropped on the window, the window's
 * title. Main thread. */
#pragma once

/* Once a pass, after the input was read. */
void desktop_pass();
/* The next pass loads both skins again: their maker has changed them. Any thread; safe in a signal
 * handler. */
void desktop_ask_for_skins();
