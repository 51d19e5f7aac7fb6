/* key_watch: what the machine's keys and switches mean beside the screens: keys that are locked, headphones
 * that are pulled out, a key map with a mistake. Main thread. */
#pragma once

/* Tells what is wrong with the key map. After the screens are up. */
void key_watch_begin();
/* Once a pass, after the input was read. */
void key_watch_pass();
