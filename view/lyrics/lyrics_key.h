/* lyrics_key: what the lyrics service knows a track by. */
#pragma once

constexpr int lyrics_key_size = 33; /* 32 lower-case hexadecimal digits and the end mark */

/* The MD5 digest of the first 160 KiB of sound data: ID3v2 tags at the start, any number in a row,
 * and zero bytes after them are skipped, so that the key outlives a change of tags. -1 when the
 * file cannot be read or a tag's size makes no sense, and for a file that begins with more than
 * 65 536 tags or, behind them, 16 MiB of zeros. Any thread. */
[[nodiscard]] int lyrics_key(const char *path, char (&key)[lyrics_key_size]);
