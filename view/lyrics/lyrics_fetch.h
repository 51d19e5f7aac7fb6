/* lyrics_fetch: asks the lyrics service. */
#pragma once

/* Whether a host is configured, by the environment or by the build. Any thread. */
bool lyrics_host_is_known();
/* Asks for a track's lyrics and stores the answer as a file. An answer that breaks off leaves what
 * came so far; one that never began leaves no file.
 *   track_path   the sound file
 *   lyrics_path  the file to make
 *   go_on        asked before the request, between reads and several times a second while the
 *                service is silent; false gives up and leaves no file
 *   context      handed to go_on
 * 0 when the whole answer was stored, else -1. Worker threads. */
[[nodiscard]] int lyrics_fetch(const char *track_path, const char *lyrics_path,
                               bool (*go_on)(void *context), void *context);
