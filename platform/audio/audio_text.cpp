/* audio_text: the encoding of ID3 text that does not say what it is. */
#include "platform/audio/audio_text.h"

#include "platform/audio/audio.h"
#include "platform/base/lock.h"
#include "platform/base/str.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <new>
#include <strings.h>
#include <taglib/id3v2tag.h>

constexpr size_t encoding_size = 32;
constexpr int encoding_count = 16; /* different ones in the life of a process */

namespace
{
struct v2_reader : TagLib::ID3v2::Latin1StringHandler {
    TagLib::String parse(const TagLib::ByteVector &data) const override
    {
        return audio_text_read(data, false);
    }
};
} // namespace

/* Once opened they stay: opening loads a module of the C library, and one text in it takes less
 * time than that. A converter is used under the lock. */
struct opened_encoding {
    char name[encoding_size];
    iconv_t converter;
};

static constinit sys_lock encoding_lock;
static constinit opened_encoding encodings[encoding_count] GUARDED_BY(encoding_lock) = {};
static constinit int encodings_used GUARDED_BY(encoding_lock) = 0;
static constinit std::atomic<int> encoding_selected = -1; /* -1: ISO-8859-1 */
static constinit pthread_once_t reader_once = PTHREAD_ONCE_INIT;
static constinit thread_local int encoding_now = -1;

static void install_reader()
{
    /* It lives as long as the process: a late worker may still read tags while main returns. */
    alignas(v2_reader) static char place[sizeof(v2_reader)];
    TagLib::ID3v2::Tag::setLatin1StringHandler(new (place) v2_reader);
}

void audio_text_init()
{
    (void)pthread_once(&reader_once, install_reader);
}

void audio_text_begin()
{
    audio_text_init();
    encoding_now = encoding_selected;
}

/* Its index, -1 when it is unknown to the C library. */
static int open_encoding_locked(const char *name) REQUIRES(encoding_lock)
{
    for (int i = 0; i < encodings_used; i++)
        if (!strcasecmp(encodings[i].name, name))
            return i;
    if (encodings_used == encoding_count || strlen(name) >= encoding_size)
        return -1;
    opened_encoding *next = &encodings[encodings_used];
    next->converter = iconv_open("UTF-8", name);
    if (next->converter == reinterpret_cast<iconv_t>(-1))
        return -1;
    str_copy(next->name, name);
    return encodings_used++;
}

int decoder_mp3_set_tag_native_encoding(const char *name)
{
    if (!name)
        return -1;
    int index = -1;
    if (strcasecmp(name, "ISO-8859-1") != 0) {
        sys_guard guard(encoding_lock);
        index = open_encoding_locked(name);
        if (index < 0)
            return -1;
    }
    encoding_selected = index;
    return 0;
}

/* Converts all of it into `out`. -1 when it is no text of that encoding. */
static int convert(int index, TagLib::ByteVector text, bool full, TagLib::ByteVector *out)
{
    char *from = text.data();
    size_t left = text.size();
    sys_guard guard(encoding_lock);
    const iconv_t converter = encodings[index].converter;
    (void)iconv(converter, nullptr, nullptr, nullptr, nullptr); /* forgets the last text */
    while (left > 0) {
        char part[512];
        char *to = part;
        size_t room = sizeof part;
        const size_t result = iconv(converter, &from, &left, &to, &room);
        const int why = errno;
        out->append(TagLib::ByteVector(part, unsigned(sizeof part - room)));
        if (result != size_t(-1) || why == E2BIG)
            continue;
        return why == EINVAL && full ? 0 : -1;
    }
    return 0;
}

TagLib::String audio_text_read(const TagLib::ByteVector &bytes, bool full)
{
    const char *begin = bytes.data();
    const char *end = std::find(begin, begin + bytes.size(), '\0');
    const TagLib::ByteVector text(begin, unsigned(end - begin));
    const bool plain = std::all_of(begin, end, [](char c) { return (c & 0x80) == 0; });
    TagLib::ByteVector out;
    if (plain || encoding_now < 0 || convert(encoding_now, text, full, &out))
        return TagLib::String(text, TagLib::String::Latin1);
    return TagLib::String(out, TagLib::String::UTF8);
}
