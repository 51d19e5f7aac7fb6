#include "tools/zerv_keys/keys.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/str.h"
#include "platform/device/linux/linux_folder.h"
#include "platform/file/file.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"
#include "tools/zerv_keys/ask.h"
#include "tools/zerv_keys/terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <string>
#include <vector>

constexpr int32_t look_ms = 50; /* at the terminal, which wakes nobody */
constexpr int32_t patience_s = 20;

struct code_change {
    uint16_t code;
    bool down;
};

static constinit std::vector<code_change> changes; /* since the last look */

static constexpr char usage[] =
    "Usage: zerv-keys [-n SECONDS] [FILE]   asks for one key after the other, writes FILE "
    "(keys.txt)\n"
    "       zerv-keys --show                shows what every button, stick and finger arrives as\n"
    "\n"
    "  -n, --skip-after SECONDS  a key that is not pressed for so long is left out (20; 0: never)\n"
    "  -i, --input FOLDER        where the event devices are (/dev/input)\n"
    "  -h, --help\n";

static constexpr char what_to_do[] =
    "Press the button for each key, or several together. Hold one for three seconds to go back.\n"
    "At the terminal: Return leaves a key as it is, b goes back, w writes what there is, q ends.\n";

/* What a person reads beside the name. */
static const char *described(uint32_t mask)
{
    static constexpr struct {
        uint32_t mask;
        const char *text;
    } texts[] = {
        {key_select, "choose; play and pause"},
        {key_back, "back to the main menu"},
        {key_menu, "choose and stay; next layout"},
        {key_switch, "between lists and play screen"},
        {key_page_up, "one screen up; previous track"},
        {key_page_down, "one screen down; next track"},
        {key_vol_up, "louder"},
        {key_vol_down, "quieter"},
        {key_reload, "load the skin again; empty the playlist"},
        {key_quit, "end the player"},
        {key_hold, "a switch or button that locks the keys"},
        {key_headphones, "plug headphones in or pull them out"},
    };
    for (const auto &each : texts) {
        if (each.mask == mask)
            return each.text;
    }
    return "";
}

static void note_change(uint16_t code, bool down)
{
    changes.push_back({code, down});
}

/* One look at the devices, or until something comes. */
static void look()
{
    key_report none;
    device_current->wait(look_ms);
    (void)key_check(&none); /* codes go to note_change() */
}

/* ---- zerv-keys --show ---- */

static void show_fingers()
{
    static constexpr const char *names[] = {"", "press", "release", "move"};
    for (int32_t x = 0, y = 0, type = 0; touch_check(&x, &y, &type) == 1;)
        printf("finger %d %d %s\n", x, y, names[type]);
}

/* Which key of the player it is by itself; "" when it is none. */
static const char *meaning_of(uint16_t code)
{
    const key_map *map = key_map_current();
    const key_binding *end = map->all + map->count;
    const key_binding *found = std::find_if(map->all, end, [=](const key_binding &each) {
        return each.count == 1 && each.codes[0] == code;
    });
    for (size_t i = 0; found != end && i < key_name_count; i++) {
        if (key_names[i].mask == found->mask)
            return key_names[i].name;
    }
    return "";
}

static int show_all()
{
    printf("Ctrl-C ends this.\n");
    while (terminal_next() != -1) {
        look();
        for (const code_change &each : changes) {
            key_code_text name;
            key_code_write(each.code, name);
            const char *meaning = each.down ? meaning_of(each.code) : "";
            printf("%s %s%s%s\n", name, each.down ? "down" : "up", *meaning ? ": " : "", meaning);
        }
        changes.clear();
        show_fingers();
        fflush(stdout);
    }
    return 0;
}

/* ---- asking ---- */

static void ask_next(const ask_session &session)
{
    if (session.at >= key_name_count)
        return;
    const key_name &name = key_names[session.at];
    const char *more = described(name.mask);
    printf("%s%s%s%s: ", name.name, *more ? " (" : "", more, *more ? ")" : "");
    fflush(stdout);
}

static void tell(const ask_session &session, const ask_result &result)
{
    if (result.outcome == ask_outcome::waiting)
        return;
    if (result.outcome == ask_outcome::taken)
        printf("%s\n", ask_chord_text(session.answers[session.at - 1]).c_str());
    if (result.outcome == ask_outcome::known)
        printf("that is %s already\n", key_names[result.other].name);
    if (result.outcome == ask_outcome::back)
        printf("back\n");
    ask_next(session);
}

