/* device_virtual_script: runs the commands of a script, one after the other, pass by pass. */
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "platform/device/virtual/device_virtual.h"
#include "platform/device/virtual/device_virtual_lines.h"
#include "platform/file/file_later.h"
#include "platform/input/drop.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"

#include <cstdio>
#include <cstring>

constexpr int words_most = 4; /* of the longest command that is taken apart */
constexpr int32_t settle_default_ms = 10000;
constexpr int32_t settle_after_ms = 2;
constexpr int32_t wait_most_ms = 10000;

/* What a command did. */
enum class script_outcome {
    done, /* the next command may follow at once */
    pass, /* the main loop has to run a pass first */
    bad,  /* refused; `refusal` says why */
};

struct script_command {
    const char *name;
    int words_least, words_most; /* arguments; 1, -1: the rest of the line is one */
    script_outcome (*run)(char *const *words, int count);
};

/* Main thread. */
static constinit int32_t line_number = 0;
static constinit int status = 0;
static constinit bool quitting =
    false; /* the script has ended: the quit key until the program ends */
static constinit int64_t busy_until_ms = 0;
static constinit const char *answer_after = nullptr; /* printed once busy_until_ms is reached */
static constinit char wait_text[1024] = {};          /* what is waited for, empty: nothing */
static constinit const char *refusal = "";

static script_outcome refuse(const char *why)
{
    refusal = why;
    return script_outcome::bad;
}

/* True when this pass is spent on letting time go by. */
static bool let_time_pass()
{
    if (virtual_msec() >= busy_until_ms)
        return false;
    if (!virtual_is_realtime())
        virtual_tick();
    return true;
}

static script_outcome begin_time(int32_t ms)
{
    busy_until_ms = virtual_msec() + ms;
    return let_time_pass() ? script_outcome::pass : script_outcome::done;
}

static script_outcome run_advance(char *const *words, int)
{
    int32_t ms = 0;
    if (virtual_word_number(words[0], &ms) != 0 || ms < 0)
        return refuse("the time is not a number of milliseconds");
    return begin_time(ms);
}

static script_outcome send_keys(const char *word, bool down, bool up)
{
    uint32_t mask = 0;
    if (virtual_word_keys(word, &mask) != 0)
        return refuse("there is no such key");
    if (down)
        key_event(mask, true);
    if (up)
        key_event(mask, false);
    return script_outcome::pass;
}

static script_outcome run_key(char *const *words, int)
{
    return send_keys(words[0], true, true);
}

static script_outcome run_down(char *const *words, int)
{
    return send_keys(words[0], true, false);
}

static script_outcome run_up(char *const *words, int)
{
    return send_keys(words[0], false, true);
}

/* What a device of codes would report, so that a script can try a key map. */
static script_outcome run_code(char *const *words, int)
{
    const int32_t code = key_code_find(words[0], strlen(words[0]));
    const bool down = strcmp(words[1], "down") == 0;
    if (code < 0)
        return refuse("there is no such code");
    if (!down && strcmp(words[1], "up") != 0)
        return refuse("a code goes down or up");
    key_code_event(static_cast<uint16_t>(code), down);
    return script_outcome::pass;
}

static int32_t touch_type(const char *word)
{
    if (strcmp(word, "press") == 0)
        return touch_type_press;
    if (strcmp(word, "move") == 0)
        return touch_type_move;
    return strcmp(word, "release") == 0 ? touch_type_release : 0;
}

static script_outcome run_touch(char *const *words, int)
{
    const int32_t type = touch_type(words[0]);
    int32_t x = 0, y = 0;
    if (type == 0)
        return refuse("the finger can press, move and release");
    if (virtual_word_number(words[1], &x) != 0 || virtual_word_number(words[2], &y) != 0)
        return refuse("the point is not two numbers");
    touch_event(type, x, y);
    return script_outcome::pass;
}

/* Several may follow one another before the pass that takes them as one drop. */
static script_outcome run_drop(char *const *words, int)
{
    drop_event(words[0]);
    return script_outcome::done;
}

static script_outcome run_dropped(char *const *, int)
{
    drop_end();
    return script_outcome::pass;
}

static script_outcome run_title(char *const *, int)
{
    virtual_answer_title();
    return script_outcome::done;
}

static script_outcome run_battery(char *const *words, int)
{
    int32_t percent = 0;
    if (virtual_word_number(words[0], &percent) != 0 || percent < 0 || percent > 100)
        return refuse("the level is not between 0 and 100");
    virtual_set_battery(percent);
    return script_outcome::done;
}

static script_outcome run_wall(char *const *words, int)
{
    int64_t seconds = 0;
    if (virtual_word_wall(words[0], &seconds) != 0)
        return refuse("the time is not YYYY-MM-DDThh:mm:ss");
    virtual_set_wall(seconds);
    return script_outcome::done;
}

static script_outcome run_settle(char *const *words, int count)
{
    int32_t ms = settle_default_ms;
    if (count > 0 && (virtual_word_number(words[0], &ms) != 0 || ms < 0))
        return refuse("the time is not a number of milliseconds");
    answer_after = thread_settle(ms) == 0 ? "settled" : "busy";
    return begin_time(settle_after_ms);
}

static script_outcome run_wait(char *const *words, int)
{
    if (virtual_screen_has_text(words[0])) {
        printf("found\n");
        return script_outcome::done;
    }
    if (!str_copy(wait_text, words[0]))
        return refuse("the text is too long");
    return begin_time(wait_most_ms);
}

