/* The sound card through the library: one that takes everything at once, and none. */
#include "platform/device/linux/device_linux.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

static const linux_card *const card = linux_card_current;

/* The library's whole configuration; a file of its own each time, since the library keeps what it read. */
static void configure(const std::string &text)
{
    static int count = 0;
    const std::string name = "asound" + std::to_string(count++) + ".conf";
    scratch_write(name, text);
    char here[4096];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    ASSERT_EQ(setenv("ALSA_CONFIG_PATH", (std::string(here) + "/" + name).c_str(), 1), 0);
}

TEST(linux_card_of_the_library, takes_what_it_is_given)
{
    const scratch folder;
    configure("pcm.default { type null }\n");
    ASSERT_EQ(card->open(), 0);
    EXPECT_GT(card->period(), 0);
    EXPECT_GT(card->size(), card->period());
    const std::vector<int16_t> silence(1024);
    for (const uint32_t frames : {1u, 100u, 512u}) {
        EXPECT_GT(card->room(), 0);
        EXPECT_LE(card->room(), card->size());
        EXPECT_EQ(card->write(silence.data(), frames), static_cast<int32_t>(frames));
        EXPECT_GE(card->delay(), 0);
    }
    EXPECT_EQ(card->start(), 0);
    card->drop();
    EXPECT_EQ(card->recover(), 0);
    card->close();
    card->close(); /* a second time it is closed already */
}

TEST(linux_card_of_the_library, a_wait_ends_when_it_is_told_to)
{
    const scratch folder;
    configure("pcm.default { type null }\n");
    ASSERT_EQ(card->open(), 0);
    int stop[2];
    ASSERT_EQ(pipe(stop), 0);
    ASSERT_EQ(write(stop[1], "x", 1), 1);
    EXPECT_TRUE(card->wait(stop[0], 1000000));
    close(stop[0]);
    close(stop[1]);
    card->close();
}

TEST(linux_card_of_the_library, says_why_there_is_none)
{
    const scratch folder;
    configure("pcm.default { type hw card 31 }\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(card->open(), -1);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("no sound from default: "), std::string::npos) << said;
    EXPECT_NE(said.find("no sound from plughw:0,0: "), std::string::npos) << said;
    card->close();
}
