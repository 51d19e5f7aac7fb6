/* library: the database of tracks, "library.db" in the working folder. */
#pragma once

struct db_handle;

extern db_handle *library_db; /* null while closed */

/* Opens it and checks or makes the tables. -1: refused (a newer or damaged file), the handle may
 * be open. Main thread. */
[[nodiscard]] int library_open();
int library_close();
/* The schema check alone. */
int library_init_schema();
