/* scripted_decoder: a decoder, a speaker and a clock that do what a test says, in place of the
 * platform's. Include it once in a test program. */
#pragma once

#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/sound/sound.h"
#include "play/play.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/* What the next streams do. A path with "missing" in it does not open. */
struct script {
    uint32_t sample_rate = 44100;
    int64_t tell = 0;
    std::vector<int32_t> reads; /* results one after the other; afterwards every read is full */
    std::function<void()> in_read;
    int32_t queued_ms = 0;
    bool slow_open = false; /* lets other threads run in the middle of an open */
};

struct scripted_stream {
    audio_stream stream;
    std::string path;
    size_t next_read;
};

inline script the_script;
inline std::atomic<int> streams_open{0};
inline std::atomic<int> streams_open_most{0};
inline std::atomic<int> sleeps{0};
inline std::atomic<int> looks{0};
inline std::atomic<int> resets{0};
inline std::atomic<bool> reset_saw_lock_taken{false};
inline std::vector<std::string> opened, closed; /* under the engine's locks */
inline uint8_t read_byte = 0x5a;

inline audio_stream *scripted_open(const char *path)
{
    if (strstr(path, "missing"))
        return nullptr;
    auto *made = new scripted_stream{{the_script.sample_rate, 0, nullptr, nullptr}, path, 0};
    made->stream.priv = made;
    const int now = ++streams_open;
    streams_open_most = std::max(streams_open_most.load(), now);
    if (the_script.slow_open)
        std::this_thread::yield();
    opened.push_back(path);
    return &made->stream;
}

inline int scripted_close(audio_stream *stream)
{
    auto *owned = static_cast<scripted_stream *>(stream->priv);
    closed.push_back(owned->path);
    --streams_open;
    delete owned;
    return 0;
}

inline int32_t scripted_read(audio_stream *stream, void *to, uint32_t bytes)
{
    auto *owned = static_cast<scripted_stream *>(stream->priv);
    int32_t result = static_cast<int32_t>(bytes);
    if (owned->next_read < the_script.reads.size())
        result = std::min(result, the_script.reads[owned->next_read++]);
    if (result > 0)
        memset(to, read_byte, static_cast<size_t>(result));
    if (the_script.in_read)
        the_script.in_read();
    return result;
}

inline int64_t scripted_tell(audio_stream *)
{
    return the_script.tell;
}

inline const audio_decoder scripted_decoder = {
    .name = "scripted",
    .open = scripted_open,
    .close = scripted_close,
    .read = scripted_read,
    .tell = scripted_tell,
    .seek = nullptr,
    .read_info = nullptr,
    .release_info = nullptr,
};

const audio_decoder *audio_get_decoder(const char *path)
{
    const char *end = strrchr(path, '.');
    return end && strcmp(end, ".mp3") == 0 ? &scripted_decoder : nullptr;
}

int32_t sound_get_buffer_remaining()
{
    return the_script.queued_ms;
}

void clock_msleep(int32_t)
{
    ++sleeps;
}

/* The main loop is told of something. */
void clock_wake()
{
    ++looks;
}
