/* terminal: what a person types at the program, letter by letter. */
#pragma once

/* From now on letters come without Return and are not shown. A pipe is read as it is. */
void terminal_open();
void terminal_close();
/* The next letter, 0 when none waits, -1 when no more will come or somebody has ended the program. */
int terminal_next();
