/* list_main: the main menu's library update. */
#pragma once

/* Stops playback and starts a scan on its own thread. What the start returned. Main thread. */
int list_main_on_update_library();
