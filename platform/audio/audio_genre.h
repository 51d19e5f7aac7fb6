/* audio_genre: names of the genres that ID3 tags only number. Any thread. */
#pragma once

#include <cstddef>

/* Writes the name, as far as it fits; an empty one for a number without a name. */
void audio_genre_name(int number, char *to, size_t size);
