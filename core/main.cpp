/* main: brings the program up, runs it, takes it down. With rooms.cpp the one place that knows every room. */
#include "config/cfg.h"
#include "core/desktop.h"
#include "core/key_watch.h"
#include "core/lang/lang.h"
#include "core/loop.h"
#include "core/rooms.h"
#include "core/services/program.h"
#include "core/steps.h"
#include "core/subjects.h"
#include "library/library.h"
#include "lists/list_run_once.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/heap.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "platform/device/sys.h"
#include "platform/draw/fb.h"
#include "platform/file/file_later.h"
#include "platform/font/font.h"
#include "platform/input/key.h"
#include "platform/input/touch.h"
#include "platform/net/sock.h"
#include "platform/sound/sound.h"
#include "play/play.h"
#include "skin/skin.h"
#include "update/update.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <iterator>
#include <string_view>
#include <unistd.h>

constexpr int32_t update_wait_ms = 30000; /* half-replaced files would not start again */
constexpr int32_t worker_wait_ms = 2000;
constexpr unsigned patience_s = 20; /* from a signal to the end; the slowest card saves in less */
constexpr int end_signals[] = {SIGTERM, SIGINT, SIGHUP};

/* Main thread. */
static constinit const char *config_path = "config.txt";
static constinit bool config_was_read = false;

/* ---- start-up ---- */

static int open_sound()
{
    return sound_open(play_sound_callback, nullptr);
}

/* Without a file, or with a bad one, what could not be read keeps its default. */
static int load_settings()
{
    cfg_load_default();
    config_was_read = cfg_load(config_path) == 0;
    return 0;
}

static int open_font()
{
    return font_open(cfg_font);
}

static int apply_settings()
{
    (void)lang_select(cfg_lang); /* a language that is not known leaves none selected */
    (void)sound_set_volume(&cfg_vol, &cfg_vol);
    loop_note_input();
    return 0;
}

static int open_screen()
{
    return fb_open(device_width, device_height);
}

static int begin_saving()
{
    file_later_begin();
    return 0;
}

static constexpr program_step start_steps[] = {
    {.name = "sys_init", .message = "sys_init falied", .run = sys_init},
    {.name = "program_init",
     .message = "program_init falied",
     .run = program_init,
     .asks_fault = true},
    {.name = "sock_init", .message = "sock_init falied", .run = sock_init},
    {.name = "key_open", .message = "key_open failed", .run = key_open},
    {.name = "touch_open", .message = "touch_open failed", .run = touch_open},
    {.name = "sound_open", .message = "sound_open failed", .run = open_sound},
    {.name = "audio_init", .message = "audio_init failed", .run = audio_init},
    {.name = "skin_init", .message = "skin_init falied", .run = skin_init, .asks_fault = true},
    {.name = "cfg_load", .message = nullptr, .run = load_settings},
    {.name = "font_open", .message = "font_open failed", .run = open_font, .subject = subject_font},
    {.name = "apply_settings", .message = nullptr, .run = apply_settings},
    {.name = "play_init", .message = "play_init falied", .run = play_init},
    {.name = "library_open",
     .message = "library_open falied",
     .run = library_open,
     .asks_fault = true,
     .subject = subject_library},
    {.name = "fb_open", .message = "fb_open failed", .run = open_screen},
    {.name = "file_later_begin", .message = nullptr, .run = begin_saving},
    {.name = "view_init",
     .message = "view_init falied",
     .run = view_init,
     .asks_fault = true,
     .subject = subject_skins},
};

/* Whoever starts the program with settings of its own making may still have it greet the user: from
 * the choice of a language on, or from the question about the library. */
static list *choose_first_list()
{
    const char *set = getenv("ZERV_FIRST_START");
    const std::string_view wish = set ? set : "";
    const bool ask_library = wish == "library", greet = ask_library || wish == "language";
    (void)unsetenv("ZERV_FIRST_START"); /* once: an update starts the program again */
    if (!config_was_read || !greet)
        return config_was_read ? list_main : list_run_once;
    if (ask_library)
        list_run_once_ask_library();
    return list_run_once;
}

static void choose_first_screen()
{
    (void)view_list_select(choose_first_list());
    view_select(view_list);
}

/* The files named on the command line are queued; the last one plays. */
static void queue_files(int count, char **paths)
{
    for (int i = 0; i < count; i++)
        (void)list_cur_playlist_add(paths[i], nullptr, nullptr); /* named twice: queued once */
    if (count == 0)
        return;
    (void)list_cur_playlist->update(nullptr, list_cur_playlist);
    (void)play_begin(paths[count - 1]); /* the play screen shows what became of it */
    view_select(view_play);
}

/* ---- shutdown ---- */

static int save_settings()
{
    if (cfg_modified)
        (void)cfg_save(config_path); /* a read-only folder keeps its settings */
    return 0;
}

static int end_saving()
{
    file_later_end();
    return 0;
}

