#include "core/subjects.h"

#include "config/cfg.h"
#include "library/library.h"
#include "platform/base/str.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

/* Why a file cannot even be opened; `otherwise` when it can. The libraries that read these files do
 * not hand the system's reason on, so it is asked for again. */
static const char *reason(const char *path, int access_wanted, const char *otherwise)
{
    struct stat about = {};
    if (stat(path, &about) != 0)
        return strerror(errno);
    if (S_ISDIR(about.st_mode))
        return strerror(EISDIR);
    return access(path, access_wanted) != 0 ? strerror(errno) : otherwise;
}

void subject_font(step_subject &to)
{
    (void)str_format(to, "%s: %s", cfg_font, reason(cfg_font, R_OK, "not a font that can be used"));
}

void subject_library(step_subject &to)
{
    (void)str_format(to, "%s: %s", library_file_name,
                     reason(library_file_name, R_OK | W_OK,
                            "damaged, or made by a newer version; without it the player makes a "
                            "new one"));
}

/* Both screens have by then tried the skin of the settings, the default one and every other. */
void subject_skins(step_subject &to)
{
    (void)str_format(to,
                     "%s, and whatever else is in skins: no skin has the screens \"list\" and "
                     "\"play\"",
                     cfg_skin_list);
}
