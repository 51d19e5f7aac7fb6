/* bench_frame: whole frames of both screens in each skin of ours, and a start with its end. */
#include "skin/skin.h"
#include "tools/zerv_skin/scene.h"
#include "tools/zerv_skin/stage.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <benchmark/benchmark.h>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

static const char *const skins[] = {"Aqua_Ver0.4", "Night", "LargeType"};

/* A place in the program folder, which the build keeps beside this program's folder. */
static std::string in_program_folder(const std::string &name)
{
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof(self));
    const std::string path(self, length > 0 ? static_cast<size_t>(length) : 0);
    return path.substr(0, path.rfind('/') + 1) + "../player/" + name;
}

/* One frame after another, as a key or a new second asks for it. The scene before them has warmed
 * up the caches of glyphs and lines, which is how the player meets nearly every frame. */
static void draw_frames(benchmark::State &state, bool in_list, view *screen)
{
    const std::string skin = std::string("skins/") + skins[state.range(0)] + ".zip";
    scene_package package = {};
    if (skin_init() != 0 || stage_open() != 0 || stage_open_font(nullptr) != 0 ||
        scene_open(in_program_folder(skin).c_str(), &package) != 0) {
        state.SkipWithError("the skin or the font is missing");
        return;
    }
    state.SetLabel(skins[state.range(0)]);
    for (const scene &each : package.scenes)
        if (each.in_list == in_list && scene_draw(each, false, false))
            break;
    for (auto _ : state) {
        screen->redraw = 1;
        (void)screen->draw(screen, nullptr); /* always 0 */
    }
    scene_close();
    stage_close();
    (void)skin_exit();
}

static void list_frame(benchmark::State &state)
{
    draw_frames(state, true, &view_list_record);
}
BENCHMARK(list_frame)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

static void play_frame(benchmark::State &state)
{
    draw_frames(state, false, &view_play_record);
}
BENCHMARK(play_frame)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

/* A folder to run in, where settings and library may be left behind. "" when it cannot be made. */
static std::string make_run_folder()
{
    char folder[] = "/tmp/zerv-bench-XXXXXX";
    if (!mkdtemp(folder))
        return "";
    for (const char *name : {"zerv-player", "skins", "QuenlyAquaEJ.ttf", "DejaVuSans.ttf"})
        if (symlink(in_program_folder(name).c_str(), (std::string(folder) + "/" + name).c_str()))
            return "";
    return folder;
}

static void remove_run_folder(const std::string &folder)
{
    for (const char *name : {"zerv-player", "skins", "QuenlyAquaEJ.ttf", "DejaVuSans.ttf",
                             "config.txt", "library.db", "current.m3u"})
        (void)unlink((folder + "/" + name).c_str()); /* some are made by some starts only */
    if (rmdir(folder.c_str()) != 0)
        perror(folder.c_str());
}

static int run_player(const std::string &folder)
{
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(folder.c_str()) == 0 && setenv("ZERV_DEVICE", "virtual", 1) == 0 &&
            setenv("ZERV_VIRTUAL_SCRIPT", "/dev/null", 1) == 0)
            execl("./zerv-player", "zerv-player", nullptr);
        _exit(1);
    }
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0 ? 0 : -1;
}

/* From the start of the process to its end, on a device whose script is empty. */
static void start_and_end(benchmark::State &state)
{
    const std::string folder = make_run_folder();
    bool runs = !folder.empty() && run_player(folder) == 0; /* the first makes the library */
    for (auto _ : state)
        runs = runs && run_player(folder) == 0;
    if (!runs)
        state.SkipWithError("the player does not run");
    remove_run_folder(folder);
}
BENCHMARK(start_and_end)->UseRealTime()->Unit(benchmark::kMillisecond);
