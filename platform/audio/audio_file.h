/* audio_file: a music file for the decoders, read through a buffer.
 *
 * Only regular files open: a pipe or a device with the name of a song must not block a scan. One
 * thread at a time. */
#pragma once

#include <cstddef>
#include <cstdint>

struct audio_file;

/* How a file will be read. */
enum audio_file_use {
    audio_file_play, /* from the front to the end */
    audio_file_look  /* a few bytes here and there: the storage reads no further than asked */
};

/* Never for writing. Null when the file cannot be read or is no regular file. */
audio_file *audio_file_open(const char *path, audio_file_use use);
/* Accepts null. */
void audio_file_close(audio_file *file);
int64_t audio_file_size(const audio_file *file);
/* Makes decoders see only the bytes from `from` up to `to`, counted from 0; moves to the first. */
void audio_file_window(audio_file *file, int64_t from, int64_t to);
/* Size of the window, which is the whole file at first. */
int64_t audio_file_length(const audio_file *file);
int64_t audio_file_tell(const audio_file *file);
/* Whence as lseek() has it. The new place, -1 for one outside the window (its end is inside). */
int64_t audio_file_seek(audio_file *file, int64_t offset, int whence);
/* Bytes read, 0 at the end of the window, -1 on an error. */
int64_t audio_file_read(audio_file *file, void *to, size_t size);
/* Reads at a place of the whole file, which stays where it is. Less than asked only at the end of
 * the file or on an error. */
size_t audio_file_peek(audio_file *file, int64_t at, void *to, size_t size);
/* Whether the storage failed at some read: not the same as the end of the file. */
bool audio_file_failed(const audio_file *file);
