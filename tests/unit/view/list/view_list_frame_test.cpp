/* What a frame of the list screen costs, with a real font and a real skin. */
#include "config/cfg.h"
#include "core/services/overlay.h"
#include "lists/record/list.h"
#include "platform/base/str.h"
#include "platform/font/font.h"
#include "skin/skin.h"
#include "support/allocations.h"
#include "support/hung.h"
#include "support/one_thread.h"
#include "support/scratch.h"
#include "support/test_device.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <cstring>

static const hung hang_view_list(view_list, &view_list_record);
static const hung hang_overlay_msg(overlay_msg, &overlay_msg_record);

constexpr char font_path[] = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc";

static int nothing()
{
    return 0;
}

static list lists[7];
static const hung hang_list_files(list_files, &lists[0]);
static const hung hang_list_main(list_main, &lists[1]);
static const hung hang_list_library(list_library, &lists[2]);
static const hung hang_list_cur_playlist(list_cur_playlist, &lists[3]);
static const hung hang_list_playlists(list_playlists, &lists[4]);
static const hung hang_list_cfg(list_cfg, &lists[5]);
static const hung hang_list_run_once(list_run_once, &lists[6]);

static view play_screen = {
    .init = nothing,
    .exit = nothing,
    .input = [](view *) { return 0; },
    .draw = [](view *, fb_surface *) { return 0; },
};
static const hung hang_view_play(view_play, &play_screen);

constexpr char skin[] =
    "<skin version=\"0.1\">"
    "<rect width=\"320\" height=\"24\" color=\"#203040\"/>"
    "<text x=\"4\" y=\"2\" width=\"200\" height=\"20\" font_size=\"16\" format=\"$title\"/>"
    "<text x=\"240\" y=\"2\" width=\"80\" height=\"20\" format=\"$time $battery\"/>"
    "<scroll x=\"310\" y=\"30\" width=\"9\" height=\"200\" type=\"move-y\" action=\"list\"/>"
    "<list x=\"4\" y=\"30\" width=\"300\" height=\"200\" font_size=\"16\"/>"
    "<text x=\"4\" y=\"224\" width=\"300\" height=\"14\" format=\"$path\"/></skin>";

static void fill_rows()
{
    static const char *const names[] = {"가나다", "音乐播放", "日本語", "Ünïcode", "plain"};
    char **items = list_items_new(40);
    for (int i = 0; i < 40; i++)
        items[i] = strdup(names[i % 5]);
    list_set_rows(list_main, items, 40);
    str_copy(list_main->title, "主菜单");
    str_copy(list_main->subtitle, "/music/somewhere");
}

class list_frame : public testing::Test
{
  protected:
    void SetUp() override
    {
        test_device_open(false); /* keeping texts takes memory */
        ASSERT_EQ(font_open(font_path), 0);
        ASSERT_EQ(skin_init(), 0);
        ASSERT_EQ(mkdir("skins", 0755), 0);
        ASSERT_EQ(mkdir("skins/one", 0755), 0);
        scratch_write("skins/one/list.xml", skin);
        cfg_load_default();
        str_copy(cfg_skin_list, "skins/one");
        for (list &each : lists)
            each = {
                .init = nothing,
                .exit = nothing,
                .input = [](view *, list *) { return 0; },
                .select = nullptr,
                .update = nullptr,
            };
        ASSERT_EQ(view_list->init(), 0);
        ASSERT_EQ(overlay_msg->init(), 0);
        fill_rows();
        view_list_select(list_main);
        view_select(view_list);
    }
    void TearDown() override
    {
        view_select(nullptr);
        EXPECT_EQ(overlay_msg->exit(), 0);
        EXPECT_EQ(view_list->exit(), 0);
        skin_exit();
        font_close();
        test_device_close();
    }
    /* Every row under the cursor once, each frame shown. */
    static void walk_rows()
    {
        for (list_main->cursor = 0; list_main->cursor < 40; list_main->cursor++) {
            view_list->redraw = 1;
            view_run();
        }
    }
    scratch folder;
};

TEST_F(list_frame, frame_allocates_nothing_once_its_glyphs_are_known)
{
    overlay_msg_add("Volume: 30", 0, 0x001F);
    walk_rows();
    machine.shows = 0;
    machine.calls.reserve(1000); /* the device's notes are not the frame's */
    allocations = 0;
    walk_rows();
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(machine.shows, 40);
}
