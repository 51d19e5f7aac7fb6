/* update: asks for a newer version, fetches and unpacks it on a worker thread. */
#pragma once

#include <cstdint>

/* Starts the check. 0 when the thread started, or when no host is configured (nothing starts). */
int update_check();
/* Waits until files are no longer being replaced, at most `ms`. Called by main after shutdown. */
void update_wait(int32_t ms);
/* Tells the program that is executed next what was installed, so that it does not install it
 * again. Called by main right before. */
void update_hand_over();
