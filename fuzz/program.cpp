#include "fuzz/program.h"

#include "core/services/program.h"
#include "fuzz/program_main.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <getopt.h>
#include <unistd.h>

namespace files = std::filesystem;

constexpr size_t most_commands = 400;

[[noreturn]] static void give_up(const char *what)
{
    perror(what);
    abort(); /* the machine's fault, not the input's */
}

static std::string made_folder()
{
    char name[] = "/tmp/zerv-fuzz-XXXXXX";
    if (!mkdtemp(name))
        give_up(name);
    (void)setenv("ZERV_DEVICE", "virtual", 1);
    (void)setenv("ZERV_VIRTUAL_SCRIPT", "script", 1);
    return name;
}

static const std::string &folder()
{
    static const std::string *const name =
        new std::string(made_folder()); /* outlives remove_folder() */
    return *name;
}

static void remove_folder()
{
    std::error_code failed;
    files::remove_all(folder(), failed);
}

static void link_to(const std::string &target, const char *name)
{
    if (symlink(target.c_str(), name) != 0)
        give_up(name);
}

/* The fuzzer's own folder, where its inputs lie. */
static int start_folder()
{
    static const int folder = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder;
}

void fuzz_program_folder()
{
    if (start_folder() < 0)
        give_up(".");
    static const int registered = atexit(remove_folder);
    if (registered != 0 || chdir(folder().c_str()) != 0)
        give_up("folder");
    for (const auto &entry : files::directory_iterator("."))
        files::remove_all(entry.path());
    for (const char *name : {"font.ttf", "f.ttf", "QuenlyAquaEJ.ttf"}) /* named by seeds, default */
        link_to(FUZZ_FONT, name);
    link_to(FUZZ_SKINS, "skins");
    files::create_directory("music");
    for (const auto &entry : files::directory_iterator(FUZZ_MUSIC))
        link_to(entry.path(), ("music/" + entry.path().filename().string()).c_str());
}

void fuzz_program_pictures(const char *into)
{
    for (const auto &entry : files::directory_iterator(FUZZ_PICTURES))
        if (entry.path().extension() == ".png")
            link_to(entry.path(), (files::path(into) / entry.path().filename()).c_str());
}

void fuzz_program_write(const char *name, const void *bytes, size_t size)
{
    FILE *file = fopen(name, "wb");
    if (!file || (size > 0 && fwrite(bytes, 1, size, file) != size) || fclose(file) != 0)
        give_up(name);
}

void fuzz_program_settings(const char *list_skin, const char *play_skin)
{
    const std::string text = std::string("<cfg version=\"0.1\">") + "<skin_list>" + list_skin +
                             "</skin_list><skin_play>" + play_skin +
                             "</skin_play><font>font.ttf</font><lang>en</lang>"
                             "<library_path>music</library_path></cfg>\n";
    fuzz_program_write("config.txt", text.data(), text.size());
}

void fuzz_program_run(const std::vector<std::string> &arguments, const std::string &script)
{
    fuzz_program_write("script", script.data(), script.size());
    /* The settings' file is named, since the last run may have been told another. */
    std::vector<std::string> words = {"zerv-player", "-cconfig.txt"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> pointers;
    for (std::string &each : words)
        pointers.push_back(each.data());
    pointers.push_back(nullptr);
    optind = 0; /* getopt begins anew, and so does a program that a quit has ended */
    program_running = 1;
    (void)fuzz_player_main(static_cast<int>(words.size()), pointers.data());
    if (fchdir(start_folder()) != 0)
        give_up(".");
}

/* ---- commands ---- */

struct bytes {
    const uint8_t *at;
    size_t left;

    unsigned next()
    {
        if (left == 0)
            return 0;
        left--;
        return *at++;
    }
};

static std::string key(unsigned chosen)
{
    static const char *const keys[] = {"up",        "down",   "left",     "right",   "page_up",
                                       "page_down", "select", "menu",     "reload",  "switch",
                                       "back",      "vol_up", "vol_down", "up+down", "select+menu"};
    return keys[chosen % std::size(keys)];
}

static std::string finger(bytes &from)
{
    static const char *const kinds[] = {"press", "move", "release"};
    const std::string kind = kinds[from.next() % std::size(kinds)];
    const unsigned x = from.next() * 320 / 255, y = from.next() * 240 / 255;
    return "touch " + kind + " " + std::to_string(x) + " " + std::to_string(y);
}

static std::string rare(bytes &from)
{
    switch (from.next() % 4) {
    case 0:
        return "battery " + std::to_string(from.next() % 101);
    case 1:
        return "wall 20" + std::to_string(10 + from.next() % 90) + "-03-01T23:59:59";
    case 2:
        return "settle 200";
    default:
        return "text";
    }
}

static std::string command(bytes &from)
{
    switch (from.next() % 8) {
    case 0:
    case 1:
    case 2:
        return "key " + key(from.next());
    case 3:
        return "down " + key(from.next() % 10); /* held, and let go by the end of the script */
    case 4:
        return "up " + key(from.next() % 10);
    case 5:
        return finger(from);
    case 6:
        return "advance " + std::to_string(from.next());
    default:
        return rare(from);
    }
}

std::string fuzz_program_commands(const uint8_t *data, size_t size)
{
    bytes from = {data, size};
    std::string script = "advance 5\n";
    for (size_t count = 0; from.left > 0 && count < most_commands; count++)
        script += command(from) + "\nadvance 2\n";
    return script + "state\n";
}
