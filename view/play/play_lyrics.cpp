#include "view/play/play_lyrics.h"

#include "platform/base/clock.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "view/lyrics/lyrics_fetch.h"
#include "view/lyrics/lyrics_parse.h"
#include "view/play/play_layout.h"
#include "view/play/play_worker.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>

/* So long a request for a track that no longer plays may go on, for the file it leaves. */
constexpr int32_t stale_fetch_ms = 5000;

struct lyrics_job {
    uint32_t track_id;
    int32_t stale_since; /* clock_msec(), 0 while the track plays */
    char track_path[512];
    char path[512]; /* of the ".lrc" file */
};

static void load_lyrics(void *argument);
static void fetch_lyrics(void *argument);

static void drop_job(void *argument)
{
    delete static_cast<lyrics_job *>(argument);
}

/* Files beside the track are read at once; requests to a slow service wait elsewhere and only a
 * few of them, so that they keep nobody from the files. */
static constinit play_worker load_worker = {
    .name = "lyrics", .body = load_lyrics, .drop = drop_job, .limit = 1};
static constinit play_worker fetch_worker = {
    .name = "lyrics-fetch", .body = fetch_lyrics, .drop = drop_job, .limit = 3};

/* Takes the lines over when the track still plays. */
static bool install_lines(lyrics_lines *lines, uint32_t track_id)
{
    const sys_guard guard(play_view_lock);
    if (!play_track_is_current(track_id))
        return false;
    play_drop_lyrics_locked();
    play_view.lyrics_texts = lines->texts;
    play_view.lyrics_times = lines->times;
    play_view.lyrics_count = lines->count;
    play_view.lyrics_id = track_id;
    *lines = {};
    update_lyrics_shown(static_cast<uint32_t>(play_pos.load()));
    return true;
}

/* A pipe or a device with the name of lyrics would hold the reader, or a writer, for ever. */
static bool is_no_file(const char *path)
{
    struct stat entry;
    return stat(path, &entry) == 0 && !S_ISREG(entry.st_mode);
}

/* -1 when there is nothing of that name: only then the service may be asked, and its answer be put
 * there. A file that cannot be opened is the user's all the same. */
static int load_file(const lyrics_job *job)
{
    if (is_no_file(job->path))
        return 0;
    owner<FILE, fclose> file(file_fopen(job->path, "rb"));
    if (!file)
        return errno == ENOENT ? -1 : 0;
    if (!play_track_is_current(job->track_id))
        return 0;
    lyrics_lines lines;
    if (lyrics_parse_file(file.get(), &lines) != 0)
        return 0;
    const owner<lyrics_lines, lyrics_free> freed(&lines);
    if (install_lines(&lines, job->track_id)) {
        (void)choose_layout(-1);
        play_view_request_redraw();
    }
    return 0;
}

static void load_lyrics(void *argument)
{
    std::unique_ptr<lyrics_job> job(static_cast<lyrics_job *>(argument));
    if (!play_track_is_current(job->track_id) || load_file(job.get()) == 0)
        return;
    if (lyrics_host_is_known())
        (void)play_worker_give(&fetch_worker, job.release());
}

/* A request goes on for a while after its track has ended, unless another one waits for its place
 * or the screen is closed. */
static bool fetch_goes_on(void *argument)
{
    auto *job = static_cast<lyrics_job *>(argument);
    if (play_track_is_current(job->track_id))
        return true;
    if (!play_view_is_open() || play_worker_is_wanted(&fetch_worker))
        return false;
    if (job->stale_since == 0)
        job->stale_since = clock_msec();
    return clock_msec() - job->stale_since < stale_fetch_ms;
}

static void fetch_lyrics(void *argument)
{
    const std::unique_ptr<lyrics_job> job(static_cast<lyrics_job *>(argument));
    if (!play_track_is_current(job->track_id))
        return;
    if (lyrics_fetch(job->track_path, job->path, fetch_goes_on, job.get()) == 0)
        (void)load_file(job.get());
}

