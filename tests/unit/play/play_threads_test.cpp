/* The engine between a sound thread and a main thread. Worth most under the thread sanitizer. */
#include "unit/play/scripted_decoder.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

constexpr int rounds = 1500;
constexpr auto patience = std::chrono::seconds(60);

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

static std::atomic<size_t> most_open_at_reset{0};

class play_threads : public play_folder
{
  protected:
    void SetUp() override
    {
        play_folder::SetUp();
        most_open_at_reset = 0;
        in_reset = [] {
            if (resets % 10 == 0) /* a look takes longer than all the rest */
                most_open_at_reset = std::max(most_open_at_reset.load(), tracks_open().size());
            std::this_thread::yield(); /* lets the other thread in where no lock is held */
        };
    }
    void TearDown() override
    {
        (void)play_end();
        EXPECT_EQ(most_open_at_reset, 0u) << "each is closed before the next one is opened";
        play_folder::TearDown();
    }
};

TEST_F(play_threads, begin_and_end_while_the_sound_thread_reads)
{
    sound_thread sound;
    for (int i = 0; i < rounds; i++) {
        EXPECT_EQ(play_begin(i % 2 ? "a.flac" : "b.flac"), 0);
        if (i % 3 == 0)
            (void)play_end();
        if (i % 5 == 0)
            play_paused = 1;
        if (i % 100 == 0)
            sound.wait_for_calls(1);
    }
}

/* Every track is short, so the sound thread begins tracks about as fast as the main thread does. */
TEST_F(play_threads, both_threads_begin_tracks)
{
    play_ended = [](int32_t) { return play_begin("next.flac"); };
    sound_thread sound;
    for (int i = 0; i < rounds; i++)
        EXPECT_EQ(play_begin("chosen.flac"), 0);
    EXPECT_EQ(play_begin("chosen.flac"), 0);
    sound.wait_for_calls(10);
}

/* A stop that falls between the end of a track and the start of the next must not be lost. */
TEST_F(play_threads, an_end_is_final_even_while_a_track_ends)
{
    play_ended = [](int32_t) {
        std::this_thread::yield(); /* makes the gap wide */
        return play_begin("next.flac");
    };
    sound_thread sound;
    for (int i = 0; i < rounds / 10; i++) {
        EXPECT_EQ(play_begin("chosen.flac"), 0);
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
    play_ended = [](int32_t) { return play_begin("next.flac"); };
    sound_thread sound;
    std::atomic<bool> running{true};
    std::thread reader([&] {
        char path[512];
        while (running) {
            if (play_copy_path(path)) {
                EXPECT_TRUE(strcmp(path, "next.flac") == 0 || strcmp(path, "a.flac") == 0);
            }
            EXPECT_GE(play_pos, 0);
        }
    });
    for (int i = 0; i < rounds; i++)
        EXPECT_EQ(play_begin("a.flac"), 0);
    running = false;
    reader.join();
}
