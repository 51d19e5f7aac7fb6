/* A key calls the sound thread: it may have been asleep since the last track ended. */
#include "platform/input/key.h"
#include "platform/input/touch.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "unit/platform/manual_device.h"

#include <atomic>
#include <gtest/gtest.h>

static const sound_speaker stepped = {
    .open = [] { return 0; }, .close = [] { return 0; }, .stepped = true};
static std::atomic<int> calls{0};

static void nothing_to_play(void *, void *, uint32_t)
{
    calls++;
    clock_msleep(1);
}

TEST(key_sound, a_key_that_goes_down_or_up_wakes_it)
{
    device_current = &manual_device;
    manual_speaker = &stepped;
    ASSERT_EQ(key_open(), 0);
    ASSERT_EQ(sound_open(nothing_to_play, nullptr), 0);
    sound_step();
    const int before = calls;
    sound_step();
    EXPECT_EQ(calls, before) << "asleep";
    for (const bool down : {true, false}) {
        const int so_far = calls;
        key_event(key_select, down);
        sound_step();
        EXPECT_GT(calls, so_far) << down;
    }
    ASSERT_EQ(touch_open(), 0);
    for (const int32_t type : {touch_type_press, touch_type_release}) {
        const int so_far = calls;
        touch_event(type, 10, 10);
        sound_step();
        EXPECT_GT(calls, so_far) << "a finger, too: " << type;
    }
    touch_close();
    EXPECT_EQ(sound_close(), 0);
    key_close();
}
