/* fuzz_audio: music files of strangers, taken by each decoder whatever they are. */
#include "fuzz/fuzz.h"
#include "platform/audio/decoder.h"

#include <initializer_list>

constexpr int reads = 400; /* a few seconds: what comes later goes the same ways */

/* Both libraries of Vorbis forget their list of streams when a chain is broken. */
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libvorbisfile\nleak:libvorbisidec";
}

static void play(const audio_decoder *decoder, const char *path)
{
    audio_stream *stream = decoder->open(path);
    if (!stream)
        return;
    if (stream->sample_rate < 1 || stream->sample_rate > 384000 || stream->length < 0)
        abort();
    static int16_t buffer[2048];
    int32_t n = 1;
    for (int i = 0; i < reads && n > 0; i++) {
        n = decoder->read(stream, buffer, sizeof buffer);
        if (n < -1 || n > static_cast<int32_t>(sizeof buffer) || (n > 0 && n % 4 != 0))
            abort();
    }
    for (const int64_t place : {stream->length / 2, stream->length - 1, int64_t{0}}) {
        (void)decoder->seek(stream, place);
        (void)decoder->read(stream, buffer, sizeof buffer);
        if (decoder->tell(stream) < 0)
            abort();
    }
    decoder->close(stream);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz_file input(data, size);
    for (const audio_decoder *decoder : {&decoder_mp3, &decoder_ogg, &decoder_flac}) {
        decoder->release_info(decoder->read_info(input.path));
        play(decoder, input.path);
    }
    return 0;
}
