/* maker_audio_flac: FLAC. The metadata blocks are written here, so that one encoded body serves
 * files with other tags. */
#include "tests/makers/maker_audio_private.h"

#include <FLAC/stream_encoder.h>
#include <cmath>

struct flac_file {
    std::string bytes;
    size_t at = 0;
};

enum { block_info = 0, block_comment = 4, block_picture = 6, block_last = 0x80 };

static FLAC__StreamEncoderWriteStatus flac_write(const FLAC__StreamEncoder *,
                                                 const FLAC__byte buffer[], size_t size, uint32_t,
                                                 uint32_t, void *user)
{
    flac_file *file = static_cast<flac_file *>(user);
    if (file->at + size > file->bytes.size())
        file->bytes.resize(file->at + size);
    file->bytes.replace(file->at, size, reinterpret_cast<const char *>(buffer), size);
    file->at += size;
    return FLAC__STREAM_ENCODER_WRITE_STATUS_OK;
}

static FLAC__StreamEncoderSeekStatus flac_seek(const FLAC__StreamEncoder *, FLAC__uint64 to,
                                               void *user)
{
    static_cast<flac_file *>(user)->at = static_cast<size_t>(to);
    return FLAC__STREAM_ENCODER_SEEK_STATUS_OK;
}

static FLAC__StreamEncoderTellStatus flac_tell(const FLAC__StreamEncoder *, FLAC__uint64 *at,
                                               void *user)
{
    *at = static_cast<flac_file *>(user)->at;
    return FLAC__STREAM_ENCODER_TELL_STATUS_OK;
}

static bool encode_sound(FLAC__StreamEncoder *encoder, const maker_sound &sound, int bits)
{
    constexpr int64_t part = 4096;
    const double full = static_cast<double>((1 << (bits - 1)) - 1);
    const size_t channels = static_cast<size_t>(sound.channels);
    std::vector<FLAC__int32> samples(static_cast<size_t>(part) * channels);
    for (int64_t at = 0; at < sound.frames; at += part) {
        const int64_t count = std::min(part, sound.frames - at);
        for (int64_t i = 0; i < count; i++)
            for (size_t c = 0; c < channels; c++)
                samples[static_cast<size_t>(i) * channels + c] = static_cast<FLAC__int32>(
                    lrint(static_cast<double>(sound.sample(at + i, static_cast<int>(c))) * full));
        if (!FLAC__stream_encoder_process_interleaved(encoder, samples.data(),
                                                      static_cast<uint32_t>(count)))
            return false;
    }
    return true;
}

/* Keeps the stream info and the frames of a whole file. */
static maker_body split_file(const std::string &bytes)
{
    maker_body body;
    size_t at = 4;
    for (bool last = false; !last && at + 4 <= bytes.size();) {
        const auto byte = [&](size_t i) {
            return static_cast<size_t>(static_cast<uint8_t>(bytes[at + i]));
        };
        const size_t size = byte(1) << 16 | byte(2) << 8 | byte(3);
        last = byte(0) & block_last;
        if ((byte(0) & ~size_t{block_last}) == block_info)
            body.flac_info = bytes.substr(at + 4, size);
        at += 4 + size;
    }
    body.flac_frames = bytes.substr(std::min(at, bytes.size()));
    body.ready = body.flac_info.size() == 34;
    return body;
}

maker_body maker_flac_body(const maker_sound &sound, const maker_flac &how)
{
    flac_file file;
    FLAC__StreamEncoder *encoder = FLAC__stream_encoder_new();
    if (!encoder)
        return {};
    FLAC__stream_encoder_set_streamable_subset(encoder, false);
    FLAC__stream_encoder_set_channels(encoder, static_cast<uint32_t>(sound.channels));
    FLAC__stream_encoder_set_bits_per_sample(encoder, static_cast<uint32_t>(how.bits));
    FLAC__stream_encoder_set_sample_rate(encoder, sound.rate);
    FLAC__stream_encoder_set_compression_level(encoder, static_cast<uint32_t>(how.level));
    if (how.block > 0)
        FLAC__stream_encoder_set_blocksize(encoder, static_cast<uint32_t>(how.block));
    bool good = FLAC__stream_encoder_init_stream(encoder, flac_write, flac_seek, flac_tell, nullptr,
                                                 &file) == FLAC__STREAM_ENCODER_INIT_STATUS_OK;
    good = good && encode_sound(encoder, sound, how.bits);
    good = FLAC__stream_encoder_finish(encoder) && good;
    FLAC__stream_encoder_delete(encoder);
    return good ? split_file(file.bytes) : maker_body();
}

static std::string number(size_t value, int bytes, bool big)
{
    std::string out;
    for (int i = 0; i < bytes; i++)
        out += static_cast<char>(value >> ((big ? bytes - 1 - i : i) * 8));
    return out;
}

static std::string metadata_block(int type, const std::string &content)
{
    return static_cast<char>(type) + number(content.size(), 3, true) + content;
}

static std::string comment_block(const maker_tags &tags)
{
    const auto comments = maker_comments(tags);
    std::string out = number(0, 4, false) + number(comments.size(), 4, false);
    for (const auto &field : comments) {
        const std::string text = field.first + "=" + field.second;
        out += number(text.size(), 4, false) + text;
    }
    return out;
}

static std::string picture_block(const maker_tags &tags)
{
    return number(3, 4, true) + number(tags.cover_mime.size(), 4, true) + tags.cover_mime +
           number(0, 4, true) + std::string(16, '\0') + number(tags.cover.size(), 4, true) +
           tags.cover;
}

std::string maker_flac_wrap(const maker_body &body, const maker_flac &how, const maker_tags &tags)
{
    if (!body.ready)
        return "";
    std::string info = body.flac_info;
    if (!how.total_known) {
        info[13] = static_cast<char>(info[13] & 0xF0);
        info.replace(14, 4, 4, '\0');
    }
    const bool comments = !maker_comments(tags).empty();
    const bool picture = !tags.cover.empty();
    std::string out = "fLaC";
    out += metadata_block(comments || picture ? block_info : block_info | block_last, info);
    if (comments)
        out += metadata_block(picture ? block_comment : block_comment | block_last,
                              comment_block(tags));
    if (picture)
        out += metadata_block(block_picture | block_last, picture_block(tags));
    return out + body.flac_frames;
}
