/* fault: operations that fail on request, for tests.
 *
 * ZERV_FAULT names operations joined by commas: "touch_close" fails each time, "file_fopen:3" the
 * third time only. Without the variable a test costs one load. Any thread. */
#pragma once

/* True when the named operation is to fail now. */
bool fault_hit(const char *operation);
/* Replaces what the environment said; null or "" clears. For unit tests. */
void fault_set(const char *list);
