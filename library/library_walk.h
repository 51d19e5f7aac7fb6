/* library_walk: every music file and playlist below a folder, in the order of the library. */
#pragma once

/* Called for each file: a folder's own files first, as listed, then each subfolder's.
 *   path, dir  valid during the call
 * Returns 0 to go on, -1 to end the walk. */
typedef int (*library_walk_visit)(void *user, const char *path, const char *dir);

/* A folder that cannot be listed is left out; one that is reached through itself, by a symbolic
 * link, is not entered again. Any thread. */
void library_walk(const char *dir, library_walk_visit visit, void *user);
