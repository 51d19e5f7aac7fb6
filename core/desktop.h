/* desktop: what a desktop adds to the handheld: media keys, files dropped on the window, the window's
 * title. Main thread. */
#pragma once

/* Once a pass, after the input was read. */
void desktop_pass();
