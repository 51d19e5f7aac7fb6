#include "update/update.h"

#include "core/services/program.h"
#include "platform/base/clock.h"
#include "platform/base/lock.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "platform/file/file.h"
#include "update/update_chain.h"
#include "update/update_download.h"
#include "update/update_package.h"
#include "update/update_signature.h"
#include "update/update_unpack.h"

#include <cstring>
#include <ctime>
#include <sys/stat.h>

constexpr char scratch_folder[] = "_tmp";
constexpr char package_path[] = "_tmp/update.zip";
constexpr char key_path[] = "update.key";
constexpr long wait_step_ns = 10'000'000;

static constinit sys_lock update_lock;
static constinit bool is_checking GUARDED_BY(update_lock) = false;  /* a worker runs */
static constinit bool is_replacing GUARDED_BY(update_lock) = false; /* it changes files */
static constinit bool is_closed GUARDED_BY(update_lock) = false;    /* it must not begin to */

static bool program_goes_on()
{
    return program_running != 0;
}

/* False once the program waits to end: its files must not change under it any more. */
static bool begin_replacing()
{
    const sys_guard guard(update_lock);
    is_replacing = !is_closed && program_running != 0;
    return is_replacing;
}

static void end_replacing()
{
    const sys_guard guard(update_lock);
    is_replacing = false;
}

static bool replacing()
{
    const sys_guard guard(update_lock);
    return is_replacing;
}

/* Also what an earlier update parked there. */
static int remove_scratch()
{
    struct stat state;
    return lstat(scratch_folder, &state) == 0 ? file_remove(scratch_folder) : 0;
}

/* The restart is asked for while the files still count as being replaced: whoever waits for the
 * end of that then finds it. A program that was ended meanwhile stays ended; who ends it later
 * takes the restart back. */
static void request_restart(const char *address)
{
    char text[update_answer_size + 64];
    update_chain_add(address);
    program_restarting = 1;
    const bool goes_on = program_running.exchange(0) != 0;
    if (!goes_on)
        program_restarting = 0;
    str_format(text, "update: installed %s%s", address, goes_on ? ", starting again" : "");
    program_perror(text);
    clock_wake();
}

/* Says why not: whoever put a key there wants to know. */
static bool is_trusted(const char *address)
{
    char text[update_answer_size + 128];
    uint8_t key[sign_key_size];
    switch (update_signature_key(ZERV_UPDATE_KEY, key_path, key)) {
    case update_trust::anybody:
        return true;
    case update_trust::key_owner:
        if (update_signature_holds(package_path, key))
            return true;
        str_format(text, "update: %s is not signed with our key as a version above %s", address,
                   PROGRAM_VERSION);
        break;
    case update_trust::nobody:
        str_format(text, "update: %s holds no key, so no package is good", key_path);
        break;
    }
    program_perror(text);
    return false;
}

/* Nothing is replaced unless the whole package can be. */
static void install(const char *address)
{
    program_stay_tuned = 1;
    if (update_package_check(package_path, program_goes_on) == 0 &&
        update_extract(package_path, program_goes_on) == 0 && begin_replacing()) {
        const int result = update_place(package_path);
        program_stay_tuned = 0;
        if (result == 0)
            request_restart(address);
        end_replacing();
    }
    program_stay_tuned = 0;
}

static int check_and_install()
{
    char answer[update_answer_size];
    if (remove_scratch() != 0 || update_ask(answer) != 0)
        return -1;
    if (strncmp(answer, "http://", 7) != 0 || !update_chain_allows(answer))
        return 0;
    if (update_download(answer, scratch_folder, package_path, program_goes_on) != 0)
        return 0;
    if (!is_trusted(answer))
        return remove_scratch();
    install(answer);
    return 0;
}

static void run_check(void *)
{
    (void)check_and_install(); /* nobody is told; the next start asks again */
    const sys_guard guard(update_lock);
    is_checking = false;
}

int update_check()
{
    if (*update_host() == '\0')
        return 0;
    const sys_guard guard(update_lock);
    if (is_checking)
        return 0;
    is_closed = false;
    update_chain_begin();
    is_checking = thread_start("update", run_check, nullptr) == 0;
    return is_checking ? 0 : -1;
}

void update_hand_over()
{
    update_chain_hand_over();
}

void update_wait(int32_t ms)
{
    {
        const sys_guard guard(update_lock);
        is_closed = true;
    }
    /* Counted in steps: the device's clock is gone when this is called. */
    const timespec step = {0, wait_step_ns};
    for (int64_t waited_ns = 0; replacing() && waited_ns / 1'000'000 < ms;
         waited_ns += wait_step_ns)
        (void)nanosleep(&step, nullptr);
}
