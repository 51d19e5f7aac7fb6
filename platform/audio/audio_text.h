/* audio_text: text of tags, whatever its encoding, as UTF-8. Any thread. */
#pragma once

#include <cstddef>

/* Bytes that text of so many bytes needs at most, its end included. */
constexpr size_t audio_text_room(size_t size)
{
    return 3 * size + 1;
}

/* Takes the encoding of now for all text that this thread reads until it asks again: one file is
 * read in one encoding, whatever is selected meanwhile. */
void audio_text_begin();

/* Each writes text up to its first zero character into room for audio_text_room(size) bytes. What is
 * no text of its encoding becomes an empty one. */

/* Text that does not say what it is. What is no text in the selected encoding from its first to its
 * last byte is read as ISO-8859-1.
 *   full  the text fills a field that may have cut its last character in half: that is left out */
void audio_text_native(const unsigned char *bytes, size_t size, bool full, char *to);
void audio_text_utf8(const unsigned char *bytes, size_t size, char *to);
void audio_text_utf16(const unsigned char *bytes, size_t size, bool big_endian, char *to);
