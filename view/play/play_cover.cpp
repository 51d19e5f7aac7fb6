#include "view/play/play_cover.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/image/image.h"
#include "skin/skin.h"
#include "view/play/play_layout.h"
#include "view/play/play_worker.h"

#include <new>

/* A decoded cover is kept for the whole track. Twice the screen's width is enough for any element,
 * and a photograph of 16 megapixels would not fit a small device: it is reduced to less than twice
 * this while it is read, the rest afterwards with a better filter. */
constexpr int32_t kept_side = 640;

struct load_job {
    uint32_t track_id;
    char path[512];
};

struct scale_job {
    uint32_t track_id;
    play_cover *source;          /* held */
    const skin_element *element; /* only compared: its part may be gone */
    uint32_t serial;
    int32_t box_width, box_height;
};

static void load_cover(void *argument);
static void scale_cover(void *argument);

static void drop_load_job(void *argument)
{
    delete static_cast<load_job *>(argument);
}

static void drop_scale_job(void *argument)
{
    auto *job = static_cast<scale_job *>(argument);
    play_cover_release(job->source);
    delete job;
}

/* One at a time: two large pictures in memory are too many. */
static constinit play_worker load_worker = {
    .name = "cover", .body = load_cover, .drop = drop_load_job, .limit = 1};
static constinit play_worker scale_worker = {
    .name = "cover-fit", .body = scale_cover, .drop = drop_scale_job, .limit = 1};

/* The whole of `source` fitted into a box; the ratio is that of the picture inside the file. */
static image *fit_image(const image *source, int32_t width, int32_t height, int32_t box_width,
                        int32_t box_height)
{
    if (image_resize_ratio(&width, &height, box_width, box_height) != 0)
        return nullptr;
    owner<image, image_free> fitted(image_create(width, height));
    if (!fitted || image_copy_resampled(fitted.get(), source, 0, 0, width, height, 0, 0,
                                        source->width, source->height) != 0)
        return nullptr;
    return fitted.release();
}

/* Takes ownership. A picture that is too large to keep is reduced.
 *   width, height  of the picture in the file, whose ratio counts */
static play_cover *make_cover(image *picture, int32_t width, int32_t height)
{
    if (picture->width <= kept_side && picture->height <= kept_side)
        return play_cover_new(picture, width, height);
    image *reduced = fit_image(picture, width, height, kept_side, kept_side);
    (void)image_free(picture);
    return reduced ? play_cover_new(reduced, width, height) : nullptr;
}

static bool install_cover(play_cover *cover, uint32_t track_id)
{
    const sys_guard guard(play_view_lock);
    if (!play_track_is_current(track_id))
        return false;
    play_drop_cover_locked();
    play_view.cover_image = cover;
    play_view.cover_id = track_id;
    return true;
}

static void load_cover(void *argument)
{
    const std::unique_ptr<load_job> job(static_cast<load_job *>(argument));
    if (!play_track_is_current(job->track_id))
        return;
    int32_t width = 0, height = 0;
    image *picture = tag_image_read_reduced(job->path, kept_side, &width, &height);
    if (!picture)
        return;
    owner<play_cover, play_cover_release> cover(make_cover(picture, width, height));
    if (!cover || !install_cover(cover.get(), job->track_id))
        return;
    (void)cover.release();
    (void)choose_layout(-1);
    play_view_request_redraw();
}

static bool scale_is_wanted_locked(const scale_job *job) REQUIRES(play_view_lock)
{
    return play_track_is_current(job->track_id) && play_view.cover_image == job->source &&
           play_view.cover_scaled_for == job->element && play_view.cover_serial == job->serial;
}

static bool scale_is_wanted(const scale_job *job)
{
    const sys_guard guard(play_view_lock);
    return scale_is_wanted_locked(job);
}

static void scale_cover(void *argument)
{
    const owner<scale_job, drop_scale_job> job(static_cast<scale_job *>(argument));
    if (!scale_is_wanted(job.get()))
        return;
    const play_cover *source = job->source;
    owner<image, image_free> fitted(
        fit_image(source->picture, source->width, source->height, job->box_width, job->box_height));
    if (!fitted || image_dither(fitted.get()) != 0)
        return;
    {
        const sys_guard guard(play_view_lock);
        if (!scale_is_wanted_locked(job.get()))
            return;
        (void)image_free(play_view.cover_scaled);
        play_view.cover_scaled = fitted.release();
    }
    play_view_request_redraw();
}

void start_cover_loader()
{
    const sys_guard guard(play_lock);
    const uint32_t track_id = play_handle_id;
    const uint32_t last = cover_loaded_for;
    if (!play_view_is_open() || last == track_id)
        return;
    cover_loaded_for = track_id;
    if (!play_handle)
        return;
    auto *job = new (std::nothrow) load_job{};
    if (!job)
        return;
    job->track_id = track_id;
    str_copy(job->path, play_fpath);
    if (play_worker_give(&load_worker, job) != 0)
        cover_loaded_for = last; /* the next frame tries again */
}

void play_cover_fit_locked(const skin_element *element, uint32_t track_id)
{
    if (!play_view.cover_image || play_view.cover_scaled || play_view.cover_scaled_for == element)
        return;
    auto *job = new (std::nothrow)
        scale_job{track_id,       play_view.cover_image, element, play_view.cover_serial,
                  element->width, element->height};
    if (!job)
        return;
    play_cover_hold(job->source);
    play_view.cover_scaled_for = element;
    if (play_worker_give(&scale_worker, job) != 0)
        play_view.cover_scaled_for = nullptr;
}
