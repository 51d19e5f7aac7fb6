/* list_run_once: the greeting of a new user. Main thread. */
#pragma once

/* Begins with the question about the media library: the language was chosen before. */
void list_run_once_ask_library();
