/* view_play: the play screen as the lists and the settings see it. */
#pragma once

struct view;

extern view view_play_record; /* start-up hangs it to `view_play` */

/* Loads the "play" part, falling back as view_list_load_skin() does. Main thread. */
int view_play_load_skin(const char *package_path);
/* Starts playback; selects no view. Any thread. The result of play_begin(). */
int view_play_begin(const char *path);
