/* library: the database of tracks, "library.db" in the working folder. */
#pragma once

inline constexpr char library_file_name[] = "library.db";

struct db_handle;

extern db_handle *library_db; /* null while closed; main thread */

/* The same for every other thread: the program may close the library meanwhile. What this returns
 * stays valid and answers -1 from then on; null while closed. */
db_handle *library_handle();

/* Opens it and checks or makes the tables. -1: refused (a newer or damaged file), the handle may
 * be open. Main thread. */
[[nodiscard]] int library_open();
int library_close();
/* The schema check alone. */
int library_init_schema();
