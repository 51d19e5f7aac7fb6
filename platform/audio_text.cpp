/* audio_text: the encoding of ID3 text that does not say what it is. */
#include "platform/audio_text.h"

#include "platform/audio.h"
#include "platform/lock.h"
#include "platform/str.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <strings.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>

constexpr size_t encoding_size = 32;

namespace
{
struct v1_reader : TagLib::ID3v1::StringHandler {
    TagLib::String parse(const TagLib::ByteVector &data) const override
    {
        return audio_text_read(data).stripWhiteSpace();
    }
};

struct v2_reader : TagLib::ID3v2::Latin1StringHandler {
    TagLib::String parse(const TagLib::ByteVector &data) const override
    {
        return audio_text_read(data);
    }
};
} // namespace

static constinit sys_lock encoding_lock;
static constinit char encoding[encoding_size] GUARDED_BY(encoding_lock) = "ISO-8859-1";
static constinit pthread_once_t readers_once = PTHREAD_ONCE_INIT;
static thread_local char encoding_now[encoding_size] = "";

static void install_readers()
{
    /* They live as long as the process: a late worker may still read tags while main returns. */
    TagLib::ID3v1::Tag::setStringHandler(new v1_reader);
    TagLib::ID3v2::Tag::setLatin1StringHandler(new v2_reader);
}

void audio_text_init()
{
    (void)pthread_once(&readers_once, install_readers);
}

void audio_text_begin()
{
    audio_text_init();
    sys_guard guard(encoding_lock);
    str_copy(encoding_now, encoding);
}

int decoder_mp3_set_tag_native_encoding(const char *name)
{
    if (!name || strlen(name) >= encoding_size)
        return -1;
    const iconv_t converter = iconv_open("UTF-8", name);
    if (converter == reinterpret_cast<iconv_t>(-1))
        return -1;
    (void)iconv_close(converter);
    sys_guard guard(encoding_lock);
    str_copy(encoding, name);
    return 0;
}

/* Converts all of it into `out`. -1 when it is no text of that encoding. */
static int convert(iconv_t converter, TagLib::ByteVector text, TagLib::ByteVector *out)
{
    char *from = text.data();
    size_t left = text.size();
    while (left > 0) {
        char part[512];
        char *to = part;
        size_t room = sizeof part;
        const size_t result = iconv(converter, &from, &left, &to, &room);
        const int why = errno;
        out->append(TagLib::ByteVector(part, unsigned(sizeof part - room)));
        if (result != size_t(-1) || why == E2BIG)
            continue;
        return why == EINVAL ? 0 : -1;
    }
    return 0;
}

TagLib::String audio_text_read(const TagLib::ByteVector &bytes)
{
    const char *begin = bytes.data();
    const char *end = std::find(begin, begin + bytes.size(), '\0');
    const TagLib::ByteVector text(begin, unsigned(end - begin));
    const TagLib::String latin(text, TagLib::String::Latin1);
    const bool plain = std::all_of(begin, end, [](char c) { return (c & 0x80) == 0; });
    if (plain || !encoding_now[0] || !strcasecmp(encoding_now, "ISO-8859-1"))
        return latin;
    const iconv_t converter = iconv_open("UTF-8", encoding_now);
    if (converter == reinterpret_cast<iconv_t>(-1))
        return latin;
    TagLib::ByteVector out;
    const int result = convert(converter, text, &out);
    (void)iconv_close(converter);
    return result ? latin : TagLib::String(out, TagLib::String::UTF8);
}