static script_outcome run_screenshot(char *const *words, int)
{
    return virtual_answer_screenshot(words[0]) == 0 ? script_outcome::done
                                                    : refuse("the picture cannot be written");
}

static script_outcome run_pixel(char *const *words, int)
{
    int32_t x = 0, y = 0;
    if (virtual_word_number(words[0], &x) != 0 || virtual_word_number(words[1], &y) != 0 ||
        virtual_answer_pixel(x, y) != 0)
        return refuse("the point is not on the screen");
    return script_outcome::done;
}

static script_outcome run_text(char *const *, int)
{
    virtual_answer_text();
    return script_outcome::done;
}

static script_outcome run_state(char *const *, int)
{
    virtual_answer_state();
    return script_outcome::done;
}

static script_outcome run_echo(char *const *words, int count)
{
    printf("%s\n", count > 0 ? words[0] : "");
    return script_outcome::done;
}

/* Ends the program also while the keys are locked: a script has no other way out. */
static script_outcome press_quit()
{
    if (key_is_locked())
        key_lock(false);
    key_event(key_quit, true);
    key_event(key_quit, false);
    return script_outcome::pass;
}

static script_outcome run_quit(char *const *, int)
{
    return press_quit();
}

static const script_command commands[] = {
    {"advance", 1, 1, run_advance}, {"key", 1, 1, run_key},
    {"down", 1, 1, run_down},       {"up", 1, 1, run_up},
    {"touch", 3, 3, run_touch},     {"battery", 1, 1, run_battery},
    {"wall", 1, 1, run_wall},       {"settle", 0, 1, run_settle},
    {"wait", 1, -1, run_wait},      {"screenshot", 1, -1, run_screenshot},
    {"pixel", 2, 2, run_pixel},     {"text", 0, 0, run_text},
    {"state", 0, 0, run_state},     {"echo", 0, -1, run_echo},
    {"drop", 1, -1, run_drop},      {"dropped", 0, 0, run_dropped},
    {"title", 0, 0, run_title},     {"quit", 0, 0, run_quit},
    {"code", 2, 2, run_code},
};

/* Cuts the first word off `text` and returns what follows it, without leading blanks. */
static char *cut_word(char *text)
{
    char *end = text + strcspn(text, " \t");
    if (*end)
        *end++ = 0;
    return end + strspn(end, " \t");
}

/* A "#" inside a word is part of it. */
static void cut_comment(char *line)
{
    for (char *at = strchr(line, '#'); at; at = strchr(at + 1, '#')) {
        if (at == line || at[-1] == ' ' || at[-1] == '\t') {
            *at = 0;
            return;
        }
    }
}

static script_outcome run_command(const script_command *which, char *rest)
{
    char *words[words_most] = {};
    int count = 0;
    if (which->words_most < 0 && *rest)
        words[count++] = rest;
    while (which->words_most >= 0 && *rest && count < words_most) {
        words[count++] = rest;
        rest = cut_word(rest);
    }
    if (count < which->words_least || (which->words_most >= 0 && count > which->words_most))
        return refuse("the number of arguments is wrong");
    return which->run(words, count);
}

static script_outcome run_line(char *line)
{
    cut_comment(line);
    str_strip(line);
    if (*line == 0)
        return script_outcome::done;
    char *rest = cut_word(line);
    for (const script_command &each : commands) {
        if (strcmp(each.name, line) == 0)
            return run_command(&each, rest);
    }
    return refuse("there is no such command");
}

static void fail(const char *why)
{
    printf("error: %d: %s\n", line_number, why);
    status = -1;
    quitting = true;
}

/* True while an earlier command keeps the passes to itself. */
static bool go_on()
{
    const bool found = wait_text[0] && virtual_screen_has_text(wait_text);
    if (found)
        busy_until_ms = 0;
    if (let_time_pass())
        return true;
    if (wait_text[0])
        answer_after = found ? "found" : "missing";
    wait_text[0] = 0;
    if (answer_after)
        printf("%s\n", answer_after);
    answer_after = nullptr;
    return false;
}

/* True when the next command may follow in this pass. */
static bool run_next()
{
    char *line = nullptr;
    file_later_settle(); /* a script sees the files that its commands changed */
    fflush(stdout);      /* whoever writes the next line may be waiting for this answer */
    const virtual_line got = virtual_lines_next(&line, !virtual_is_realtime());
    if (got == virtual_line::none)
        return false;
    if (got == virtual_line::end) {
        quitting = true;
        return true;
    }
    line_number++;
    const script_outcome result =
        got == virtual_line::some ? run_line(line) : refuse("the line is bad");
    if (result == script_outcome::bad)
        fail(refusal);
    return result != script_outcome::pass;
}

int virtual_script_open()
{
    line_number = 0;
    status = 0;
    quitting = false;
    busy_until_ms = 0;
    answer_after = nullptr;
    wait_text[0] = 0;
    return virtual_lines_open();
}

void virtual_script_close()
{
    virtual_lines_close();
}

int virtual_script_status()
{
    return status;
}

void virtual_script_poll()
{
    bool more = !go_on();
    while (more && !quitting) {
        more = run_next();
        /* A zero-length wait or settle answers without a pass. */
        more = more && !go_on();
    }
    if (quitting)
        (void)press_quit();
    fflush(stdout);
}
