/* skin_parse_error: what is wrong with the XML of a part file, in the words of who wrote it. */
#pragma once

#include <cstddef>
#include <expat.h>

/* A sentence about an error.
 *   text  the file, as far as it is known, where the error was found; may be null
 *   at    bytes of it before the place, size: all of it */
const char *skin_parse_error(XML_Error error, const char *text, size_t at, size_t size);
