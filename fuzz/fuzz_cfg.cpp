/* fuzz_cfg: the settings' file. */
#include "config/cfg.h"
#include "fuzz/fuzz.h"

#include <cstring>

template <size_t size> static void want_end(const char (&text)[size])
{
    if (!memchr(text, '\0', size))
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz_file file(data, size);
    cfg_load_default();
    const int result = cfg_load(file.path);
    if ((result == 0) != (cfg_modified == 0))
        abort();
    want_end(cfg_version);
    want_end(cfg_skin_play);
    want_end(cfg_skin_list);
    want_end(cfg_lang);
    want_end(cfg_font);
    want_end(cfg_library_path);
    if (cfg_playback_order < 0 || cfg_playback_order > 2)
        abort();
    return 0;
}
