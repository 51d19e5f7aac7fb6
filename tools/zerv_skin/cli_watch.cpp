/* cli_watch: zerv-skin watch. */
#include "platform/base/clock.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/preview.h"
#include "tools/zerv_skin/watch.h"

#include <cstdio>
#include <string>

constexpr int status_error = 2;
constexpr int32_t poll_ms = 100; /* how soon a change is seen */

/* Without a window: the pictures, anew after each change. */
static int watch_files(const cli_options *options, const std::string &folder)
{
    uint64_t seen = ~uint64_t{0};
    while (!watch_ends()) {
        const uint64_t now = watch_fingerprint(options->subject);
        if (now != seen) {
            seen = now;
            watch_tell(options);
            if (preview_write(options, folder.c_str()) == 0)
                printf("pictures in %s\n", folder.c_str());
            fflush(stdout);
        }
        clock_real_msleep(poll_ms);
    }
    return 0;
}

int cli_watch(const cli_options *options)
{
    if (watch_begin(options) != 0)
        return status_error;
    const std::string folder = options->output
                                   ? options->output
                                   : std::string(cli_base_name(options->subject).text) + "-preview";
    int status = watch_window(options);
    if (status < 0)
        status = watch_files(options, folder);
    watch_end();
    return status;
}
