/* list_cur_playlist_m3u: the M3U format, read and written. Private to the current playlist.
 *
 * Lines of at most 1023 bytes, ended by LF or CR LF; a longer line goes on as a line of its own.
 * A line that begins with '#' is a comment, an empty one nothing. Paths are bytes. */
#pragma once

#include "lists/playlist/list_cur_playlist_paths.h"

#include <cstdio>

enum class m3u_reading {
    absent, /* there is no such file */
    failed, /* it cannot be opened, or read to its end; `to` has what came before */
    read,
    saved, /* read, and a save of what it names would write the same bytes */
};

/* Gathers the files of a playlist, in its order: absolute lines as they stand, relative ones joined
 * with its folder and normalised.
 *   is_own  whether this program wrote it: lines may be as long as a path */
m3u_reading list_cur_playlist_m3u_read(const char *path, bool is_own, playlist_paths *to);
/* The same from an open file; `folder` is what relative lines are relative to. */
m3u_reading list_cur_playlist_m3u_parse(FILE *from, const char *folder, bool is_own,
                                        playlist_paths *to);
/* Replaces a playlist file with the current playlist, one path and CR LF a line. -1 leaves what
 * stood there. Takes list_cur_playlist_lock, not while it waits for the disk. */
int list_cur_playlist_m3u_save(const char *path);