enum class asking { goes_on, done, ended };

static asking obey(ask_session *session, int letter)
{
    if (letter == 'q' || letter == -1)
        return asking::ended;
    if (letter == 'w')
        return asking::done;
    if (letter != '\n' && letter != '\r' && letter != 'b')
        return asking::goes_on;
    printf("%s\n", letter == 'b' ? "back" : "-");
    letter == 'b' ? ask_back(session) : ask_skip(session);
    ask_next(*session);
    return asking::goes_on;
}

/* One look, and what it brought. */
static bool take_changes(ask_session *session)
{
    bool any = false;
    look();
    const int64_t now = clock_real_msec();
    for (const code_change &each : changes) {
        tell(*session, ask_code(session, each.code, each.down, now));
        any = true;
    }
    changes.clear();
    tell(*session, ask_time(session, now));
    return any;
}

static asking ask_all(ask_session *session, int32_t skip_after_s)
{
    int64_t since = clock_real_msec();
    uint32_t at = session->at;
    ask_next(*session);
    while (session->at < key_name_count) {
        const bool any = take_changes(session);
        const asking next = obey(session, terminal_next());
        if (next != asking::goes_on)
            return next;
        if (any || session->at != at)
            since = clock_real_msec();
        if (skip_after_s > 0 && clock_real_msec() - since >= int64_t{skip_after_s} * 1000)
            (void)obey(session, '\n');
        at = session->at;
    }
    return asking::done;
}

/* What was there before is kept beside it. */
static int write_map(const ask_session &session, const char *path)
{
    const std::string text = ask_text(session);
    if (text.empty()) {
        printf("\nNothing was pressed: nothing is written.\n");
        return 1;
    }
    if (file_keep_old(path) != 0 || file_replace_all(path, text.data(), text.size()) != 0) {
        fprintf(stderr, "zerv-keys: cannot write %s: %s\n", path, strerror(errno));
        return 2;
    }
    printf("\n%s is written. The player reads it when it starts.\n", path);
    return 0;
}

static int ask_and_write(int32_t skip_after_s, const char *path)
{
    static ask_session session = {};
    printf("%s\n", what_to_do);
    if (ask_all(&session, skip_after_s) == asking::done)
        return write_map(session, path);
    printf("\nEnded: nothing is written.\n");
    return 1;
}

/* ---- the program ---- */

struct options {
    bool show = false, help = false;
    int32_t skip_after_s = patience_s;
    const char *path = key_map_file_name;
};

/* 0, or -1 when it was called wrongly. */
static int read_options(int argc, char **argv, options *to)
{
    static constexpr option known[] = {{"show", no_argument, nullptr, 's'},
                                       {"skip-after", required_argument, nullptr, 'n'},
                                       {"input", required_argument, nullptr, 'i'},
                                       {"help", no_argument, nullptr, 'h'},
                                       {}};
    const char *rest = "";
    for (int found = 0; (found = getopt_long(argc, argv, "sn:i:h", known, nullptr)) != -1;) {
        if (found == '?')
            return -1;
        to->show |= found == 's';
        to->help |= found == 'h';
        if (found == 'i')
            linux_input_folder = optarg;
        if (found == 'n')
            to->skip_after_s = str_to_int32(optarg, &rest);
        if (found == 'n' && (*optarg == '\0' || *rest || to->skip_after_s < 0))
            return -1;
    }
    if (optind < argc)
        to->path = argv[optind++];
    return optind == argc ? 0 : -1;
}

static int open_devices()
{
    device_current = &device_linux;
    key_code_listener = note_change;
    const bool opened = key_open() == 0 && touch_open() == 0;
    changes.clear(); /* how the switches stand was not pressed */
    if (opened)
        return 0;
    fprintf(stderr, "zerv-keys: cannot read the event devices: %s\n", strerror(errno));
    return -1;
}

int keys_main(int argc, char **argv)
{
    options wanted;
    if (read_options(argc, argv, &wanted) != 0) {
        fputs(usage, stderr);
        return 2;
    }
    if (wanted.help) {
        fputs(usage, stdout);
        return 0;
    }
    if (open_devices() != 0)
        return 2;
    terminal_open();
    const int status = wanted.show ? show_all() : ask_and_write(wanted.skip_after_s, wanted.path);
    terminal_close();
    (void)touch_close(); /* nothing is lost */
    (void)key_close();
    return status;
}
