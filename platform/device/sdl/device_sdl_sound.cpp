/* device_sdl_sound: the sound card through SDL, which calls for samples on a thread of its own. */
#include "platform/base/clock.h"
#include "platform/device/sdl/device_sdl.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"

#include <SDL.h>
#include <alsa/asoundlib.h>
#include <atomic>
#include <cstring>

/* Each piece is a wake-up, and what SDL holds can neither be dropped nor be made softer any more: 93
 * ms, two pieces, are enough. Straight to a card it is three. A size that is no power of two SDL
 * rounds up, and copies once more. */
constexpr uint16_t piece_frames = 2048, card_piece_frames = 1024;

/* 370 ms of a track: a decoder that makes them piece by piece takes twice as long. */
constexpr uint32_t at_once_frames = 16384;

static constinit SDL_AudioDeviceID card = 0; /* sound thread, while that runs */

/* SDL holds the piece that plays and the one that it asked for last. */
static constinit std::atomic<uint32_t> held_frames{0};
static constinit std::atomic<int64_t> held_since_ms{0};
static constinit uint32_t piece_before = 0; /* frames of sound in the last piece; SDL's thread */

static void fill_piece(void *, Uint8 *stream, int bytes)
{
    const uint32_t frames = static_cast<uint32_t>(bytes) / sound_frame_bytes;
    const uint32_t sound = sound_drive(static_cast<int16_t *>(static_cast<void *>(stream)), frames);
    held_frames = piece_before + sound;
    held_since_ms = clock_real_msec();
    piece_before = sound;
}

static uint32_t speaker_pending()
{
    const int64_t gone =
        (clock_real_msec() - held_since_ms) * static_cast<int64_t>(sound_rate) / 1000;
    const uint32_t held = held_frames;
    return gone >= held ? 0 : held - static_cast<uint32_t>(gone);
}

/* A machine without a card is told once by us, not in ten lines by the libraries below. */
static void say_nothing(const char *, int, const char *, int, const char *, ...) {}

/* SDL writes silence to a card that is only paused, as often as sound. */
static void speaker_rest()
{
    SDL_CloseAudioDevice(card);
    card = 0;
    held_frames = 0;
    piece_before = 0;
}

static bool is_card()
{
    const char *driver = SDL_GetCurrentAudioDriver();
    return driver && strcmp(driver, "alsa") == 0;
}

static int speaker_rouse()
{
    SDL_AudioSpec wanted = {};
    wanted.freq = static_cast<int>(sound_rate);
    wanted.format = AUDIO_S16SYS;
    wanted.channels = 2;
    wanted.samples = is_card() ? card_piece_frames : piece_frames;
    wanted.callback = fill_piece;
    card = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    if (card == 0)
        return -1;
    SDL_PauseAudioDevice(card, 0);
    return 0;
}

static int speaker_open()
{
    held_frames = 0;
    piece_before = 0;
    (void)snd_lib_error_set_handler(say_nothing); /* cannot fail */
    if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0)
        return -1;
    if (SDL_GetNumAudioDevices(0) != 0) /* -1: it cannot tell */
        return 0;
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    return -1;
}

static int speaker_close()
{
    speaker_rest();
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    return 0;
}

static constinit const sound_speaker speaker = {
    .open = speaker_open,
    .close = speaker_close,
    .pending = speaker_pending,
    .rest = speaker_rest,
    .opens_resting = true,
    .rouse = speaker_rouse,
    .drives = true,
    .at_once = at_once_frames,
};

const sound_speaker *sdl_speaker()
{
    return &speaker;
}
