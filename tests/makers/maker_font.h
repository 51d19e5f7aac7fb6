/* maker_font: the font that tests draw with, the one that the player ships. */
#pragma once

constexpr const char *maker_font_path = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc";
