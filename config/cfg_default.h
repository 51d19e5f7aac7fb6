/* cfg_default: what a setting is when nobody has set it. For the files of this folder. */
#pragma once

#include <cstdint>

inline constexpr char cfg_known_version[] = "0.1";
inline constexpr char cfg_default_skin[] = "skins/Aqua_Ver0.4.zip";
inline constexpr char cfg_default_lang[] = "ko";
inline constexpr char cfg_default_font[] = "QuenlyAquaEJ.ttf";
inline constexpr char cfg_default_library_path[] = "/usr";
constexpr int32_t cfg_default_vol = 30;
constexpr int32_t cfg_default_display_off_timeout = 30;
constexpr int32_t cfg_default_debug = 0;

/* Values of cfg_playback_order. */
constexpr int32_t cfg_order_normal = 0;
constexpr int32_t cfg_order_repeat = 1;
constexpr int32_t cfg_order_shuffle = 2;

/* True when the default library folder can be listed and entered. */
bool cfg_default_library_usable();
