/* A program that crashes leaves the console to the user. */
#include "unit/platform/device/linux/device_linux_kernel.h"

#include "platform/device/linux/device_linux.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>

/* Whoever had the signal before gets it last: the console shows text by then. */
static void on_crash(int)
{
    _exit(test_console.modes == std::vector<uint64_t>{KD_GRAPHICS, KD_TEXT} ? 0 : 1);
}

static void open_screen()
{
    test_panel = {};
    test_panel.shape.xres = 4;
    test_panel.shape.yres = 3;
    test_panel.shape.bits_per_pixel = 32;
    test_panel.shape.red = {.offset = 16, .length = 8, .msb_right = 0};
    test_panel.shape.green = {.offset = 8, .length = 8, .msb_right = 0};
    test_panel.shape.blue = {.offset = 0, .length = 8, .msb_right = 0};
    test_panel.memory.line_length = 16;
    test_panel.memory.visual = FB_VISUAL_TRUECOLOR;
    test_console = {};
    test_console.is_there = true;
    ASSERT_EQ(linux_screen_open(4, 3), 0);
}

static constexpr int crashes[] = {SIGSEGV, SIGBUS, SIGFPE,  SIGILL,
                                  SIGABRT, SIGSYS, SIGTRAP, SIGQUIT};

TEST(linux_crash, gives_the_console_back_and_the_signal_on)
{
    for (const int number : crashes) {
        const pid_t child = fork();
        if (child == 0) {
            (void)signal(number, on_crash);
            open_screen();
            (void)raise(number);
            _exit(2);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << number;
        EXPECT_EQ(WEXITSTATUS(status), 0) << number;
    }
}

TEST(linux_crash, is_nobody_s_business_once_the_screen_is_closed)
{
    for (const int number : crashes)
        ASSERT_NE(signal(number, on_crash), SIG_ERR);
    open_screen();
    EXPECT_EQ(linux_screen_close(), 0);
    for (const int number : crashes)
        EXPECT_EQ(signal(number, SIG_DFL), on_crash) << number;
}
