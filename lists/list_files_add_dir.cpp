/* list_files_add_dir: queues a folder with everything below it. */
#include "core/services/program.h"
#include "library/library_walk.h"
#include "library/media.h"
#include "lists/list_files.h"
#include "lists/playlist/list_cur_playlist.h"
#include "platform/base/clock.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/input/key.h"

/* So long a folder may take before somebody who waits for its end is asked again. */
constexpr int32_t look_every_ms = 100;
/* The volume keys mean the sound that plays. */
constexpr uint32_t keys_that_stop = ~(key_vol_up | key_vol_down);

/* Files that are added in one go: their names cost one question. */
constexpr uint32_t files_at_once = 512;

using paths_owner = owner<playlist_paths, list_cur_playlist_paths_free>;

/* A folder on its way into the playlist. */
struct add_job {
    playlist_paths found; /* not yet added */
    char *first_out;      /* null, or empty until the first file */
    size_t first_size;
    int32_t looked_ms; /* when the keys were looked at */
};

static void add_found(add_job *job)
{
    (void)list_cur_playlist_add_paths(&job->found); /* what finds no memory is left out */
    (void)list_cur_playlist_paths_free(&job->found);
}

static int add_file(void *user, const char *path, const char *)
{
    auto *job = static_cast<add_job *>(user);
    if (list_cur_playlist_paths_add(&job->found, path) != 0)
        return -1;
    if (job->found.count == files_at_once)
        add_found(job);
    if (job->first_out && job->first_out[0] == '\0')
        (void)str_copy_to(job->first_out, job->first_size, path);
    return program_running ? 0 : -1;
}

/* The keys, which the main loop cannot look at meanwhile. What ends the walk does nothing else,
 * except for the key that ends the program. */
static bool is_stopped_by_key()
{
    key_report keys;
    if (!key_check(&keys))
        return false;
    if (keys.pressed & key_quit)
        program_running = 0;
    return (keys.pressed & keys_that_stop) != 0;
}

static bool goes_on(void *user)
{
    auto *job = static_cast<add_job *>(user);
    const int32_t now = clock_msec();
    if (!program_running)
        return false;
    if (static_cast<uint32_t>(now) - static_cast<uint32_t>(job->looked_ms) < look_every_ms)
        return true;
    job->looked_ms = now;
    return !is_stopped_by_key();
}

int list_files_add_dir(const char *dir, char *first_out, size_t size)
{
    add_job job = {
        .found = {}, .first_out = first_out, .first_size = size, .looked_ms = clock_msec()};
    const library_walk_plan plan = {
        .order = library_walk_order::folders_first,
        .filter = audio_file_filter,
        .visit = add_file,
        .go_on = goes_on,
        .user = &job,
    };
    const paths_owner freed(&job.found);
    const library_walk_end end = library_walk(dir, &plan);
    add_found(&job);
    return end == library_walk_end::absent || end == library_walk_end::failed ? -1 : 0;
}
