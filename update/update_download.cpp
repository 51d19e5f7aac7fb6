#include "update/update_download.h"

#include "core/services/program.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "platform/net/sock.h"
#include "update/update_package.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

constexpr uint64_t largest_package = 256ull << 20;
constexpr uint64_t space_check_bytes = 1ull << 20; /* looked at each time so much was written */
constexpr uint64_t space_kept_free = 64u << 10;    /* for the settings and the playlist */
constexpr size_t longest_answer = 64u << 10;       /* nothing behind it is waited for */

/* Reads to the end, or as far as makes sense, keeping the beginning. */
static int read_answer(sock *from, char (&answer)[update_answer_size])
{
    size_t kept = 0;
    char piece[256];
    for (size_t total = 0; total < longest_answer;) {
        const int got = sock_read(from, piece, sizeof piece);
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        const size_t room = sizeof answer - 1 - kept;
        const size_t taken = static_cast<size_t>(got) < room ? static_cast<size_t>(got) : room;
        memcpy(answer + kept, piece, taken);
        kept += taken;
        total += static_cast<size_t>(got);
    }
    answer[kept] = '\0';
    return 0;
}

/* Without an announcement it shows on the way. */
static bool has_room_for(const sock *from)
{
    const int64_t announced = sock_length(from);
    return announced <= 0 || (static_cast<uint64_t>(announced) <= largest_package &&
                              static_cast<uint64_t>(announced) <= update_free_space());
}

static int copy_body(sock *from, FILE *to, bool (*go_on)())
{
    char piece[1024];
    uint64_t total = 0, checked_at = 0;
    while (go_on()) {
        const int got = sock_read(from, piece, sizeof piece);
        if (got <= 0)
            return got;
        total += static_cast<uint64_t>(got);
        if (total > largest_package ||
            fwrite(piece, 1, static_cast<size_t>(got), to) != static_cast<size_t>(got))
            return -1;
        if (total - checked_at >= space_check_bytes) {
            checked_at = total;
            if (update_free_space() < space_kept_free)
                return -1;
        }
    }
    return -1;
}

const char *update_host()
{
    const char *host = getenv("ZERV_UPDATE_HOST");
    return host ? host : ZERV_UPDATE_HOST;
}

int update_ask(char (&answer)[update_answer_size])
{
    char address[256];
    if (!str_format(address, "http://%s/zerv-player/update/%s/%s", update_host(), PROGRAM_BUILD_ID,
                    PROGRAM_VERSION))
        return -1;
    const owner<sock, sock_close> from(http_open(address));
    if (!from || read_answer(from.get(), answer) != 0)
        return -1;
    (void)str_strip(answer);
    return 0;
}

int update_download(const char *address, const char *folder, const char *path, bool (*go_on)())
{
    const owner<sock, sock_close> from(http_open(address));
    if (!from || !has_room_for(from.get()) || file_mkdir(folder) != 0)
        return -1;
    owner<FILE, fclose> to(file_fopen(path, "wb"));
    if (!to || copy_body(from.get(), to.get(), go_on) != 0)
        return -1;
    return fclose(to.release()) == 0 ? 0 : -1;
}
