/* The virtual device: scripts that come in while the program runs. */
#include "unit/platform/device/virtual/device_virtual_fixture.h"

class device_virtual_pipe : public device_virtual_script
{
  protected:
    void SetUp() override
    {
        device_virtual_script::SetUp();
        ASSERT_EQ(pipe(ends), 0);
        kept_input = dup(STDIN_FILENO);
        ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        unsetenv("ZERV_VIRTUAL_SCRIPT");
    }
    void TearDown() override
    {
        device_virtual_script::TearDown();
        dup2(kept_input, STDIN_FILENO);
        close(kept_input);
        close(ends[0]);
        if (ends[1] >= 0)
            close(ends[1]);
    }
    void type(const char *text)
    {
        ASSERT_EQ(write(ends[1], text, strlen(text)), static_cast<ssize_t>(strlen(text)));
    }

    int ends[2] = {-1, -1};
    int kept_input = -1;
};

TEST_F(device_virtual_pipe, reads_standard_input_line_by_line)
{
    ASSERT_EQ(open_all(), 0);
    type("key se");
    std::thread typist([this] {
        clock_real_msleep(20);
        type("lect\nadvance 1\n");
    });
    while (one_pass() && clock_msec() == 1000000) {
    }
    typist.join();
    EXPECT_EQ(passes[passes.size() - 2].keys.pressed, key_select);
    close(ends[1]);
    ends[1] = -1;
    EXPECT_FALSE(one_pass());
}

TEST_F(device_virtual_pipe, a_call_for_attention_ends_the_wait_for_a_command)
{
    ASSERT_EQ(open_all(), 0);
    std::thread caller([] {
        clock_real_msleep(20);
        clock_wake();
    });
    EXPECT_TRUE(one_pass());
    EXPECT_EQ(passes.back().keys.pressed, 0u);
    EXPECT_EQ(passes.back().ms, 1000000) << "no time passes meanwhile";
    caller.join();
}

TEST_F(device_virtual_pipe, runs_on_without_commands_in_real_time)
{
    setenv("ZERV_VIRTUAL_REALTIME", "1", 1);
    ASSERT_EQ(open_all(), 0);
    for (int i = 0; i < 20; i++)
        EXPECT_TRUE(one_pass());
    EXPECT_GT(clock_msec(), 1000010);
    type("quit\n");
    int left = 10000;
    while (left-- > 0 && one_pass()) {
    }
    EXPECT_GT(left, 0);
}

TEST_F(device_virtual_pipe, a_script_that_cannot_be_read_is_at_its_end)
{
    ASSERT_EQ(setenv("ZERV_VIRTUAL_SCRIPT", ".", 1), 0);
    ASSERT_EQ(open_all(), 0);
    EXPECT_FALSE(one_pass());
}