/* Puts ".lrc" in place of the extension. False when the path is too long. */
static bool make_lyrics_path(char (&to)[512], const char *track_path)
{
    const char *extension = file_get_ext(track_path);
    const int stem =
        extension ? static_cast<int>(extension - track_path) : static_cast<int>(strlen(track_path));
    return str_format(to, "%.*s.lrc", stem, track_path);
}

/* Where lyrics_cur stands after a seek back: at the first of the lines that share the time reached
 * last. */
static uint32_t step_back_locked(uint32_t position) REQUIRES(play_view_lock)
{
    assert(play_view.lyrics_cur > 0 && play_view.lyrics_cur <= play_view.lyrics_count);
    const uint32_t *times = play_view.lyrics_times;
    uint32_t i = play_view.lyrics_cur - 1;
    while (i > 0 && times[i] > position)
        i--;
    while (i > 0 && times[i - 1] == times[i])
        i--;
    return i;
}

static void show_lines_locked(uint32_t start, uint32_t end) REQUIRES(play_view_lock)
{
    assert(start <= end && end <= play_view.lyrics_count);
    assert(end - start <= std::size(play_view.lyrics_shown));
    play_view.lyrics_first_shown = static_cast<int32_t>(start);
    play_view.lyrics_shown_count = end - start;
    for (uint32_t i = start; i < end; i++)
        str_copy(play_view.lyrics_shown[i - start], play_view.lyrics_texts[i]);
    play_view_request_redraw();
}

void start_lyrics_loader()
{
    const sys_guard guard(play_lock);
    const uint32_t track_id = play_handle_id;
    const uint32_t last = lyrics_loaded_for;
    if (!play_view_is_open() || last == track_id)
        return;
    lyrics_loaded_for = track_id;
    if (!play_handle)
        return;
    std::unique_ptr<lyrics_job> job(new (std::nothrow) lyrics_job{});
    if (!job || !make_lyrics_path(job->path, play_fpath))
        return;
    job->track_id = track_id;
    str_copy(job->track_path, play_fpath);
    if (play_worker_give(&load_worker, job.release()) != 0)
        lyrics_loaded_for = last; /* the next frame tries again */
}

void update_lyrics_shown(uint32_t position)
{
    const uint32_t count = play_view.lyrics_count;
    const uint32_t *times = play_view.lyrics_times;
    if (count == 0)
        return;
    if (play_view.lyrics_cur > 0 && position < times[play_view.lyrics_cur - 1])
        play_view.lyrics_cur = step_back_locked(position);
    if (play_view.lyrics_cur >= count || position < times[play_view.lyrics_cur])
        return;
    uint32_t start = play_view.lyrics_cur;
    uint32_t end = start + 1;
    while (end < count && position >= times[end])
        end++;
    play_view.lyrics_cur = end;
    if (end - start > play_lyrics_lines)
        start = end - play_lyrics_lines;
    if (static_cast<int32_t>(start) != play_view.lyrics_first_shown)
        show_lines_locked(start, end);
}

/* Times of a file may lie beyond what a position can reach. */
void play_lyrics_cut_span(int32_t position, int32_t *first, int32_t *last)
{
    const uint32_t next = play_view.lyrics_cur;
    const uint32_t *times = play_view.lyrics_times;
    if (next > 0)
        *first = static_cast<int32_t>(std::clamp<int64_t>(times[next - 1], *first, position));
    if (next < play_view.lyrics_count)
        *last =
            static_cast<int32_t>(std::clamp<int64_t>(int64_t{times[next]} - 1, position, *last));
}

bool play_lyrics_copy_shown(play_lyrics_shown *to)
{
    const sys_guard guard(play_view_lock);
    if (!play_view.lyrics_texts)
        return false;
    to->count = play_view.lyrics_shown_count;
    for (uint32_t i = 0; i < to->count; i++)
        str_copy(to->lines[i], play_view.lyrics_shown[i]);
    return true;
}