static constexpr program_step stop_steps[] = {
    {.name = "file_later_end", .message = nullptr, .run = end_saving},
    {.name = "view_exit", .message = "view_exit falied", .run = view_exit, .asks_fault = true},
    {.name = "library_close",
     .message = "library_close falied",
     .run = library_close,
     .asks_fault = true},
    {.name = "skin_exit", .message = "skin_exit falied", .run = skin_exit, .asks_fault = true},
    {.name = "play_exit", .message = "play_exit falied", .run = play_exit},
    {.name = "audio_exit", .message = "audio_exit failed", .run = audio_exit},
    {.name = "sound_close", .message = "sound_close failed", .run = sound_close},
    {.name = "touch_close", .message = "touch_close failed", .run = touch_close},
    {.name = "key_close", .message = "key_close failed", .run = key_close},
    {.name = "font_close", .message = "font_close failed", .run = font_close},
    {.name = "fb_close", .message = "fb_close failed", .run = fb_close},
    {.name = "cfg_save", .message = nullptr, .run = save_settings},
    {.name = "sock_exit", .message = "sock_exit falied", .run = sock_exit},
    {.name = "program_exit",
     .message = "program_exit falied",
     .run = program_exit,
     .asks_fault = true},
    {.name = "sys_exit", .message = "sys_exit falied", .run = sys_exit},
};

/* ---- the process ---- */

/* Only what a signal handler may do: atomic stores, a wake-up, an alarm. */
static void end_by_signal(int)
{
    program_running = 0;
    program_restarting = 0; /* asked for or not: who sends a signal wants the end */
    clock_wake();
    (void)alarm(patience_s); /* whatever the main thread hangs on */
}

static void load_skins_by_signal(int)
{
    desktop_ask_for_skins();
}

/* The patience is over. Files that an update replaces become whole first. */
static void end_at_once(int)
{
    if (program_stay_tuned) {
        (void)alarm(patience_s);
        return;
    }
    if (device_current && device_current->rescue)
        device_current->rescue();
    _exit(255);
}

static void catch_signals()
{
    struct sigaction action = {};
    action.sa_handler = end_by_signal;
    action.sa_flags = SA_RESTART; /* files being written are not torn */
    sigemptyset(&action.sa_mask);
    for (const int each : end_signals)
        (void)sigaction(each, &action, nullptr); /* these can be caught */
    action.sa_handler = load_skins_by_signal;
    (void)sigaction(SIGUSR1, &action, nullptr);
    action.sa_handler = end_at_once;
    (void)sigaction(SIGALRM, &action, nullptr);
    /* A reader of our output or a server that goes away is an error of that write, no end. */
    (void)signal(SIGPIPE, SIG_IGN);
}

static void describe_program(device_program_state *state)
{
    state->view = view_selected == view_play ? "play" : "list";
    state->sliding = view_anime_started != 0;
    state->paused = play_paused != 0;
    state->pos_ms = play_pos;
    (void)play_copy_path(state->playing); /* empty when nothing plays */
}

/* 0, or -1 for an option that is not known; getopt has said so. */
static int read_options(int argc, char **argv)
{
    static constexpr option long_options[] = {{"config", required_argument, nullptr, 'c'}, {}};
    for (int found = 0; (found = getopt_long(argc, argv, "c:", long_options, nullptr)) != -1;) {
        if (found == '?')
            return -1;
        if (found == 'c')
            config_path = optarg;
    }
    return 0;
}

static int start(int argc, char **argv)
{
    if (read_options(argc, argv) != 0 || steps_start(start_steps, std::size(start_steps)) != 0)
        return -1;
    /* Shuffling draws from it. The device's clock, so that a script plays the same order again. */
    srand(static_cast<unsigned>(clock_wall()));
    choose_first_screen();
    key_watch_begin();
    (void)update_check(); /* the program runs without */
    queue_files(argc - optind, argv + optind);
    return 0;
}

/* Leaving through exit() would run the libraries' own clean-up under a worker that still uses
 * them. */
static int leave(int status)
{
    if (thread_settle(worker_wait_ms) == 0)
        return status;
    (void)fflush(nullptr);
    _exit(status & 0xFF);
}

/* From here on a signal ends the process by itself; one that came before has taken the restart
 * back. Returns only when there is no restart, or none is possible. */
static void start_again(char **argv)
{
    for (const int each : end_signals)
        (void)signal(each, SIG_DFL);
    if (!program_restarting)
        return;
    update_hand_over();
    (void)execv(argv[0], argv);
}

int main(int argc, char **argv)
{
    heap_begin();
    rooms_fill();
    device_ask_program = describe_program;
    device_woke = loop_woke;
    loop_desktop = desktop_pass;
    catch_signals();
    int status = start(argc, argv);
    if (status == 0)
        loop_run();
    if (steps_stop(stop_steps, std::size(stop_steps)) != 0 || sys_status() != 0)
        status = -1;
    update_wait(update_wait_ms);
    if (program_restarting)
        start_again(argv);
    return leave(status);
}
