/* cli_output: names and progress as the commands show them. */
#include "tools/zerv_skin/cli.h"

#include "platform/base/str.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

cli_name cli_base_name(const char *path)
{
    cli_name name = {};
    size_t end = strlen(path);
    while (end > 0 && path[end - 1] == '/')
        end--;
    size_t start = end;
    while (start > 0 && path[start - 1] != '/')
        start--;
    (void)str_format(name.text, "%.*s", static_cast<int>(end - start), path + start);
    char *ext = strrchr(name.text, '.');
    if (ext && ext != name.text && strcasecmp(ext, ".zip") == 0)
        *ext = '\0';
    return name;
}

void cli_progress(const cli_options *options, const char *what, unsigned done, unsigned all)
{
    if (!options->progress)
        return;
    fprintf(stderr, "\r\033[K");
    if (done < all)
        fprintf(stderr, "[%u/%u] %s", done + 1, all, what);
    fflush(stderr);
}
