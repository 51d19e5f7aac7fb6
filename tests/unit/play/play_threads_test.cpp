/* The engine between a sound thread and a main thread. Worth most under the thread sanitizer. */
#include "unit/play/scripted_decoder.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

constexpr int rounds = 5000;
constexpr auto patience = std::chrono::seconds(60);

int sound_reset()
{
    ++resets;
    std::this_thread::yield(); /* lets the other thread in where no lock is held */
    return 0;
}

void sound_wake() {}

/* Runs the callback over and over until it goes out of scope. */
struct sound_thread {
    std::atomic<bool> running{true};
    std::atomic<int> calls{0};
    std::thread thread{[this] {
        uint8_t buffer[512];
        while (running) {
            play_sound_callback(nullptr, buffer, sizeof buffer);
            ++calls;
        }
    }};
    ~sound_thread()
    {
        running = false;
        thread.join();
    }
    void wait_for_calls(int count)
    {
        const int until = calls + count;
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (calls < until && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        ASSERT_GE(calls, until);
    }
};

class play_threads : public testing::Test
{
  protected:
    void SetUp() override
    {
        the_script = {};
        the_script.slow_open = true;
        streams_open_most = 0;
        opened.clear();
        closed.clear();
        play_ended = nullptr;
    }
    void TearDown() override
    {
        (void)play_end();
        EXPECT_EQ(streams_open, 0);
        EXPECT_LE(streams_open_most, 1); /* two begins never leave two streams */
        EXPECT_EQ(opened.size(), closed.size());
        EXPECT_EQ(opened, closed); /* each closed before the next one opened */
        play_ended = nullptr;
    }
};

TEST_F(play_threads, begin_and_end_while_the_sound_thread_reads)
{
    sound_thread sound;
    for (int i = 0; i < rounds; i++) {
        EXPECT_EQ(play_begin(i % 2 ? "a.mp3" : "b.mp3"), 0);
        if (i % 3 == 0)
            (void)play_end();
        if (i % 5 == 0)
            play_paused = 1;
        if (i % 100 == 0)
            sound.wait_for_calls(1);
    }
}

/* Every track ends at once, so the sound thread begins tracks as fast as the main thread does. */
TEST_F(play_threads, both_threads_begin_tracks)
{
    the_script.reads = {0};
    play_ended = [](int32_t) { return play_begin("next.mp3"); };
    sound_thread sound;
    for (int i = 0; i < rounds; i++)
        EXPECT_EQ(play_begin("chosen.mp3"), 0);
    EXPECT_EQ(play_begin("chosen.mp3"), 0);
    sound.wait_for_calls(10);
}

/* A stop that falls between the end of a track and the start of the next must not be lost. */
TEST_F(play_threads, an_end_is_final_even_while_a_track_ends)
{
    the_script.reads = {0};
    play_ended = [](int32_t) {
        std::this_thread::yield(); /* makes the gap wide */
        return play_begin("next.mp3");
    };
    sound_thread sound;
    for (int i = 0; i < rounds / 10; i++) {
        EXPECT_EQ(play_begin("chosen.mp3"), 0);
        sound.wait_for_calls(i % 3);
        (void)play_end();
        const uint32_t id = play_handle_id;
        sound.wait_for_calls(3);
        char path[512];
        EXPECT_FALSE(play_copy_path(path));
        EXPECT_EQ(play_handle_id, id);
    }
}

TEST_F(play_threads, other_threads_read_words_and_path_meanwhile)
{
    the_script.reads = {512, 512, 0};
    play_ended = [](int32_t) { return play_begin("next.mp3"); };
    sound_thread sound;
    std::atomic<bool> running{true};
    std::thread reader([&] {
        char path[512];
        while (running) {
            if (play_copy_path(path)) {
                EXPECT_TRUE(strcmp(path, "next.mp3") == 0 || strcmp(path, "a.mp3") == 0);
            }
            EXPECT_GE(play_pos, 0);
        }
    });
    for (int i = 0; i < rounds; i++)
        EXPECT_EQ(play_begin("a.mp3"), 0);
    running = false;
    reader.join();
}
