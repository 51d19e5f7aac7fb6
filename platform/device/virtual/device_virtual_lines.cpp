#include "platform/device/virtual/device_virtual_lines.h"

#include "platform/device/virtual/device_virtual.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

/* Main thread. */
static constinit int script = -1;
static constinit char buffer[8192] = {};
static constinit size_t line_at = 0,
                        filled = 0; /* the first byte not handed out, the end of what was read */
static constinit bool at_end = false;

/* Never closed: a worker may call for attention while the program goes down. */
static constinit int wake_event = -1;

/* The line that begins at line_at, if all of it was read. */
static char *take_line()
{
    char *start = buffer + line_at;
    char *end = static_cast<char *>(memchr(start, '\n', filled - line_at));
    if (!end && at_end && line_at < filled)
        end = buffer + filled; /* read_more() leaves room for this zero */
    if (!end)
        return nullptr;
    *end = 0;
    line_at = static_cast<size_t>(end - buffer) + 1;
    if (line_at > filled)
        line_at = filled;
    return start;
}

static bool is_readable(bool patient)
{
    pollfd waiting[2] = {{script, POLLIN, 0}, {wake_event, POLLIN, 0}};
    if (poll(waiting, 2, patient ? -1 : 0) < 0)
        return false;
    uint64_t calls = 0;
    if (waiting[1].revents && read(wake_event, &calls, sizeof calls) < 0)
        return false;
    return waiting[0].revents != 0;
}

/* Returns some when bytes were added. */
static virtual_line read_more(bool patient)
{
    memmove(buffer, buffer + line_at, filled - line_at);
    filled -= line_at;
    line_at = 0;
    if (filled + 1 >= sizeof buffer) {
        filled = 0;
        return virtual_line::bad;
    }
    if (!is_readable(patient))
        return virtual_line::none;
    const ssize_t got = read(script, buffer + filled, sizeof buffer - 1 - filled);
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return virtual_line::none;
    if (got <= 0)
        at_end = true;
    else
        filled += static_cast<size_t>(got);
    return virtual_line::some;
}

int virtual_lines_open()
{
    const char *path = getenv("ZERV_VIRTUAL_SCRIPT");
    const bool from_input = !path || !*path || strcmp(path, "-") == 0;
    line_at = filled = 0;
    at_end = false;
    if (wake_event < 0)
        wake_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    script = from_input ? STDIN_FILENO : open(path, O_RDONLY | O_CLOEXEC);
    if (script >= 0 && wake_event >= 0)
        return 0;
    fprintf(stderr, "cannot read the script: %s\n", strerror(errno));
    return -1;
}

void virtual_lines_close()
{
    if (script > STDIN_FILENO)
        close(script);
    script = -1;
}

virtual_line virtual_lines_next(char **line, bool patient)
{
    for (;;) {
        const size_t before = line_at;
        *line = take_line();
        if (*line)
            return strlen(*line) + 1 >= line_at - before ? virtual_line::some : virtual_line::bad;
        if (at_end)
            return virtual_line::end;
        const virtual_line got = read_more(patient);
        if (got != virtual_line::some)
            return got;
    }
}

void virtual_script_wake()
{
    const uint64_t one = 1;
    const int before = errno;
    /* A full counter is as good as one more call. */
    if (wake_event >= 0 && write(wake_event, &one, sizeof one) < 0)
        errno = before;
}
