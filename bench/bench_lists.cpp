/* bench_lists: a large folder in the file browser, a large current playlist. */
#include "core/rooms.h"
#include "lists/list_files.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/file/file.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

constexpr int folder_files = 5000;
constexpr int playlist_tracks = 50000;

[[maybe_unused]] static const bool filled = (rooms_fill(), true);

/* A folder that the program may fill; removed at the end. */
class work_folder
{
    char path[32] = "/tmp/zerv-bench-XXXXXX";
    const bool works = mkdtemp(path) && chdir(path) == 0;

  public:
    ~work_folder()
    {
        if (works && (chdir("/") != 0 || file_remove(path) != 0))
            perror(path);
    }
    bool is_there() const { return works; }
    std::string name() const { return path; }
};

static void open_folder(benchmark::State &state)
{
    const work_folder folder;
    bool works = folder.is_there();
    for (int i = 0; works && i < folder_files; i++) {
        FILE *file = fopen((std::to_string(i) + ".mp3").c_str(), "w");
        works = file && fclose(file) == 0;
    }
    const std::string first = folder.name() + "/0.mp3";
    for (auto _ : state)
        works = works && list_files_select_file(first.c_str()) == 0;
    if (!works || list_count(list_files) < folder_files)
        state.SkipWithError("the folder cannot be made or shown");
    (void)list_files->exit();
    view_list_free(list_files);
}
BENCHMARK(open_folder)->Unit(benchmark::kMillisecond);

/* All of it: the entries, the rows and the file. */
static void queue_tracks(benchmark::State &state)
{
    const work_folder folder;
    bool works = folder.is_there();
    for (auto _ : state) {
        works = works && list_cur_playlist->init() == 0;
        for (int i = 0; works && i < playlist_tracks; i++) {
            char path[64];
            snprintf(path, sizeof(path), "/media/music/Artist %d/Album %d/%02d.mp3", i / 100,
                     i / 10, i % 10);
            works = list_cur_playlist_add(path, "Title", "Artist") == 0;
        }
        works = works && list_cur_playlist->update(nullptr, nullptr) == 0;
        state.PauseTiming();
        (void)list_cur_playlist->exit();
        works = works && file_remove("current.m3u") == 0;
        state.ResumeTiming();
    }
    if (!works)
        state.SkipWithError("the playlist cannot be filled or saved");
    view_list_free(list_cur_playlist);
}
BENCHMARK(queue_tracks)->Unit(benchmark::kMillisecond);
