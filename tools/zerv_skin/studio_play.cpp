/* studio_play: the real player beside the studio, in a folder of its own, with the skin that is made. */
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/studio.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

constexpr int start_ms = 10000; /* until it says where it is */

using path_text = char[PATH_MAX];

static constinit pid_t player = 0;    /* 0: none */
static constinit char place[32] = ""; /* its folder */
static constinit char address[64] = "";

struct player_place {
    const char *program, *data; /* as seen from the folder of this tool */
};

/* The build's folder, and an installed player. */
static constexpr player_place player_places[] = {
    {"../player/zerv-player", "../player/"},
    {"../lib/zerv-player/zerv-player", "../share/zerv-player/"},
};

static bool find_player(path_text &program, path_text &data)
{
    path_text own = "";
    if (readlink("/proc/self/exe", own, sizeof own - 1) < 0)
        return false;
    *(strrchr(own, '/') + 1) = '\0';
    for (const player_place &each : player_places) {
        if (str_format(program, "%s%s", own, each.program) &&
            str_format(data, "%s%s", own, each.data) && access(program, X_OK) == 0)
            return true;
    }
    fprintf(stderr, "zerv-skin: there is no zerv-player beside it\n");
    return false;
}

/* ---- a folder of its own: nobody's settings and library are touched ---- */

static bool link_all(const char *from)
{
    DIR *folder = opendir(from);
    if (!folder)
        return false;
    static constexpr const char *own[] = {"config.txt", "current.m3u", "library.db",
                                          "_tmp",       ".",           ".."};
    for (const dirent *each = readdir(folder); each; each = readdir(folder)) {
        const bool skipped = std::any_of(std::begin(own), std::end(own), [&](const char *name) {
            return strcmp(name, each->d_name) == 0;
        });
        const std::string target = std::string(from) + each->d_name;
        const std::string link = std::string(place) + "/" + each->d_name;
        if (!skipped && symlink(target.c_str(), link.c_str()) != 0)
            fprintf(stderr, "zerv-skin: %s: %s\n", link.c_str(), strerror(errno));
    }
    closedir(folder);
    return true;
}

static std::string escaped(const char *text)
{
    std::string result;
    for (; *text; text++)
        result += *text == '&' ? "&amp;" : *text == '<' ? "&lt;" : std::string(1, *text);
    return result;
}

static bool write_settings(const char *skin)
{
    FILE *file = file_fopen((std::string(place) + "/config.txt").c_str(), "wb");
    if (!file)
        return false;
    const std::string path = escaped(skin);
    fprintf(file,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<cfg version=\"0.1\">\n"
            "<skin_play>%s</skin_play>\n<skin_list>%s</skin_list>\n"
            "<display_off_timeout>0</display_off_timeout>\n</cfg>\n",
            path.c_str(), path.c_str());
    return fclose(file) == 0;
}

static bool make_place(const char *data, const char *skin)
{
    (void)str_copy(place, "/tmp/zerv-studio-XXXXXX"); /* fits */
    if (!mkdtemp(place)) {
        place[0] = '\0';
        return false;
    }
    return link_all(data) && write_settings(skin);
}

/* The demo music of the build, where there is any. */
static std::vector<std::string> find_music(const char *data)
{
    std::vector<std::string> found;
    const std::string folder = std::string(data) + "../demo/music/";
    DIR *listing = opendir(folder.c_str());
    if (!listing)
        return found;
    for (const dirent *each = readdir(listing); each; each = readdir(listing)) {
        const char *ending = strrchr(each->d_name, '.');
        if (ending &&
            (!strcmp(ending, ".mp3") || !strcmp(ending, ".ogg") || !strcmp(ending, ".flac")))
            found.push_back(folder + each->d_name);
    }
    closedir(listing);
    std::sort(found.begin(), found.end());
    return found;
}

/* ---- the process ---- */

/* In the child, between fork() and exec(): nothing that allocates. */
static void become_player(const char *program, int out, const std::vector<char *> &words)
{
    (void)dup2(out, STDOUT_FILENO);
    if (chdir(place) == 0)
        execv(program, words.data());
    _exit(127);
}

/* "Zerv Player is at http://127.0.0.1:8320/ - ..." */
static bool read_address(int from)
{
    char line[256] = "";
    size_t length = 0;
    pollfd waiting = {from, POLLIN, 0};
    while (!strchr(line, '\n') && length + 1 < sizeof line && poll(&waiting, 1, start_ms) > 0) {
        const ssize_t got = read(from, line + length, sizeof line - 1 - length);
        if (got <= 0)
            break;
        length += static_cast<size_t>(got);
        line[length] = '\0';
    }
    return sscanf(line, "Zerv Player is at %63s", address) == 1;
}

static bool start(const char *program, const std::vector<char *> &words)
{
    int pipes[2] = {};
    if (pipe2(pipes, O_CLOEXEC) != 0)
        return false;
    player = fork();
    if (player == 0)
        become_player(program, pipes[1], words);
    close(pipes[1]);
    const bool told = player > 0 && read_address(pipes[0]);
    close(pipes[0]);
    return told;
}

static bool runs()
{
    if (player > 0 && waitpid(player, nullptr, WNOHANG) == 0)
        return true;
    player = 0;
    return false;
}

std::string studio_play(const studio *of, const char *within)
{
    path_text program, data, skin;
    if (runs())
        return address;
    studio_play_end();
    if (!find_player(program, data) || !realpath(of->options->subject, skin) ||
        !make_place(data, skin))
        return "";
    (void)setenv("ZERV_DEVICE", "web", 1); /* this tool has no device of its own */
    (void)setenv("ZERV_WEB_PORT", "0", 1);
    (void)setenv("ZERV_WEB_WITHIN", within, 1);
    const std::vector<std::string> music = find_music(data);
    std::vector<char *> words = {strdup("zerv-player")};
    for (const std::string &each : music)
        words.push_back(strdup(each.c_str()));
    words.push_back(nullptr);
    const bool started = start(program, words);
    for (char *each : words)
        free(each);
    if (!started)
        studio_play_end();
    return started ? address : "";
}

void studio_play_follow()
{
    if (runs())
        (void)kill(player, SIGUSR1);
}

void studio_play_end()
{
    if (player > 0) {
        (void)kill(player, SIGTERM);
        (void)waitpid(player, nullptr, 0);
    }
    player = 0;
    if (place[0])
        (void)file_remove(place); /* what cannot be removed lies among temporary files */
    place[0] = address[0] = '\0';
}
