/* maker_audio: sounds, and files by their extension. */
#include "tests/makers/maker_audio.h"

#include "tests/makers/maker_audio_private.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <strings.h>

/* Bodies are kept by what they were made from; a test uses a handful. */
static std::mutex bodies_lock;

maker_sound maker_sine(double freq, double seconds, uint32_t rate, int channels, double level)
{
    const double step = 2 * M_PI * freq / rate;
    return {.rate = rate,
            .channels = channels,
            .frames = llround(seconds * rate),
            .sample = [step, level](int64_t frame, int) {
                return static_cast<float>(level * sin(step * static_cast<double>(frame)));
            }};
}

maker_sound maker_silence(double seconds, uint32_t rate, int channels)
{
    return {.rate = rate,
            .channels = channels,
            .frames = llround(seconds * rate),
            .sample = [](int64_t, int) { return 0.0f; }};
}

static uint32_t scramble(uint64_t value)
{
    value ^= value >> 31;
    value *= 0x9E3779B97F4A7C15u;
    value ^= value >> 29;
    value *= 0xBF58476D1CE4E5B9u;
    return static_cast<uint32_t>(value >> 32);
}

maker_sound maker_noise(double seconds, uint32_t rate, int channels, double level, uint32_t seed)
{
    return {.rate = rate,
            .channels = channels,
            .frames = llround(seconds * rate),
            .sample = [level, seed](int64_t frame, int channel) {
                const uint64_t place =
                    (static_cast<uint64_t>(frame) * 8 + static_cast<uint64_t>(channel) + 1) ^
                    (static_cast<uint64_t>(seed) << 40);
                return static_cast<float>(level * (scramble(place) / 2147483648.0 - 1));
            }};
}

maker_sound maker_samples(std::vector<float> interleaved, uint32_t rate, int channels)
{
    auto samples = std::make_shared<std::vector<float>>(std::move(interleaved));
    return {.rate = rate,
            .channels = channels,
            .frames = static_cast<int64_t>(samples->size()) / channels,
            .sample = [samples, channels](int64_t frame, int channel) {
                return (*samples)[static_cast<size_t>(frame) * static_cast<size_t>(channels) +
                                  static_cast<size_t>(channel)];
            }};
}

std::vector<std::pair<std::string, std::string>> maker_comments(const maker_tags &tags)
{
    std::vector<std::pair<std::string, std::string>> all = {{"TITLE", tags.title},
                                                            {"ARTIST", tags.artist},
                                                            {"ALBUM", tags.album},
                                                            {"DATE", tags.year},
                                                            {"GENRE", tags.genre}};
    std::erase_if(all, [](const auto &comment) { return comment.second.empty(); });
    all.insert(all.end(), tags.more.begin(), tags.more.end());
    return all;
}

std::string maker_mp3_bytes(const maker_sound &sound, const maker_mp3 &how)
{
    return maker_mp3_body(sound, how).mp3;
}

std::string maker_ogg_bytes(const maker_sound &sound, const maker_ogg &how, const maker_tags &tags)
{
    return maker_ogg_wrap(maker_ogg_body(sound, how), how, tags);
}

std::string maker_flac_bytes(const maker_sound &sound, const maker_flac &how,
                             const maker_tags &tags)
{
    return maker_flac_wrap(maker_flac_body(sound, how), how, tags);
}

int maker_audio_save(const std::string &path, const std::string &bytes)
{
    FILE *file = fopen(path.c_str(), "wbe");
    if (!file)
        return -1;
    const bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return fclose(file) == 0 && written ? 0 : -1;
}

std::string maker_audio_load(const std::string &path)
{
    std::string bytes;
    FILE *file = fopen(path.c_str(), "rbe");
    if (!file)
        return bytes;
    char part[65536];
    for (size_t n; (n = fread(part, 1, sizeof part, file)) > 0;)
        bytes.append(part, n);
    fclose(file);
    return bytes;
}

static maker_body make_body(const char *ext, const maker_sound &sound, const maker_file &file)
{
    if (!strcasecmp(ext, ".mp3"))
        return maker_mp3_body(sound, file.mp3);
    if (!strcasecmp(ext, ".ogg"))
        return maker_ogg_body(sound, file.ogg);
    if (!strcasecmp(ext, ".flac"))
        return maker_flac_body(sound, file.flac);
    return {};
}

static int save_track(const std::string &path, const char *ext, const maker_body &body,
                      const maker_file &file)
{
    const maker_tags tags = {.title = file.title,
                             .artist = file.artist,
                             .album = file.album,
                             .year = file.year,
                             .genre = file.genre,
                             .cover = file.cover,
                             .cover_mime = file.cover_mime,
                             .more = file.more};
    if (!body.ready)
        return -1;
    if (!strcasecmp(ext, ".ogg"))
        return maker_audio_save(path, maker_ogg_wrap(body, file.ogg, tags));
    if (!strcasecmp(ext, ".flac"))
        return maker_audio_save(path, maker_flac_wrap(body, file.flac, tags));
    std::string bytes = maker_id3v2_bytes(tags, file.id3) + body.mp3;
    if (file.id3.v1)
        bytes += maker_id3v1_bytes(tags, file.id3.v1_encoding);
    return maker_audio_save(path, bytes);
}

static const char *ext_of(const std::string &path)
{
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? "" : path.c_str() + dot;
}

int maker_track_of(const std::string &path, const maker_sound &sound, const maker_file &file)
{
    const char *ext = ext_of(path);
    return save_track(path, ext, make_body(ext, sound, file), file);
}

static std::string body_key(const char *ext, const maker_file &file)
{
    char key[256];
    snprintf(key, sizeof key, "%s %.6f %.6f %.6f %u %d mp3 %d %d %d ogg %.3f flac %d %d %d", ext,
             file.seconds, file.freq, file.level, file.rate, file.channels, file.mp3.kbps,
             file.mp3.vbr, file.mp3.header, static_cast<double>(file.ogg.quality), file.flac.bits,
             file.flac.block, file.flac.level);
    return key;
}

int maker_track(const std::string &path, const maker_file &file)
{
    const char *ext = ext_of(path);
    const maker_sound sound =
        maker_sine(file.freq, file.seconds, file.rate, file.channels, file.level);
    if (file.seconds > 1)
        return maker_track_of(path, sound, file);
    static std::map<std::string, std::shared_ptr<const maker_body>> bodies;
    std::shared_ptr<const maker_body> body;
    {
        std::lock_guard guard(bodies_lock);
        auto &kept = bodies[body_key(ext, file)];
        if (!kept)
            kept = std::make_shared<const maker_body>(make_body(ext, sound, file));
        body = kept;
    }
    return save_track(path, ext, *body, file);
}
