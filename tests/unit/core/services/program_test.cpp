#include "core/services/program.h"
#include "support/hung.h"

#include "config/cfg.h"
#include "core/services/overlay.h"
#include "platform/sound/sound.h"
#include "support/still_screen.h"
#include "support/test_device.h"
#include "view/view.h"

static const hung hang_overlay_msg(overlay_msg, &overlay_msg_record);

class program : public testing::Test
{
  protected:
    void SetUp() override
    {
        test_device_open();
        still_screen.frame = fb_create(320, 240);
        ASSERT_EQ(overlay_msg->init(), 0);
        cfg_modified = 0;
        set_volume(30);
        program_volume_msg_id = -1;
        program_running = 1;
    }
    void TearDown() override
    {
        EXPECT_EQ(overlay_msg->exit(), 0);
        fb_free(still_screen.frame);
        still_screen.frame = nullptr;
        test_device_close();
    }
    static void set_volume(int32_t volume)
    {
        cfg_vol = volume;
        ASSERT_EQ(sound_set_volume(&cfg_vol, &cfg_vol), 0);
    }
    static std::vector<std::string> messages()
    {
        fb_clear(fb_cur, 0);
        overlay_msg->draw(&still_screen, fb_cur);
        return test_texts(fb_cur);
    }
};

using texts = std::vector<std::string>;

TEST_F(program, volume_change_is_set_shown_and_kept)
{
    EXPECT_EQ(program_change_volume(5), 0);
    int32_t left = -1, right = -1;
    ASSERT_EQ(sound_get_volume(&left, &right), 0);
    EXPECT_EQ(left, 35);
    EXPECT_EQ(right, 35);
    EXPECT_EQ(cfg_vol, 35);
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_EQ(messages(), (texts{"6 222 320 12 12 0x001F 0 |Volume: 35|"}));
}

TEST_F(program, second_change_replaces_the_message)
{
    program_change_volume(5);
    program_change_volume(-10);
    EXPECT_EQ(messages(), (texts{"6 222 320 12 12 0x001F 0 |Volume: 25|"}));
}

TEST_F(program, message_stays_for_two_seconds)
{
    program_change_volume(5);
    machine.ms += 2000;
    overlay_msg->input(&still_screen);
    EXPECT_EQ(messages().size(), 1u);
    machine.ms += 1;
    overlay_msg->input(&still_screen);
    EXPECT_EQ(messages().size(), 0u);
    EXPECT_EQ(program_change_volume(5), 0); /* the id of the message that went is no trouble */
    EXPECT_EQ(messages().size(), 1u);
}

TEST_F(program, message_shows_the_volume_that_the_platform_kept)
{
    set_volume(98);
    EXPECT_EQ(program_change_volume(5), 0);
    EXPECT_EQ(messages(), (texts{"6 222 320 12 12 0x001F 0 |Volume: 100|"}));
    set_volume(3);
    EXPECT_EQ(program_change_volume(-5), 0);
    EXPECT_EQ(messages(), (texts{"6 222 320 12 12 0x001F 0 |Volume: 0|"}));
}

TEST_F(program, volume_starts_from_what_the_platform_plays_at)
{
    cfg_vol = 77; /* never told to the platform */
    EXPECT_EQ(program_change_volume(5), 0);
    EXPECT_EQ(cfg_vol, 35);
}

TEST_F(program, volume_that_cannot_be_read_changes_nothing)
{
    fault_set("sound_get_volume");
    EXPECT_EQ(program_change_volume(5), -1);
    EXPECT_EQ(cfg_modified, 0);
    EXPECT_EQ(messages().size(), 0u);
}

TEST_F(program, volume_that_cannot_be_set_is_neither_shown_nor_kept)
{
    fault_set("sound_set_volume");
    EXPECT_EQ(program_change_volume(5), -1);
    EXPECT_EQ(cfg_modified, 0);
    EXPECT_EQ(messages().size(), 0u);
}

TEST_F(program, power_off_clears_the_flag_and_wakes_the_loop)
{
    const int before = machine_wakes;
    program_power_off();
    EXPECT_EQ(program_running, 0);
    EXPECT_GT(machine_wakes, before);
}

TEST_F(program, battery_level_is_the_platforms)
{
    machine.battery = 57;
    EXPECT_EQ(program_get_battery_level(), 57);
}

TEST_F(program, perror_writes_one_line_to_standard_error)
{
    testing::internal::CaptureStderr();
    program_perror("sys_init falied %s");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "sys_init falied %s\n");
}

TEST_F(program, set_up_and_its_end_succeed)
{
    EXPECT_EQ(program_init(), 0);
    EXPECT_EQ(program_exit(), 0);
}
