/* bench_decode: how much faster than the clock each format is decoded to 16-bit stereo at the
 * output's rate, and what opening and seeking cost. */
#include "platform/audio/audio.h"
#include "platform/sound/sound.h"
#include "tests/makers/maker_audio.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <unistd.h>

/* Made once and removed at the end. */
struct music_folder {
    char path[64] = "/tmp/bench_decode.XXXXXX";
    std::map<std::string, std::string> files;

    music_folder() { made = mkdtemp(path); }
    ~music_folder()
    {
        for (const auto &file : files)
            unlink(file.second.c_str());
        if (made)
            rmdir(path);
    }
    const char *made = nullptr;
};

static music_folder folder;

/* Chords with noise in them: neither silence nor the worst case. */
static maker_sound band(double seconds, uint32_t rate)
{
    maker_sound sound = maker_noise(seconds, rate, 2, 0.04);
    sound.sample = [noise = sound.sample, rate](int64_t frame, int channel) {
        const double t = static_cast<double>(frame) / rate, swell = 0.6 + 0.4 * sin(t * 3);
        return noise(frame, channel) +
               static_cast<float>(swell * (0.2 * sin(t * 1382.3 + channel) +
                                           0.15 * sin(t * 2073.4) + 0.1 * sin(t * 5529)));
    };
    return sound;
}

static const std::string &file_of(const std::string &name, double seconds, uint32_t rate,
                                  const maker_file &how)
{
    std::string &path = folder.files[name];
    if (path.empty()) {
        path = std::string(folder.path) + "/" + name;
        if (maker_track_of(path, band(seconds, rate), how)) {
            fprintf(stderr, "cannot make %s\n", path.c_str());
            exit(1);
        }
    }
    return path;
}

static void decode(benchmark::State &state, const std::string &path)
{
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    int16_t buffer[1024];
    int64_t bytes = 0;
    for (auto _ : state) {
        audio_stream *stream = decoder->open(path.c_str());
        for (int32_t n; (n = decoder->read(stream, buffer, sizeof buffer)) > 0;)
            bytes += n;
        decoder->close(stream);
    }
    const double seconds = static_cast<double>(bytes) / sound_frame_bytes / sound_rate;
    state.counters["times_real"] = benchmark::Counter(seconds, benchmark::Counter::kIsRate);
}

static void mp3_128(benchmark::State &state)
{
    decode(state, file_of("128.mp3", 30, 44100, {}));
}
static void mp3_vbr(benchmark::State &state)
{
    decode(state, file_of("vbr.mp3", 30, 44100, {.mp3 = {.vbr = true}}));
}
static void mp3_48000(benchmark::State &state)
{
    decode(state, file_of("48.mp3", 30, 48000, {}));
}
static void ogg_q6(benchmark::State &state)
{
    decode(state, file_of("q6.ogg", 30, 44100, {.ogg = {.quality = 0.6f}}));
}
static void flac_16_44100(benchmark::State &state)
{
    decode(state, file_of("16.flac", 30, 44100, {}));
}
static void flac_24_96000(benchmark::State &state)
{
    decode(state, file_of("24.flac", 30, 96000, {.flac = {.bits = 24}}));
}
BENCHMARK(mp3_128)->Unit(benchmark::kMillisecond);
BENCHMARK(mp3_vbr)->Unit(benchmark::kMillisecond);
BENCHMARK(mp3_48000)->Unit(benchmark::kMillisecond);
BENCHMARK(ogg_q6)->Unit(benchmark::kMillisecond);
BENCHMARK(flac_16_44100)->Unit(benchmark::kMillisecond);
BENCHMARK(flac_24_96000)->Unit(benchmark::kMillisecond);

static const std::string &ten_minutes(bool header)
{
    return file_of(header ? "long.mp3" : "bare.mp3", 600, 44100,
                   {.mp3 = {.vbr = true, .header = header}});
}

static void open_and_close(benchmark::State &state, const std::string &path)
{
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    for (auto _ : state)
        decoder->close(decoder->open(path.c_str()));
}

/* Ten minutes: with and without a header that tells the length. */
static void open_mp3(benchmark::State &state)
{
    open_and_close(state, ten_minutes(true));
}
static void open_mp3_without_header(benchmark::State &state)
{
    open_and_close(state, ten_minutes(false));
}
static void open_ogg(benchmark::State &state)
{
    open_and_close(state, file_of("q6.ogg", 30, 44100, {.ogg = {.quality = 0.6f}}));
}
static void open_flac(benchmark::State &state)
{
    open_and_close(state, file_of("16.flac", 30, 44100, {}));
}
BENCHMARK(open_mp3)->Unit(benchmark::kMicrosecond);
BENCHMARK(open_mp3_without_header)->Unit(benchmark::kMicrosecond);
BENCHMARK(open_ogg)->Unit(benchmark::kMicrosecond);
BENCHMARK(open_flac)->Unit(benchmark::kMicrosecond);

static void seek_about(benchmark::State &state, const std::string &path)
{
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    audio_stream *stream = decoder->open(path.c_str());
    int16_t buffer[1024];
    int64_t place = 0;
    for (auto _ : state) {
        place = (place + stream->length * 382 / 1000) % stream->length;
        decoder->seek(stream, place);
        decoder->read(stream, buffer, sizeof buffer);
    }
    decoder->close(stream);
}

static void seek_mp3(benchmark::State &state)
{
    seek_about(state, ten_minutes(false));
}
static void seek_ogg(benchmark::State &state)
{
    seek_about(state, file_of("q6.ogg", 30, 44100, {.ogg = {.quality = 0.6f}}));
}
static void seek_flac(benchmark::State &state)
{
    seek_about(state, file_of("24.flac", 30, 96000, {.flac = {.bits = 24}}));
}
BENCHMARK(seek_mp3)->Unit(benchmark::kMicrosecond);
BENCHMARK(seek_ogg)->Unit(benchmark::kMicrosecond);
BENCHMARK(seek_flac)->Unit(benchmark::kMicrosecond);

/* The first seek to the end of a file that has not been walked through yet. */
static void first_seek_mp3(benchmark::State &state)
{
    const std::string &path = ten_minutes(true);
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    int16_t buffer[1024];
    for (auto _ : state) {
        state.PauseTiming();
        audio_stream *stream = decoder->open(path.c_str());
        state.ResumeTiming();
        decoder->seek(stream, stream->length - 1000);
        decoder->read(stream, buffer, sizeof buffer);
        state.PauseTiming();
        decoder->close(stream);
        state.ResumeTiming();
    }
}
BENCHMARK(first_seek_mp3)->Unit(benchmark::kMicrosecond);

/* Tags only, as a scan of the library reads them. */
static void read_tags(benchmark::State &state, const char *name)
{
    const maker_file how = {.title = "Title",
                            .artist = "Artist",
                            .album = "Album",
                            .year = "2024",
                            .genre = "Rock",
                            .cover = std::string(50000, 'c')};
    const std::string &path = file_of(name, 1, 44100, how);
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    for (auto _ : state)
        decoder->release_info(decoder->read_info(path.c_str()));
}
static void tags_mp3(benchmark::State &state)
{
    read_tags(state, "tags.mp3");
}
static void tags_ogg(benchmark::State &state)
{
    read_tags(state, "tags.ogg");
}
static void tags_flac(benchmark::State &state)
{
    read_tags(state, "tags.flac");
}
BENCHMARK(tags_mp3)->Unit(benchmark::kMicrosecond);
BENCHMARK(tags_ogg)->Unit(benchmark::kMicrosecond);
BENCHMARK(tags_flac)->Unit(benchmark::kMicrosecond);
