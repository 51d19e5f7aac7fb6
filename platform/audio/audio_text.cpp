/* audio_text: text of tags, whatever its encoding, as UTF-8. */
#include "platform/audio/audio_text.h"

#include "platform/audio/audio.h"
#include "platform/base/lock.h"
#include "platform/base/str.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <strings.h>
#include <sys/types.h>

constexpr size_t encoding_size = 32;
constexpr int encoding_count = 16; /* different ones in the life of a process */

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
static constinit thread_local int encoding_now = -1;

void audio_text_begin()
{
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

/* Converts all of it. The bytes written, -1 when it is no text of that encoding. */
static ssize_t convert(int index, const unsigned char *bytes, size_t size, bool full, char *to)
{
    char *from = reinterpret_cast<char *>(const_cast<unsigned char *>(bytes)); /* only read */
    char *out = to;
    size_t room = audio_text_room(size) - 1;
    sys_guard guard(encoding_lock);
    const iconv_t converter = encodings[index].converter;
    (void)iconv(converter, nullptr, nullptr, nullptr, nullptr); /* forgets the last text */
    if (iconv(converter, &from, &size, &out, &room) != static_cast<size_t>(-1) ||
        (errno == EINVAL && full))
        return out - to;
    return -1;
}

/* One character as UTF-8; returns the place behind it. */
static char *put_character(char *to, uint32_t c)
{
    if (c < 0x80) {
        *to++ = static_cast<char>(c);
        return to;
    }
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    *to++ = static_cast<char>((0xFF00 >> (more + 1)) | (c >> (6 * more)));
    for (int i = more - 1; i >= 0; i--)
        *to++ = static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
    return to;
}

void audio_text_native(const unsigned char *bytes, size_t size, bool full, char *to)
{
    size = static_cast<size_t>(std::find(bytes, bytes + size, 0) - bytes);
    const bool plain = std::all_of(bytes, bytes + size, [](unsigned char c) { return c < 0x80; });
    const ssize_t converted =
        plain || encoding_now < 0 ? -1 : convert(encoding_now, bytes, size, full, to);
    if (converted >= 0) {
        to[converted] = '\0';
        return;
    }
    char *end = to;
    for (size_t i = 0; i < size; i++)
        end = put_character(end, bytes[i]);
    *end = '\0';
}

/* Bytes that a character has by its first one, 0 for one that begins none. */
static size_t bytes_by_lead(unsigned char lead)
{
    if (lead < 0x80)
        return 1;
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

/* Bytes of the character that begins here, 0 when none does. */
static size_t character_bytes(const unsigned char *at, size_t size)
{
    static constexpr uint32_t least[] = {0, 0x80, 0x800, 0x10000};
    const size_t count = bytes_by_lead(*at);
    if (count < 2 || count > size)
        return count <= size ? count : 0;
    uint32_t c = *at & (0x7Fu >> count);
    for (size_t i = 1; i < count; i++) {
        if ((at[i] & 0xC0) != 0x80)
            return 0;
        c = c << 6 | (at[i] & 0x3F);
    }
    return c >= least[count - 1] && c < 0x110000 && (c < 0xD800 || c > 0xDFFF) ? count : 0;
}

void audio_text_utf8(const unsigned char *bytes, size_t size, char *to)
{
    size = static_cast<size_t>(std::find(bytes, bytes + size, 0) - bytes);
    for (size_t i = 0; i < size;) {
        const size_t count = character_bytes(bytes + i, size - i);
        if (count == 0)
            size = 0;
        i += count;
    }
    memcpy(to, bytes, size);
    to[size] = '\0';
}

void audio_text_utf16(const unsigned char *bytes, size_t size, bool big_endian, char *to)
{
    char *end = to;
    const auto unit = [=](size_t i) {
        return static_cast<uint32_t>(bytes[i + !big_endian] << 8 | bytes[i + big_endian]);
    };
    for (size_t i = 0; i + 1 < size && unit(i) != 0; i += 2) {
        uint32_t c = unit(i);
        if (c >= 0xD800 && c <= 0xDFFF) {
            const uint32_t low = i + 3 < size ? unit(i + 2) : 0;
            if (c > 0xDBFF || low < 0xDC00 || low > 0xDFFF) {
                end = to;
                break;
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            i += 2;
        }
        end = put_character(end, c);
    }
    *end = '\0';
}
