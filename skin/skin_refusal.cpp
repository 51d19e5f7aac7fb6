/* skin_refusal: why a package, or a member of it, is not read. */
#include "skin/skin_package.h"

#include "platform/base/str.h"
#include "skin/skin_watch.h"

int skin_package_leave_out(skin_package *package, const char *reason, const char *name)
{
    if (package->left_out)
        return 0;
    package->left_out = reason;
    (void)str_copy(package->left_out_name, name);
    return 0;
}

int skin_package_fail(skin_package *package, const char *reason, const char *name)
{
    package->reason = reason;
    (void)str_copy(package->reason_name, name); /* a cut name still says which one is meant */
    return -1;
}

void skin_package_tell(const skin_package *package, const skin_watcher *watcher)
{
    if (package->reason)
        skin_watch_file(watcher, "package", package->reason_name, {0, 0}, package->reason);
}
