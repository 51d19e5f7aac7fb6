/* cli_studio: zerv-skin studio. */
#include "tools/zerv_skin/cli.h"

#include <cstdio>

constexpr int status_error = 2;

#ifdef ZERV_WEB

#include "tools/zerv_skin/stage.h"
#include "tools/zerv_skin/studio.h"
#include "tools/zerv_skin/watch.h"

#include <sys/stat.h>

int cli_studio(const cli_options *options)
{
    struct stat entry = {};
    if (stat(options->subject, &entry) != 0) {
        perror(options->subject);
        return status_error;
    }
    if (stage_open() != 0) {
        fprintf(stderr, "zerv-skin: out of memory\n");
        return status_error;
    }
    studio made = {};
    made.options = options;
    made.name = cli_base_name(options->subject).text;
    made.measured = stage_open_font(options->font) == 0;
    if (!made.measured)
        fprintf(stderr, "zerv-skin: no font: the pictures show no text\n");
    watch_for_signals();
    const int status = studio_serve(&made);
    scene_close();
    stage_close();
    return status;
}

#else

int cli_studio(const cli_options *)
{
    fprintf(stderr, "zerv-skin: this build has no studio\n");
    return status_error;
}

#endif
