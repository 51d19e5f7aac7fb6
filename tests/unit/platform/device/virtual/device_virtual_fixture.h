/* The scripted device, driven as the program drives it: a main loop in small. */
#pragma once

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "platform/device/sys.h"
#include "platform/draw/fb.h"
#include "platform/input/key.h"
#include "platform/input/touch.h"
#include "platform/sound/sound.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <png.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using std::string;

struct pass_seen {
    int32_t ms;
    key_report keys;
    int32_t touch_type, touch_x, touch_y;
};

inline std::function<void(const pass_seen &)> on_pass;
inline std::function<void(int16_t *samples, uint32_t frames)> play;

inline void on_sound(void *, void *buffer, uint32_t length)
{
    if (play)
        play(static_cast<int16_t *>(buffer), length / sound_frame_bytes);
    else
        clock_msleep(1);
}

inline void write_file(const char *path, const string &content)
{
    FILE *file = fopen(path, "wb");
    ASSERT_NE(file, nullptr);
    fwrite(content.data(), 1, content.size(), file);
    fclose(file);
}

inline string read_file(const char *path)
{
    string content;
    FILE *file = fopen(path, "rb");
    for (int c = file ? getc(file) : EOF; c != EOF; c = getc(file))
        content += static_cast<char>(c);
    if (file)
        fclose(file);
    return content;
}

class device_virtual_script : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        setenv("ZERV_DEVICE", "virtual", 1);
        setenv("ZERV_VIRTUAL_SCRIPT", "script.txt", 1);
        unsetenv("ZERV_VIRTUAL_SOUND");
        unsetenv("ZERV_VIRTUAL_REALTIME");
        on_pass = nullptr;
        play = nullptr;
        device_ask_program = nullptr;
        int32_t full = 100;
        EXPECT_EQ(sound_set_volume(&full, &full), 0);
    }

    void TearDown() override { close_all(); }

    int open_all()
    {
        if (sys_init() || key_open() || touch_open() || sound_open(on_sound, nullptr))
            return -1;
        return fb_open(320, 240);
    }

    void close_all()
    {
        sound_close();
        touch_close();
        key_close();
        fb_close();
        sys_exit();
    }

    bool one_pass()
    {
        pass_seen seen = {};
        key_check(&seen.keys);
        touch_check(&seen.touch_x, &seen.touch_y, &seen.touch_type);
        seen.ms = clock_msec();
        passes.push_back(seen);
        if (on_pass)
            on_pass(seen);
        clock_msleep(1);
        return (seen.keys.pressed & key_quit) == 0;
    }

    /* Runs a script to its end and returns what it answered. */
    string run(const string &script, int wanted_status = 0)
    {
        write_file("script.txt", script);
        passes.clear();
        testing::internal::CaptureStdout();
        EXPECT_EQ(open_all(), 0);
        int32_t left = 1000000;
        while (left-- > 0 && one_pass()) {
        }
        EXPECT_GT(left, 0) << "the quit key never came";
        close_all();
        EXPECT_EQ(sys_status(), wanted_status);
        return testing::internal::GetCapturedStdout();
    }

    std::vector<pass_seen> passes;
};

inline void show(const char *text)
{
    fb_clear(fb_cur, 0);
    const fb_text note = {1, 2, 300, 12, 12, 0xffff, 1, text};
    fb_text_note(fb_cur, &note);
    fb_flip();
}
