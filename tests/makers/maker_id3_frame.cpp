/* maker_id3_frame: ID3v2 blocks built frame by frame. */
#include "tests/makers/maker_id3_frame.h"

#include <zlib.h>

static std::string number(uint64_t value, int count, int bits)
{
    std::string bytes;
    for (int i = count - 1; i >= 0; i--)
        bytes += static_cast<char>(value >> (i * bits) & ((1u << bits) - 1));
    return bytes;
}

std::string maker_deflated(const std::string &bytes)
{
    uLongf size = compressBound(uLong(bytes.size()));
    std::string out(size, '\0');
    if (compress2(reinterpret_cast<Bytef *>(out.data()), &size,
                  reinterpret_cast<const Bytef *>(bytes.data()), uLong(bytes.size()), 9) != Z_OK)
        return {};
    out.resize(size);
    return out;
}

std::string maker_id3_unsynchronise(const std::string &bytes)
{
    std::string out;
    for (size_t i = 0; i < bytes.size(); i++) {
        out += bytes[i];
        const uint8_t next = i + 1 < bytes.size() ? static_cast<uint8_t>(bytes[i + 1]) : 0;
        if (static_cast<uint8_t>(bytes[i]) == 0xFF && (next == 0 || next >= 0xE0))
            out += '\0';
    }
    return out;
}

/* What stands between the head of a frame and its content, in the order of each version. */
static std::string extras(const std::string &content, const maker_id3_frame_options &how)
{
    const uint64_t told = how.claimed < 0 ? content.size() : static_cast<uint64_t>(how.claimed);
    const std::string group = how.group < 0 ? "" : std::string(1, static_cast<char>(how.group));
    const std::string key = how.encrypted ? "\x81" : "";
    if (how.version == 23)
        return (how.compressed ? number(told, 4, 8) : "") + key + group;
    return group + key + (how.compressed || how.told_size ? number(told, 4, 7) : "");
}

std::string maker_id3_frame(const std::string &id, const std::string &content,
                            const maker_id3_frame_options &how)
{
    if (how.version == 22)
        return id + number(content.size(), 3, 8) + content;
    std::string body = extras(content, how) + (how.compressed ? maker_deflated(content) : content);
    if (how.unsynchronised)
        body = maker_id3_unsynchronise(body);
    const int flags =
        how.version == 23
            ? (how.compressed ? 0x80 : 0) | (how.encrypted ? 0x40 : 0) | (how.group < 0 ? 0 : 0x20)
            : (how.group < 0 ? 0 : 0x40) | (how.compressed ? 0x08 : 0) |
                  (how.encrypted ? 0x04 : 0) | (how.unsynchronised ? 0x02 : 0) |
                  (how.compressed || how.told_size ? 0x01 : 0);
    return id + number(body.size(), 4, how.version == 23 ? 8 : 7) + '\0' +
           static_cast<char>(flags) + body;
}

std::string maker_id3_block(const std::string &frames, int version, int flags)
{
    return std::string("ID3") + static_cast<char>(version - 20) + '\0' + static_cast<char>(flags) +
           number(frames.size(), 4, 7) + frames;
}
