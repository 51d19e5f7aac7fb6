/* What the tests of buttons and fingers share: the sources of the bare device as pipes. */
#pragma once

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/linux/device_linux.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"
#include "support/scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

class linux_input_of : public testing::Test
{
  protected:
    void SetUp() override
    {
        device_current = &device_linux;
        ASSERT_EQ(key_open(), 0);
        ASSERT_EQ(touch_open(), 0);
    }
    void TearDown() override
    {
        touch_close();
        key_close();
        for (const int end : ends)
            close(end);
    }

    int attach(const linux_touch_ranges &panel = {}, const linux_trigger (&triggers)[2] = {{}, {}})
    {
        return attach_axes(linux_axes{panel, {triggers[0], triggers[1]}, {}, {}});
    }

    int attach_axes(const linux_axes &axes)
    {
        int pair[2];
        EXPECT_EQ(pipe(pair), 0);
        EXPECT_EQ(linux_input_add(pair[0], &axes), 0);
        ends.push_back(pair[1]);
        return pair[1];
    }

    static void send(int to, uint16_t type, uint16_t code, int32_t value)
    {
        input_event record = {};
        record.type = type;
        record.code = code;
        record.value = value;
        ASSERT_EQ(write(to, &record, sizeof record), ssize_t{sizeof record});
    }

    static void report(int to) { send(to, EV_SYN, SYN_REPORT, 0); }

    static key_report pass()
    {
        key_report keys;
        key_check(&keys);
        return keys;
    }

    static void expect_touch(int32_t type, int32_t x, int32_t y)
    {
        int32_t got_x = -1, got_y = -1, got_type = 0;
        EXPECT_EQ(touch_check(&got_x, &got_y, &got_type), type != 0);
        EXPECT_EQ(got_type, type);
        if (type != 0) {
            EXPECT_EQ(got_x, x);
            EXPECT_EQ(got_y, y);
        }
    }

    std::vector<int> ends;
};

constexpr linux_touch_ranges panel_ranges = {{100, 3900}, {3800, 200}}; /* y counts upwards */
