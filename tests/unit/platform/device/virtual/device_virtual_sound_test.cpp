/* The virtual device: the speaker, in scripted and in real time. */
#include "unit/platform/device/virtual/device_virtual_fixture.h"

static uint32_t little(const string &from, size_t at, int bytes)
{
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; i--)
        value = value << 8 | static_cast<uint8_t>(from[at + static_cast<size_t>(i)]);
    return value;
}

static int16_t frame_at(const string &wav, uint32_t frame)
{
    return static_cast<int16_t>(little(wav, 44 + frame * 4, 2));
}

static std::atomic<uint32_t> counter{0};

static void play_ramp(int16_t *samples, uint32_t frames)
{
    for (uint32_t i = 0; i < frames; i++)
        samples[i * 2] = samples[i * 2 + 1] = static_cast<int16_t>(counter++ % 20000 + 1);
}

TEST_F(device_virtual_script, the_speaker_consumes_exactly_the_time_that_passes)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    counter = 0;
    play = play_ramp;
    const string answer = run("advance 1234\nstate\nkey select\nquit\n");
    const string wav = read_file("sound.wav");
    const uint32_t frames = 1234 * 441 / 10;
    ASSERT_EQ(wav.size(), 44 + frames * 4);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(little(wav, 4, 4), wav.size() - 8);
    EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(little(wav, 20, 2), 1u);
    EXPECT_EQ(little(wav, 22, 2), 2u);
    EXPECT_EQ(little(wav, 24, 4), 44100u);
    EXPECT_EQ(little(wav, 28, 4), 176400u);
    EXPECT_EQ(little(wav, 32, 2), 4u);
    EXPECT_EQ(little(wav, 34, 2), 16u);
    EXPECT_EQ(little(wav, 40, 4), frames * 4);
    for (uint32_t i = 0; i < frames; i++)
        ASSERT_EQ(frame_at(wav, i), static_cast<int16_t>(i % 20000 + 1));
    const uint32_t queued = (counter - frames) * 1000 / 44100;
    EXPECT_NE(answer.find("queued=" + std::to_string(queued)), string::npos) << answer;
}

TEST_F(device_virtual_script, the_speaker_plays_silence_while_nothing_plays)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    on_pass = [](const pass_seen &seen) {
        if (seen.ms == 1000100) {
            counter = 0;
            play = play_ramp;
            sound_wake();
        }
    };
    run("advance 200\n");
    const string wav = read_file("sound.wav");
    ASSERT_EQ(wav.size(), 44u + 8820 * 4);
    for (uint32_t i = 0; i < 4410; i++)
        ASSERT_EQ(frame_at(wav, i), 0);
    EXPECT_EQ(frame_at(wav, 4410), 1) << "heard in the next millisecond";
    EXPECT_EQ(frame_at(wav, 8819), 4410);
}

TEST_F(device_virtual_script, the_same_run_gives_the_same_bytes)
{
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    string first_wav, first_answer;
    for (int round = 0; round < 5; round++) {
        counter = 0;
        play = play_ramp;
        int32_t full = 100;
        EXPECT_EQ(sound_set_volume(&full, &full), 0);
        on_pass = [](const pass_seen &seen) {
            if (seen.keys.pressed & key_select)
                sound_reset();
            int32_t volume = 10 + seen.ms % 90;
            if (seen.keys.pressed & key_up) {
                EXPECT_EQ(sound_set_volume(&volume, &volume), 0);
            }
        };
        const string answer =
            run("advance 333\nkey select\nadvance 50\nkey up\nadvance 500\nstate\n");
        const string wav = read_file("sound.wav");
        if (round == 0) {
            first_wav = wav;
            first_answer = answer;
        }
        EXPECT_TRUE(wav == first_wav);
        EXPECT_EQ(answer, first_answer);
    }
}

TEST_F(device_virtual_script, the_callback_runs_on_a_thread_of_its_own_in_step_with_the_passes)
{
    static std::atomic<bool> on_main{false}, in_pass{false}, overlapped{false};
    on_main = in_pass = overlapped = false;
    static const pthread_t main_thread = pthread_self();
    play = [](int16_t *samples, uint32_t frames) {
        on_main = on_main || pthread_equal(pthread_self(), main_thread);
        overlapped = overlapped || in_pass;
        play_ramp(samples, frames);
        overlapped = overlapped || in_pass;
    };
    on_pass = [](const pass_seen &) {
        in_pass = true;
        std::this_thread::yield();
        in_pass = false;
    };
    run("advance 1000\n");
    EXPECT_FALSE(on_main);
    EXPECT_FALSE(overlapped);
}

TEST_F(device_virtual_script, follows_real_time_when_asked)
{
    setenv("ZERV_VIRTUAL_REALTIME", "1", 1);
    setenv("ZERV_VIRTUAL_SOUND", "sound.wav", 1);
    counter = 0;
    play = play_ramp;
    const auto started = std::chrono::steady_clock::now();
    run("advance 300\n");
    const std::chrono::duration<double, std::milli> took =
        std::chrono::steady_clock::now() - started;
    EXPECT_GE(took.count(), 299);
    EXPECT_GE(passes.back().ms, 1000300);
    EXPECT_GT(passes.size(), 5u) << "the main loop goes on meanwhile";
    const string wav = read_file("sound.wav");
    EXPECT_EQ(little(wav, 40, 4), wav.size() - 44);
    EXPECT_GE(wav.size(), 44u + 8820 * 4);
    const auto frames = static_cast<uint32_t>((wav.size() - 44) / 4);
    uint32_t first = 0;
    while (first < frames && frame_at(wav, first) == 0)
        first++;
    ASSERT_LT(first, frames);
    for (uint32_t i = first + 1; i < frames; i++)
        ASSERT_EQ(frame_at(wav, i), frame_at(wav, i - 1) % 20000 + 1) << i;
}
