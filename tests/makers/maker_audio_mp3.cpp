/* maker_audio_mp3: MP3 frames. */
#include "tests/makers/maker_audio_private.h"

#include <lame/lame.h>
#include <mutex>

/* The encoder fills tables of its own at its first use, without a lock. */
static std::mutex lame_lock;

static lame_t lame_for(const maker_sound &sound, const maker_mp3 &how)
{
    lame_t lame = lame_init();
    if (!lame)
        return nullptr;
    lame_set_in_samplerate(lame, static_cast<int>(sound.rate));
    lame_set_out_samplerate(lame, static_cast<int>(sound.rate));
    lame_set_num_channels(lame, sound.channels);
    lame_set_mode(lame, sound.channels == 1 ? MONO : JOINT_STEREO);
    lame_set_quality(lame, 5);
    if (how.vbr) {
        lame_set_VBR(lame, vbr_default);
        lame_set_VBR_quality(lame, 4);
    } else {
        lame_set_brate(lame, how.kbps);
    }
    lame_set_bWriteVbrTag(lame, how.header);
    lame_set_write_id3tag_automatic(lame, 0);
    if (lame_init_params(lame) == 0)
        return lame;
    lame_close(lame);
    return nullptr;
}

static int encode_part(lame_t lame, const maker_sound &sound, int64_t from, int count,
                       std::string &to)
{
    std::vector<float> left(static_cast<size_t>(count)), right(static_cast<size_t>(count));
    /* The encoder's presets make some bit rates softer; the files are to have the level asked
     * for. */
    const float scale = 1 / lame_get_scale(lame);
    for (int i = 0; i < count; i++) {
        left[static_cast<size_t>(i)] = scale * sound.sample(from + i, 0);
        right[static_cast<size_t>(i)] =
            sound.channels > 1 ? scale * sound.sample(from + i, 1) : left[static_cast<size_t>(i)];
    }
    std::vector<unsigned char> out(static_cast<size_t>(count) * 2 + 16384);
    const int n = lame_encode_buffer_ieee_float(lame, left.data(), right.data(), count, out.data(),
                                                static_cast<int>(out.size()));
    if (n < 0)
        return -1;
    to.append(reinterpret_cast<const char *>(out.data()), static_cast<size_t>(n));
    return 0;
}

static int encode_all(lame_t lame, const maker_sound &sound, bool header, std::string &to)
{
    constexpr int64_t part = 1152 * 64;
    for (int64_t at = 0; at < sound.frames; at += part) {
        const int64_t count = std::min(part, sound.frames - at);
        if (encode_part(lame, sound, at, static_cast<int>(count), to))
            return -1;
    }
    unsigned char end[16384];
    const int n = lame_encode_flush(lame, end, sizeof end);
    if (n < 0)
        return -1;
    to.append(reinterpret_cast<const char *>(end), static_cast<size_t>(n));
    if (!header)
        return 0;
    /* The first frame was left empty for what is only known now. */
    unsigned char info[4096];
    const size_t size = lame_get_lametag_frame(lame, info, sizeof info);
    if (!size || size > sizeof info || size > to.size())
        return -1;
    to.replace(0, size, reinterpret_cast<const char *>(info), size);
    return 0;
}

maker_body maker_mp3_body(const maker_sound &sound, const maker_mp3 &how)
{
    std::lock_guard guard(lame_lock);
    maker_body body;
    lame_t lame = lame_for(sound, how);
    if (!lame)
        return body;
    body.ready = encode_all(lame, sound, how.header, body.mp3) == 0;
    lame_close(lame);
    return body.ready ? body : maker_body();
}
