/* keys: the program zerv-keys. */
#pragma once

/* The exit status: 0 done, 1 ended without writing, 2 something failed or was called wrongly. */
int keys_main(int argc, char **argv);
