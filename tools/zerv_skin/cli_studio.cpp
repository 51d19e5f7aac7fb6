/* cli_studio: zerv-skin studio. */
#include "tools/zerv_skin/cli.h"

#include <cstdio>

constexpr int status_error = 2;

#ifdef ZERV_WEB

#include "tools/zerv_skin/stage.h"
#include "tools/zerv_skin/studio.h"
#include "tools/zerv_skin/watch.h"

int cli_studio(const cli_options *options)
{
    if (watch_begin(options) != 0)
        return status_error;
    studio made = {};
    made.options = options;
    made.name = cli_base_name(options->subject).text;
    made.measured = stage_has_font();
    const int status = studio_serve(&made);
    watch_end();
    return status;
}

#else

int cli_studio(const cli_options *)
{
    fprintf(stderr, "zerv-skin: this build has no studio\n");
    return status_error;
}

#endif
