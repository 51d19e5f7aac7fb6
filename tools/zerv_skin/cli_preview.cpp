/* cli_preview: zerv-skin preview. */
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/preview.h"
#include "tools/zerv_skin/scene.h"
#include "tools/zerv_skin/stage.h"

#include <cstdio>

constexpr int status_error = 2;

int cli_preview(const cli_options *options)
{
    if (!options->output) {
        fprintf(stderr, "zerv-skin: preview needs -o FOLDER\n");
        return status_error;
    }
    if (stage_open() != 0) {
        fprintf(stderr, "zerv-skin: out of memory\n");
        return status_error;
    }
    if (stage_open_font(options->font) != 0)
        fprintf(stderr, "zerv-skin: %s: the pictures show no text\n",
                options->font ? options->font : "no font was found (see --font)");
    const int result = preview_write(options, options->output);
    scene_close();
    stage_close();
    return result == 0 ? 0 : status_error;
}
