/* skin_zip_file: how the library for archives reads its file. It asks for two or four bytes at a time and
 * jumps between them, which costs a system call each on a file; so a file of usual size is read into memory
 * at once. Inside the packages only. */
#pragma once

#include <minizip/ioapi.h>

/* Opens regular files only: a pipe would keep its reader waiting. */
void skin_zip_file_functions(zlib_filefunc64_def *to);
