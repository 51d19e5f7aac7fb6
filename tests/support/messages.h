/* messages: what the messages over the screens say. The overlay is the program's own. Main thread. */
#pragma once

#include "core/services/overlay.h"
#include "platform/draw/fb.h"
#include "view/view.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

/* Draws them on a surface of their own: "0xF800 |text|" each, the oldest first. */
inline std::vector<std::string> messages_shown()
{
    const bool kept = fb_keep_texts;
    fb_keep_texts = true;
    fb_surface *surface = fb_create(320, 240);
    fb_keep_texts = kept;
    view screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};
    screen.frame = surface;
    EXPECT_EQ(overlay_msg_record.draw(&screen, surface), 0);
    std::vector<std::string> all;
    for (uint32_t i = 0; i < fb_text_count(surface); i++) {
        const fb_text *each = fb_text_at(surface, i);
        char line[256];
        snprintf(line, sizeof line, "0x%04X |%s|", each->colour, each->text);
        all.push_back(line);
    }
    EXPECT_EQ(fb_free(surface), 0);
    return all;
}

/* Takes away those whose time is over. */
inline void messages_expire()
{
    view screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};
    EXPECT_EQ(overlay_msg_record.input(&screen), 0);
}

inline void messages_forget()
{
    EXPECT_EQ(overlay_msg_record.exit(), 0);
}
