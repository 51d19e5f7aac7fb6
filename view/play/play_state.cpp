#include "view/play/play_state.h"

#include "platform/base/clock.h"
#include "platform/base/owner.h"
#include "platform/image/image.h"
#include "view/view.h"

#include <cstdlib>
#include <new>

constinit sys_lock play_view_lock;
constinit play_view_state play_view = {};
constinit uint32_t cover_loaded_for = 0;
constinit uint32_t lyrics_loaded_for = 0;

static constinit std::atomic<bool> is_open{false};

void play_view_open(bool open)
{
    is_open = open;
}

bool play_view_is_open()
{
    return is_open;
}

bool play_track_is_current(uint32_t id)
{
    return is_open && id == play_handle_id;
}

void play_view_request_redraw()
{
    view_play->redraw = 1;
    clock_wake();
}

play_cover *play_cover_new(image *picture, int32_t width, int32_t height)
{
    owner<image, image_free> owned(picture);
    auto *cover = new (std::nothrow) play_cover{nullptr, width, height, 1};
    if (cover)
        cover->picture = owned.release();
    return cover;
}

void play_cover_hold(play_cover *cover)
{
    cover->holders++;
}

void play_cover_release(play_cover *cover)
{
    if (!cover || --cover->holders != 0)
        return;
    (void)image_free(cover->picture);
    delete cover;
}

void play_drop_scaled_locked()
{
    (void)image_free(play_view.cover_scaled);
    play_view.cover_scaled = nullptr;
    play_view.cover_scaled_for = nullptr;
    play_view.cover_serial++;
}

void play_drop_cover_locked()
{
    play_cover_release(play_view.cover_image);
    play_view.cover_image = nullptr;
}

void play_drop_lyrics_locked()
{
    for (uint32_t i = 0; i < play_view.lyrics_count; i++)
        free(play_view.lyrics_texts[i]);
    free(play_view.lyrics_texts);
    free(play_view.lyrics_times);
    play_view.lyrics_texts = nullptr;
    play_view.lyrics_times = nullptr;
    play_view.lyrics_count = 0;
    play_view.lyrics_cur = 0;
    play_view.lyrics_first_shown = -1;
    play_view.lyrics_shown_count = 0;
}
