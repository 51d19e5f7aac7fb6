/* audio_text: the encoding of ID3 text that does not say what it is. */
#pragma once

#include <cstddef>

namespace TagLib
{
class ByteVector;
class String;
} // namespace TagLib

/* Installs the reader of such text in the tag library, once for the whole process. Any thread. */
void audio_text_init();
/* Takes the encoding of now for all text that this thread reads until it asks again: one file is
 * read in one encoding, whatever is selected meanwhile. */
void audio_text_begin();
/* Text up to its first zero byte. What is no text in the selected encoding from its first to its
 * last byte is read as ISO-8859-1.
 *   full  the text fills a field that may have cut its last character in half: that is left out
 * Throws what the tag library throws. */
TagLib::String audio_text_read(const TagLib::ByteVector &bytes, bool full);
