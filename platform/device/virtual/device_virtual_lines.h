/* device_virtual_lines: the lines of a script, from a file or from standard input. */
#pragma once

enum class virtual_line {
    some, /* a line */
    none, /* not yet */
    bad,  /* longer than a line may be, or a zero byte in it */
    end,  /* the script has ended, or cannot be read */
};

/* Opens ZERV_VIRTUAL_SCRIPT. 0, or -1 after a line on standard error. */
int virtual_lines_open();
void virtual_lines_close();
/* Hands out the next line, without its end, valid until the next call. `patient`: waits for one,
 * unless virtual_script_wake() or a signal asks for a pass of the main loop. Main thread. */
virtual_line virtual_lines_next(char **line, bool patient);
