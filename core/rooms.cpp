#include "core/rooms.h"

#include "core/services/overlay.h"
#include "lists/lists.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"
#include "view/view.h"

void rooms_fill()
{
    view_list = &view_list_record;
    view_play = &view_play_record;
    overlay_msg = &overlay_msg_record;

    list_main = &list_main_record;
    list_cfg = &list_cfg_record;
    list_cur_playlist = &list_cur_playlist_record;
    list_files = &list_files_record;
    list_library = &list_library_record;
    list_playlists = &list_playlists_record;
    list_run_once = &list_run_once_record;

    play_ended = list_cur_playlist_go;
}
