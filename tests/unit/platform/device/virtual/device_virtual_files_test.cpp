/* The files of a scripted run: none stays open, and a sound file without room is told. */
#include "support/scratch.h"
#include "unit/platform/device/virtual/device_virtual_fixture.h"

TEST_F(device_virtual_script, a_sound_file_that_finds_no_room_is_told)
{
    setenv("ZERV_VIRTUAL_SOUND", "/dev/full", 1);
    testing::internal::CaptureStderr();
    run("advance 5\n");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("the sound file is not complete"),
              string::npos);
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    testing::internal::CaptureStderr();
    run("advance 5\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(device_virtual_script, a_run_leaves_no_file_open)
{
    const auto open_now = [] { return scratch_names("/proc/self/fd").size(); };
    const size_t before = open_now();
    for (int i = 0; i < 3; i++)
        run("advance 5\n");
    EXPECT_EQ(open_now(), before);
}
