/* rooms: hangs the records and hooks of the upper folders where the lower ones look for them. */
#pragma once

/* Fills the pointers of view/view.h and lists/record/list.h and the hook `play_ended`. Before any
 * other call into the program; main thread, while no other runs. May be called again. */
void rooms_fill();
