/* maker_audio_id3: ID3 blocks, written byte by byte so that tests can have the odd ones too. */
#include "tests/makers/maker_audio.h"

#include <iconv.h>
#include <taglib/id3v1genres.h>

enum { text_native, text_utf16, text_utf16be, text_utf8 };

std::string maker_encode(const std::string &utf8, const std::string &encoding)
{
    const std::string name = encoding == "UTF-16" ? "UTF-16LE" : encoding;
    std::string out = encoding == "UTF-16" ? "\xFF\xFE" : "";
    iconv_t converter = iconv_open(name.c_str(), "UTF-8");
    if (converter == reinterpret_cast<iconv_t>(-1))
        return "";
    std::string copy = utf8;
    char *in = copy.data();
    size_t in_left = copy.size();
    while (in_left > 0) {
        char part[256];
        char *to = part;
        size_t room = sizeof part;
        const size_t result = iconv(converter, &in, &in_left, &to, &room);
        out.append(part, sizeof part - room);
        if (result != static_cast<size_t>(-1) || room < sizeof part)
            continue;
        /* Skips one character that cannot be said. */
        out += '?';
        do {
            in++;
            in_left--;
        } while (in_left > 0 && (*in & 0xC0) == 0x80);
    }
    iconv_close(converter);
    return out;
}

static int mark_of(const std::string &encoding)
{
    if (encoding == "UTF-16")
        return text_utf16;
    if (encoding == "UTF-16BE")
        return text_utf16be;
    return encoding == "UTF-8" ? text_utf8 : text_native;
}

static std::string big_endian(size_t value, int bytes, int bits)
{
    std::string out;
    for (int i = bytes - 1; i >= 0; i--)
        out += static_cast<char>((value >> (i * bits)) & ((1u << bits) - 1));
    return out;
}

static std::string frame(const std::string &id, const std::string &content, int version)
{
    if (version == 22)
        return id + big_endian(content.size(), 3, 8) + content;
    return id + big_endian(content.size(), 4, version == 24 ? 7 : 8) + std::string(2, '\0') +
           content;
}

static std::string text_frame(const std::string &id, const std::string &text, const maker_id3 &how)
{
    if (text.empty())
        return "";
    return frame(id,
                 std::string(1, static_cast<char>(mark_of(how.encoding))) +
                     maker_encode(text, how.encoding),
                 how.version);
}

static std::string picture_frame(const maker_tags &tags, int version)
{
    if (tags.cover.empty())
        return "";
    std::string content(1, '\0');
    if (version == 22)
        content += tags.cover_mime == "image/png" ? "PNG" : "JPG";
    else
        content += tags.cover_mime + '\0';
    content += '\3'; /* front cover */
    content += '\0'; /* no description */
    return frame(version == 22 ? "PIC" : "APIC", content + tags.cover, version);
}

std::string maker_id3v2_bytes(const maker_tags &tags, const maker_id3 &how)
{
    if (how.version == 0)
        return "";
    const bool old = how.version == 22;
    std::string frames;
    frames += text_frame(old ? "TT2" : "TIT2", tags.title, how);
    frames += text_frame(old ? "TP1" : "TPE1", tags.artist, how);
    frames += text_frame(old ? "TAL" : "TALB", tags.album, how);
    frames += text_frame(old ? "TYE" : how.version == 23 ? "TYER" : "TDRC", tags.year, how);
    frames += text_frame(old ? "TCO" : "TCON", tags.genre, how);
    for (const auto &field : tags.more)
        frames += text_frame(field.first, field.second, how);
    frames += picture_frame(tags, how.version);
    if (frames.empty() && how.padding == 0)
        return "";
    frames.append(how.padding, '\0');
    const char head[] = {'I', 'D', '3', static_cast<char>(how.version - 20), 0, 0};
    return std::string(head, sizeof head) + big_endian(frames.size(), 4, 7) + frames;
}

static std::string fixed(const std::string &text, const std::string &encoding, size_t size)
{
    std::string out = maker_encode(text, encoding);
    out.resize(size, '\0');
    return out;
}

std::string maker_id3v1_bytes(const maker_tags &tags, const std::string &encoding)
{
    std::string out = "TAG" + fixed(tags.title, encoding, 30) + fixed(tags.artist, encoding, 30) +
                      fixed(tags.album, encoding, 30) + fixed(tags.year, encoding, 4) +
                      fixed("", encoding, 30);
    const TagLib::String genre(tags.genre, TagLib::String::UTF8);
    out += static_cast<char>(tags.genre.empty() ? 255 : TagLib::ID3v1::genreIndex(genre));
    return out;
}
