#include "tools/zerv_keys/terminal.h"

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

static constinit termios before = {};
static constinit bool changed = false;
static constinit bool at_end = false;
static constinit volatile sig_atomic_t ended = 0;

static void end_by_signal(int)
{
    ended = 1;
}

void terminal_open()
{
    struct sigaction action = {};
    action.sa_handler = end_by_signal;
    sigemptyset(&action.sa_mask);
    for (const int each : {SIGINT, SIGTERM, SIGHUP})
        (void)sigaction(each, &action, nullptr);
    if (tcgetattr(STDIN_FILENO, &before) != 0)
        return;
    termios plain = before;
    plain.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    changed = tcsetattr(STDIN_FILENO, TCSANOW, &plain) == 0;
}

void terminal_close()
{
    if (changed)
        (void)tcsetattr(STDIN_FILENO, TCSANOW, &before);
    changed = false;
}

int terminal_next()
{
    pollfd waiting = {STDIN_FILENO, POLLIN, 0};
    unsigned char letter = 0;
    if (ended)
        return -1;
    if (at_end || poll(&waiting, 1, 0) <= 0)
        return 0;
    const ssize_t got = read(STDIN_FILENO, &letter, 1);
    at_end = got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN);
    return got == 1 ? letter : 0;
}
