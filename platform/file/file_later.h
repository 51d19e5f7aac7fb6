/* file_later: files that are saved on a thread of their own, so that nobody waits for a disk.
 *
 * Between file_later_begin() and file_later_end() a change is on its way to the disk within 50 ms;
 * several in a row become one. Outside them whoever wants a file saved saves it himself. No caller
 * holds a lock that a save takes. */
#pragma once

/* A file that is kept up to date. Static; it is never freed. */
struct file_later {
    int (*save)(); /* writes the newest content; one at a time, on a worker or on the caller */
    /* The lock inside file_later.cpp: */
    file_later *next = nullptr;
    bool wanted = false;
};

void file_later_begin();
/* Waits until everything is saved. */
void file_later_end();
/* The content has changed. Any thread. */
void file_later_want(file_later *what);
/* Waits until all that is wanted so far has been saved. Any thread but the one that saves. */
void file_later_settle();
