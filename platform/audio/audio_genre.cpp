/* audio_genre: names of the genres that ID3 tags only number, as the tag library knows them. */
#include "platform/audio/audio_genre.h"

#include "platform/audio/audio_guard.h"
#include "platform/base/str.h"

#include <taglib/id3v1genres.h>

void audio_genre_name(int number, char *to, size_t size)
{
    to[0] = '\0';
    (void)audio_guard(-1, [=] { /* without memory there is no name */
                                str_copy_to(to, size, TagLib::ID3v1::genre(number).toCString(true));
                                return 0;
    });
}
