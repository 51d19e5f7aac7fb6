/* audio_picture: the picture that a file carries in its ID3v2 block.
 *
 * Looks at the front of the file only: the heads of at most 4096 frames, and the one picture. Any
 * thread. */
#pragma once

#include <cstddef>

/* Bytes, stored and opened; a larger picture is not read. */
constexpr size_t audio_picture_limit = 8 << 20;

/* Makes a frame "APIC" of version 2.4 out of the first picture frame of the file, whatever its
 * version, with its content opened: what a tag library then reads costs no more than it says.
 *   bytes  ended by free()
 * 0, or -1 without a picture frame or when its content cannot be had: the frame counts even then,
 * and a second one is not looked at. */
int audio_picture_frame(const char *path, unsigned char **bytes, size_t *size);
