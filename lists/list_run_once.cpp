/* list_run_once: greets a new user, who picks a language and may have the library built. */
#include "lists/list_run_once.h"

#include "config/cfg.h"
#include "core/lang/lang.h"
#include "lists/list_main.h"
#include "lists/lists.h"
#include "lists/record/list.h"
#include "platform/base/str.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <cassert>
#include <cstring>

enum { step_language = 0, step_library = 1, step_done = 2 };
enum { row_yes = 0 };

/* Main thread. */
static constinit int32_t step = step_language;
static constinit int32_t cursor_seen = -1; /* language that is tried */

static constexpr const char *answers[] = {"Yes", "No"};
constexpr uint32_t answer_count = 2;

static const char *language_name(uint32_t row)
{
    assert(row < lang_count);
    return lang_get_name(lang_list[row]);
}

static const char *answer(uint32_t row)
{
    assert(row < answer_count);
    return answers[row];
}

/* What a step shows. */
struct dialogue_step {
    uint32_t count;
    const char *(*text)(uint32_t row);
    const char *subtitle;
};

static constexpr dialogue_step dialogue[] = {
    {lang_count, language_name, ""},
    {answer_count, answer, "Do you want to update the media library now?"},
    {0, nullptr, ""},
};

static int update(view *, list *)
{
    const dialogue_step *shown = &dialogue[step];
    char **items = list_items_new(shown->count);
    for (uint32_t i = 0; items && i < shown->count; i++)
        items[i] = strdup(shown->text(i));
    sys_guard guard(list_lock);
    list_set_rows(list_run_once, items, items ? shown->count : 0);
    (void)str_copy(list_run_once->title, "Welcome!");
    (void)str_copy(list_run_once->subtitle, shown->subtitle);
    return 0;
}

static int init()
{
    return update(nullptr, nullptr);
}

static int exit_list()
{
    return 0;
}

static bool is_language(int32_t row)
{
    return row >= 0 && row < lang_count;
}

/* A language is tried as soon as the cursor stands on it. */
static int input(view *screen, list *self)
{
    const int32_t cursor = list_cursor(self);
    if (step != step_language || !screen->key_checked || cursor == cursor_seen)
        return 0;
    cursor_seen = cursor;
    if (is_language(cursor_seen) && lang_select(lang_list[cursor_seen]) == 0) {
        (void)update(nullptr, nullptr);
        screen->redraw = 1;
    }
    return 0;
}

static void choose_language(int32_t row)
{
    if (lang_select(lang_list[row]) == 0) {
        (void)str_copy(cfg_lang, lang_selected);
        cfg_modified = 1;
    }
    step++;
}

static void enter_step(view *screen, list *self)
{
    (void)update(nullptr, nullptr);
    list_set_cursor(self, 0);
    screen->redraw = 1;
}

/* The menu key and those behind it do nothing here. */
static int select(view *screen, list *self, int32_t index, int32_t mode)
{
    if (mode >= list_mode_menu)
        return 0;
    if (index == -1) {
        if (step == step_language)
            return 0;
        step--;
    } else if (index < 0 || static_cast<uint32_t>(index) >= list_count(self)) {
        return 0;
    } else if (step == step_language) {
        choose_language(index);
    } else {
        if (index == row_yes)
            (void)list_main_on_update_library(); /* its message tells */
        (void)view_list_select(list_main);
        return 0;
    }
    enter_step(screen, self);
    return 0;
}

constinit list list_run_once_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};

void list_run_once_ask_library()
{
    step = step_library;
    (void)update(nullptr, nullptr);
}
