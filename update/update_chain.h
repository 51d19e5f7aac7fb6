/* update_chain: what this program and those that it was before a restart have installed.
 *
 * A service may offer a package to the very version inside it. Without a memory that outlives the
 * restart the program would install it and start again for ever. */
#pragma once

/* Takes over what the program before the restart left. Main thread. */
void update_chain_begin();
/* Whether an address may be installed: it was not yet, and there were not too many. Any thread. */
bool update_chain_allows(const char *address);
/* Any thread. */
void update_chain_add(const char *address);
/* Leaves it to the program that is executed next. Main thread, when no other reads the
 * environment. */
void update_chain_hand_over();
