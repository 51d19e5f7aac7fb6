/* Messages for which there is no memory are not shown, and nothing of them stays. */
#include "core/services/overlay.h"
#include "support/allocations.h"
#include "support/hung.h"
#include "view/view.h"

#include <gtest/gtest.h>

static const hung hang_overlay_msg(overlay_msg, &overlay_msg_record);
static view screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};
static const hung hang_view_list(view_list, &screen);
static const hung hang_view_play(view_play, &screen);

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(overlay_memory, a_message_is_added_whole_or_not_at_all)
{
    ASSERT_EQ(overlay_msg->init(), 0);
    const int32_t before = overlay_msg_add("before", 0, 0);
    ASSERT_GE(before, 0);
    int32_t added = -1;
    const int64_t bytes = allocated_bytes;
    const int failed = fail_each_allocation([&] {
        EXPECT_EQ(added, -1) << "the one before failed";
        added = overlay_msg_add("a message", 0, 0);
        if (added < 0) {
            EXPECT_EQ(added, -1);
            EXPECT_EQ(allocated_bytes, bytes);
        }
    });
    EXPECT_GE(failed, 2);
    EXPECT_EQ(added, before + 1) << "no number was lost";
    EXPECT_EQ(overlay_msg_remove(added), 0);
    EXPECT_EQ(allocated_bytes, bytes);
    EXPECT_EQ(overlay_msg->exit(), 0);
}
#endif
