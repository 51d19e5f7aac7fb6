/* key_guard: whether the keys and the panel are locked. */
#include "platform/input/key.h"
#include "platform/input/key_queue.h"

/* Main thread only. */
static constinit bool locked = false, refused = false;

void key_guard_set(bool on)
{
    locked = on;
    refused = false;
}

bool key_is_locked()
{
    return locked;
}

void key_refuse()
{
    refused = true;
}

bool key_take_refused()
{
    const bool was = refused;
    refused = false;
    return was;
}
