/* package_verdicts: reads paths of packages, a line each, and answers "good" or "refused" as the
 * player would find them, with the working folder as the program folder. */
#include "update/update_package.h"

#include <cstdio>
#include <cstring>

static bool go_on()
{
    return true;
}

int main()
{
    char path[4096];
    while (fgets(path, sizeof path, stdin)) {
        path[strcspn(path, "\n")] = '\0';
        puts(update_package_check(path, go_on) == 0 ? "good" : "refused");
        fflush(stdout);
    }
    return 0;
}
