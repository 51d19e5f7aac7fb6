#include "update/update_chain.h"

#include "platform/base/lock.h"
#include "platform/base/str.h"
#include "update/update_download.h"

#include <cstdlib>
#include <cstring>

constexpr char variable[] = "ZERV_UPDATE_INSTALLED"; /* addresses, a blank between each two */
constexpr int most_installed = 8; /* a version a step; more is a service that makes addresses up */

static constinit sys_lock chain_lock;
static constinit char installed[most_installed * update_answer_size] GUARDED_BY(chain_lock) = {};

/* An array that becomes a pointer hides from the thread analysis; a call does not. */
static const char *installed_locked() REQUIRES(chain_lock)
{
    return installed;
}

void update_chain_begin()
{
    const char *left = getenv(variable);
    const sys_guard guard(chain_lock);
    /* Cut only when it is none of ours. */
    (void)str_copy(installed, left ? left : "");
}

/* Addresses hold no blanks: nobody else's request could be sent. */
bool update_chain_allows(const char *address)
{
    const sys_guard guard(chain_lock);
    int count = 0;
    for (const char *at = installed_locked(); *at;) {
        const size_t length = strcspn(at, " ");
        if (length == strlen(address) && memcmp(at, address, length) == 0)
            return false;
        count += length > 0;
        at += length + (at[length] == ' ');
    }
    return count < most_installed;
}

void update_chain_add(const char *address)
{
    const sys_guard guard(chain_lock);
    char longer[sizeof installed];
    if (str_format(longer, "%s%s%s", installed, *installed ? " " : "", address))
        str_copy(installed, longer);
}

void update_chain_hand_over()
{
    const sys_guard guard(chain_lock);
    (void)setenv(variable, installed_locked(), 1); /* without memory: may come again */
}
