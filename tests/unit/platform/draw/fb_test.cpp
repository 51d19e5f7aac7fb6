/* fb: the screen. */
#include "platform/draw/fb.h"

#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "tests/unit/platform/manual_device.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

static int32_t opened_width, opened_height;
static int opens, closes, shows;
static int result; /* of every operation */
static std::vector<int> powers;
static uint16_t shown; /* the first pixel of the frame shown last */

static int screen_open(int32_t width, int32_t height)
{
    opens++;
    opened_width = width;
    opened_height = height;
    return result;
}

static int screen_close()
{
    closes++;
    return result;
}

static int screen_show(const fb_surface *frame)
{
    shows++;
    shown = frame->pixels[0];
    return result;
}

static int screen_power(int on)
{
    powers.push_back(on);
    return result;
}

class fb : public testing::Test
{
  protected:
    void SetUp() override
    {
        screen_device = manual_device;
        screen_device.screen_open = screen_open;
        screen_device.screen_close = screen_close;
        screen_device.screen_show = screen_show;
        screen_device.screen_power = screen_power;
        device_current = &screen_device;
        opens = closes = shows = result = 0;
        powers.clear();
        fault_set("");
    }

    void TearDown() override
    {
        fault_set("");
        result = 0;
        (void)fb_close();
        device_current = nullptr;
    }

    device screen_device;
};

TEST_F(fb, open_gives_a_black_surface_of_the_size_and_lights_it)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    ASSERT_NE(fb_cur, nullptr);
    EXPECT_EQ(fb_cur->width, 320);
    EXPECT_EQ(fb_cur->height, 240);
    EXPECT_EQ(opened_width, 320);
    EXPECT_EQ(opened_height, 240);
    EXPECT_EQ(fb_power, 1);
    EXPECT_EQ(powers, std::vector<int>{1});
    for (int i = 0; i < 320 * 240; i++)
        ASSERT_EQ(fb_cur->pixels[i], 0);
}

TEST_F(fb, open_fails_without_a_device)
{
    device_current = nullptr;
    EXPECT_EQ(fb_open(320, 240), -1);
    EXPECT_EQ(fb_cur, nullptr);
}

TEST_F(fb, open_leaves_nothing_open_when_the_device_refuses)
{
    result = -1;
    EXPECT_EQ(fb_open(320, 240), -1);
    EXPECT_EQ(fb_cur, nullptr);
    EXPECT_EQ(fb_power, 0);
}

TEST_F(fb, open_refuses_impossible_sizes)
{
    EXPECT_EQ(fb_open(0, 240), -1);
    EXPECT_EQ(fb_open(320, -1), -1);
    EXPECT_EQ(fb_open(5000, 5000), -1);
    EXPECT_EQ(opens, 0);
}

TEST_F(fb, open_again_replaces_the_screen)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    ASSERT_EQ(fb_open(160, 120), 0);
    EXPECT_EQ(closes, 1);
    EXPECT_EQ(fb_cur->width, 160);
}

TEST_F(fb, close_accepts_a_screen_that_was_never_opened)
{
    EXPECT_EQ(fb_close(), 0);
    EXPECT_EQ(closes, 0);
}

TEST_F(fb, close_forgets_the_surface_even_when_the_device_fails)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    result = -1;
    EXPECT_EQ(fb_close(), -1);
    EXPECT_EQ(fb_cur, nullptr);
    EXPECT_EQ(fb_power, 0);
    EXPECT_EQ(closes, 1);
}

TEST_F(fb, flip_shows_the_current_frame)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    ASSERT_EQ(fb_clear(fb_cur, 0x1234), 0);
    EXPECT_EQ(fb_flip(), 0);
    EXPECT_EQ(shows, 1);
    EXPECT_EQ(shown, 0x1234);
    result = -1;
    EXPECT_EQ(fb_flip(), -1);
}

TEST_F(fb, flip_and_power_fail_while_closed)
{
    EXPECT_EQ(fb_flip(), -1);
    EXPECT_EQ(fb_set_power(1), -1);
    EXPECT_EQ(fb_power, 0);
}

TEST_F(fb, power_follows_what_was_asked)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    EXPECT_EQ(fb_set_power(0), 0);
    EXPECT_EQ(fb_power, 0);
    EXPECT_EQ(fb_set_power(7), 0);
    EXPECT_EQ(fb_power, 1);
    EXPECT_EQ(powers, (std::vector<int>{1, 0, 1}));
}

TEST_F(fb, power_follows_what_was_asked_where_the_panel_refuses)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    result = -1;
    EXPECT_EQ(fb_set_power(0), -1);
    EXPECT_EQ(fb_power, 0);
}

TEST_F(fb, a_title_goes_to_an_open_screen_that_shows_titles)
{
    static std::string title;
    title.clear();
    fb_set_title("before");
    ASSERT_EQ(fb_open(4, 3), 0);
    fb_set_title("a device without titles");
    screen_device.screen_title = [](const char *text) { title = text; };
    fb_set_title("song");
    EXPECT_EQ(title, "song");
    EXPECT_EQ(fb_close(), 0);
    fb_set_title("behind");
    device_current = nullptr;
    fb_set_title("no device");
    EXPECT_EQ(title, "song");
}

TEST_F(fb, the_screen_is_not_freed_as_a_surface)
{
    ASSERT_EQ(fb_open(320, 240), 0);
    EXPECT_EQ(fb_free(fb_cur), -1);
    EXPECT_EQ(fb_clear(fb_cur, 1), 0);
}

TEST_F(fb, operations_fail_on_request)
{
    fault_set("fb_open");
    EXPECT_EQ(fb_open(320, 240), -1);
    EXPECT_EQ(opens, 0);
    fault_set("");
    ASSERT_EQ(fb_open(320, 240), 0);
    fault_set("fb_flip,fb_set_power,fb_create");
    EXPECT_EQ(fb_flip(), -1);
    EXPECT_EQ(fb_set_power(0), -1);
    EXPECT_EQ(fb_create(1, 1), nullptr);
    fault_set("fb_close");
    EXPECT_EQ(fb_close(), -1);
    EXPECT_EQ(closes, 1);
    EXPECT_EQ(fb_cur, nullptr);
}
