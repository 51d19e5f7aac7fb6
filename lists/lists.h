/* lists: the records of the lists of this folder. Start-up hangs them to the pointers of
 * lists/record/list.h. Main thread. */
#pragma once

struct list;

extern list list_main_record, list_cfg_record, list_files_record, list_library_record,
    list_playlists_record, list_run_once_record;
