/* list_cur_playlist_m3u: the M3U format, read and written. Private to the current playlist.
 *
 * Lines of at most 1023 bytes, ended by LF or CR LF; a longer line goes on as a line of its own.
 * A line that begins with '#' is a comment, an empty one nothing. Paths are bytes. */
#pragma once

#include <cstdio>

/* Names the files of a playlist, in its order, to its end or to the first read error.
 *   folder  of the playlist; what relative lines are relative to
 *   each    receives an absolute path that lives for the call; absolute lines as they stand,
 *           relative ones joined and normalised */
void list_cur_playlist_m3u_read(FILE *from, const char *folder,
                                void (*each)(void *user, const char *path), void *user);
/* Replaces a playlist file with the current playlist, one path and CR LF a line. -1 leaves what
 * stood there. Takes list_cur_playlist_lock, not while it waits for the disk. */
int list_cur_playlist_m3u_save(const char *path);
