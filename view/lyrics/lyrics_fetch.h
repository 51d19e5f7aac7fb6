/* lyrics_fetch: asks the lyrics service. */
#pragma once

/* Whether a host is configured, by the environment or by the build. Any thread. */
bool lyrics_host_is_known();
/* Asks for a track's lyrics and stores the answer as a file, whole or not at all. Of an answer that
 * breaks off, what came so far counts as the answer. One without a line that has a time, and a page
 * in HTML, leave no file; nothing at all leaves an empty one.
 *   track_path   the sound file
 *   lyrics_path  the file to make
 *   go_on        asked before the request, between reads and several times a second while the
 *                service is silent; false gives up and leaves no file
 *   context      handed to go_on
 * 0 when the whole answer was stored, else -1. Worker threads. */
[[nodiscard]] int lyrics_fetch(const char *track_path, const char *lyrics_path,
                               bool (*go_on)(void *context), void *context);
