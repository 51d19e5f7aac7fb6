/* view_list: the list screen as the lists and the settings see it. Main thread. */
#pragma once

struct list;
struct view;

extern view view_list_record; /* start-up hangs it to `view_list` */

extern list *list_page_selected; /* the list that is shown */

/* Makes a list current. Always 0. */
int view_list_select(list *next);
/* Loads the "list" part, falling back to the default package and to any other (which rewrites
 * cfg_skin_list). -1: the old skin stays. */
int view_list_load_skin(const char *package_path);
