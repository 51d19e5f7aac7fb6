/* web_name: the names of files that a page sends. Any thread. */
#pragma once

constexpr int web_name_most = 200; /* bytes, with its ending */
using web_name = char[256];

/* Makes a name for the folder out of what the page calls its file: without folders, without signs that
 * a list could not show, not hidden, in valid UTF-8.
 * Returns 0, or -1 for a kind that is not taken; `to` is undefined then. */
int web_make_name(const char *asked, web_name &to);
/* The n-th way to call a file of that name, for one whose name is taken: "song (2).mp3". n >= 1; 1 is
 * the name itself. */
void web_number_name(const web_name &name, int n, web_name &to);
/* Whether a file of that name is queued when it has been dropped; lyrics only lie beside their track. */
bool web_is_queued(const char *name);
