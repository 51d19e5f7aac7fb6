/* The defaults of the settings. */
#include "config/cfg.h"

#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

/* Values that no default has. */
static void spoil()
{
    strcpy(cfg_version, "9");
    cfg_vol = cfg_display_off_timeout = cfg_playback_order = cfg_debug = -99;
    for (char *text : {cfg_skin_play, cfg_skin_list, cfg_font, cfg_library_path, cfg_lang})
        strcpy(text, "x");
    cfg_modified = 0;
}

TEST(cfg, sets_every_default)
{
    spoil();
    cfg_load_default();
    EXPECT_STREQ(cfg_version, "0.1");
    EXPECT_EQ(cfg_vol, 30);
    EXPECT_STREQ(cfg_skin_play, "skins/Aqua_Ver0.4.zip");
    EXPECT_STREQ(cfg_skin_list, "skins/Aqua_Ver0.4.zip");
    EXPECT_EQ(cfg_display_off_timeout, 30);
    EXPECT_STREQ(cfg_lang, "ko");
    EXPECT_EQ(cfg_playback_order, 2);
    EXPECT_STREQ(cfg_font, "QuenlyAquaEJ.ttf");
    EXPECT_STREQ(cfg_library_path, access("/usr", R_OK | X_OK) == 0 ? "/usr" : "");
    EXPECT_EQ(cfg_debug, 0);
}

TEST(cfg, counts_defaults_as_not_saved_yet)
{
    spoil();
    cfg_load_default();
    EXPECT_EQ(cfg_modified, 1);
}
