/* bench_scan: how fast a music folder becomes a library, beside a plain loop that only reads the
 * same tags.
 *
 *     bench_scan [FILES]        20000 by default; every run is a process of its own
 */
#include "config/cfg.h"
#include "library/library.h"
#include "library/library_scan.h"
#include "platform/audio/audio.h"
#include "tests/makers/maker_audio.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <linux/perf_event.h>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <unistd.h>

constexpr int default_files = 20000;
constexpr int files_a_folder = 12;
constexpr int rounds = 3;

struct run {
    const char *title;
    const char *what; /* "loop" or "scan" */
    int cores;
};

static const run runs[] = {
    {"plain loop over the tags, 1 core", "loop", 1},
    {"scan, 1 core", "scan", 1},
    {"scan, 2 cores", "scan", 2},
};

struct figures {
    double seconds;
    double busy;         /* seconds of all cores, which other programs disturb less */
    double instructions; /* below 0 when the machine does not count them */
    long peak_kib;
};

/* ---- One run, in a process of its own ---- */

static double now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

static double busy_seconds()
{
    rusage used;
    getrusage(RUSAGE_SELF, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1e6;
}

static int count_instructions()
{
    perf_event_attr wanted = {};
    wanted.type = PERF_TYPE_HARDWARE;
    wanted.size = sizeof(wanted);
    wanted.config = PERF_COUNT_HW_INSTRUCTIONS;
    wanted.exclude_kernel = 1;
    wanted.inherit = 1;
    return static_cast<int>(syscall(SYS_perf_event_open, &wanted, 0, -1, -1, 0));
}

static double instructions_of(int counter)
{
    uint64_t count = 0;
    return counter >= 0 && read(counter, &count, sizeof(count)) == sizeof(count)
               ? static_cast<double>(count)
               : -1;
}

static long peak_kib()
{
    char line[256];
    long kib = 0;
    FILE *status = fopen("/proc/self/status", "r");
    while (status && fgets(line, sizeof(line), status))
        if (strncmp(line, "VmHWM:", 6) == 0)
            kib = strtol(line + 6, nullptr, 10);
    if (status)
        fclose(status);
    return kib;
}

/* The names come from a list, so that the loop does nothing but read tags. */
static size_t read_tags(const char *list)
{
    char path[4096];
    size_t bytes = 0;
    FILE *names = fopen(list, "r");
    while (names && fgets(path, sizeof(path), names)) {
        path[strcspn(path, "\n")] = '\0';
        const TagLib::FileRef file(path, false);
        if (file.isNull() || !file.tag())
            continue;
        const TagLib::Tag *tag = file.tag();
        bytes += tag->title().to8Bit(true).size() + tag->artist().to8Bit(true).size() +
                 tag->album().to8Bit(true).size() + tag->genre().to8Bit(true).size() + tag->year();
    }
    if (names)
        fclose(names);
    return bytes;
}

static int scan_music()
{
    snprintf(cfg_library_path, sizeof(cfg_library_path), "music");
    if (audio_init() != 0 || library_open() != 0)
        return -1;
    const int result = library_scan();
    return library_close() == 0 ? result : -1;
}

static void use_cores(int cores)
{
    cpu_set_t all;
    cpu_set_t some;
    CPU_ZERO(&some);
    if (sched_getaffinity(0, sizeof(all), &all) != 0)
        return;
    for (int cpu = 0; cpu < CPU_SETSIZE && cores > 0; cpu++)
        if (CPU_ISSET(cpu, &all)) {
            CPU_SET(cpu, &some);
            cores--;
        }
    (void)sched_setaffinity(0, sizeof(some), &some);
}

static int run_one(const char *what, int cores)
{
    use_cores(cores);
    const int counter = count_instructions();
    const double busy = busy_seconds();
    const double begin = now();
    const bool good = strcmp(what, "loop") == 0 ? read_tags("names") > 0 : scan_music() == 0;
    const double seconds = now() - begin;
    printf("%f %f %f %ld\n", seconds, busy_seconds() - busy, instructions_of(counter), peak_kib());
    return good ? 0 : 1;
}

/* ---- All runs ---- */

static bool run_in_process(const char *program, const run &one, figures *out)
{
    (void)unlink("library.db");
    const std::string command =
        std::string("'") + program + "' --run " + one.what + " " + std::to_string(one.cores);
    FILE *answer = popen(command.c_str(), "r");
    const bool read = answer && fscanf(answer, "%lf %lf %lf %ld", &out->seconds, &out->busy,
                                       &out->instructions, &out->peak_kib) == 4;
    return answer && pclose(answer) == 0 && read;
}

/* The fastest of a few rounds: the others were disturbed. */
static bool measure(const char *program, const run &one, figures *best)
{
    best->seconds = -1;
    for (int i = 0; i < rounds; i++) {
        figures found = {};
        if (!run_in_process(program, one, &found))
            return false;
        if (best->seconds < 0 || found.seconds < best->seconds)
            *best = found;
    }
    return true;
}

static bool make_file(int n, FILE *names)
{
    static const char *const extensions[] = {"mp3", "mp3", "mp3", "ogg", "flac"};
    const int album = n / files_a_folder;
    maker_file file;
    file.seconds = 0.1;
    file.title = "Title of a track " + std::to_string(n);
    file.artist = "Artist " + std::to_string(album / 3);
    file.album = "Album " + std::to_string(album);
    file.year = std::to_string(1960 + album % 60);
    file.genre = album % 3 ? "Rock" : "Jazz";
    char path[256];
    snprintf(path, sizeof(path), "music/artist %d", album / 3);
    (void)mkdir(path, 0755);
    snprintf(path, sizeof(path), "music/artist %d/album %d", album / 3, album);
    (void)mkdir(path, 0755);
    snprintf(path, sizeof(path), "music/artist %d/album %d/%02d title.%s", album / 3, album,
             n % files_a_folder, extensions[n % 5]);
    fprintf(names, "%s\n", path);
    return maker_track(path, file) == 0;
}

static bool make_music(int files)
{
    FILE *names = fopen("names", "w");
    bool good = names && mkdir("music", 0755) == 0;
    for (int n = 0; n < files && good; n++)
        good = make_file(n, names);
    return names && fclose(names) == 0 && good;
}

static bool print_table(const char *program, int files)
{
    printf("%-34s %8s %8s %8s %8s %9s %9s\n", "scan of a music folder", "seconds", "busy",
           "files/s", "to loop", "instr.", "peak KiB");
    double loop = 0;
    for (const run &one : runs) {
        figures best = {};
        if (!measure(program, one, &best))
            return false;
        if (loop == 0)
            loop = best.seconds;
        char instructions[32] = "-";
        if (best.instructions >= 0)
            snprintf(instructions, sizeof(instructions), "%.0f", best.instructions / files);
        printf("%-34s %8.3f %8.3f %8.0f %8.2f %9s %9ld\n", one.title, best.seconds, best.busy,
               files / best.seconds, best.seconds / loop, instructions, best.peak_kib);
    }
    return true;
}

static bool bench(int files)
{
    char program[4096];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof(program) - 1);
    char folder[] = "/tmp/zerv-bench-XXXXXX";
    if (length <= 0 || !mkdtemp(folder) || chdir(folder) != 0)
        return false;
    program[length] = '\0';
    const bool good = make_music(files) && print_table(program, files);
    const std::string command = std::string("rm -rf ") + folder;
    return chdir("/") == 0 && system(command.c_str()) == 0 && good;
}

int main(int count, char **arguments)
{
    if (count == 4 && strcmp(arguments[1], "--run") == 0)
        return run_one(arguments[2], atoi(arguments[3]));
    const int files = count > 1 ? atoi(arguments[1]) : default_files;
    if (files < 1) {
        fprintf(stderr, "usage: %s [FILES]\n", arguments[0]);
        return 1;
    }
    printf("%d files, best of %d\n", files, rounds);
    if (bench(files))
        return 0;
    fprintf(stderr, "%s: failed\n", arguments[0]);
    return 1;
}
