/* cfg: the settings and their defaults. */
#include "config/cfg.h"

#include "config/cfg_default.h"
#include "platform/base/str.h"

#include <unistd.h>

constinit char cfg_version[10] = {};
constinit int32_t cfg_vol = 0;
constinit char cfg_skin_play[512] = {};
constinit char cfg_skin_list[512] = {};
constinit int32_t cfg_display_off_timeout = 0;
constinit char cfg_lang[10] = {};
constinit int32_t cfg_playback_order = 0;
constinit char cfg_font[512] = {};
constinit char cfg_library_path[512] = {};
constinit int32_t cfg_debug = 0;
constinit uint8_t cfg_modified = 0;

bool cfg_default_library_usable()
{
    return access(cfg_default_library_path, R_OK | X_OK) == 0;
}

void cfg_load_default()
{
    (void)str_copy(cfg_version, cfg_known_version);
    cfg_vol = cfg_default_vol;
    (void)str_copy(cfg_skin_play, cfg_default_skin);
    (void)str_copy(cfg_skin_list, cfg_default_skin);
    cfg_display_off_timeout = cfg_default_display_off_timeout;
    (void)str_copy(cfg_lang, cfg_default_lang);
    cfg_playback_order = cfg_order_shuffle;
    (void)str_copy(cfg_font, cfg_default_font);
    (void)str_copy(cfg_library_path, cfg_default_library_usable() ? cfg_default_library_path : "");
    cfg_debug = cfg_default_debug;
    cfg_modified = 1;
}
