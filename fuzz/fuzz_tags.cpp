/* fuzz_tags: the tags of strangers' files, as a scan reads them. */
#include "fuzz/fuzz.h"
#include "platform/audio/decoder.h"

#include <cstring>
#include <initializer_list>

/* No text is longer than 64 KiB of a frame can become. */
static void check(const char *text)
{
    if (text && strlen(text) > 3 * 65536)
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static constexpr const char *encodings[] = {"CP949", "ISO-8859-1", "CP932"};
    if (size == 0)
        return 0;
    (void)decoder_mp3_set_tag_native_encoding(encodings[data[0] % 3]);
    const fuzz_file input(data + 1, size - 1);
    for (const audio_decoder *decoder : {&decoder_mp3, &decoder_ogg, &decoder_flac}) {
        audio_info *info = decoder->read_info(input.path);
        if (info && info->tags)
            for (const char *text : {info->tags->title, info->tags->artist, info->tags->album,
                                     info->tags->year, info->tags->genre})
                check(text);
        (void)decoder->release_info(info);
    }
    return 0;
}
