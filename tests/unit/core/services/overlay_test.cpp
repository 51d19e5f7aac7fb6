#include "core/services/overlay.h"
#include "support/hung.h"

#include "support/still_screen.h"
#include "support/test_device.h"
#include "view/view.h"

#include <atomic>
#include <pthread.h>

static const hung hang_overlay_msg(overlay_msg, &overlay_msg_record);

using texts = std::vector<std::string>;

/* Before anything else is added, and before any view is selected. */
static const int32_t very_first_id = overlay_msg_add("first", 0, 0);

class overlay : public testing::Test
{
  protected:
    void SetUp() override
    {
        test_device_open();
        still_screen.frame = fb_create(320, 240);
        still_screen.redraw = 0;
        view_selected = &still_screen;
        ASSERT_EQ(overlay_msg->init(), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(overlay_msg->exit(), 0);
        view_selected = nullptr;
        fb_free(still_screen.frame);
        still_screen.frame = nullptr;
        test_device_close();
    }
    /* What the messages write on the screen. */
    static texts drawn()
    {
        EXPECT_EQ(fb_clear(fb_cur, 0), 0);
        EXPECT_EQ(overlay_msg->draw(&still_screen, fb_cur), 0);
        return test_texts(fb_cur);
    }
    static void expire() { EXPECT_EQ(overlay_msg->input(&still_screen), 0); }
};

TEST_F(overlay, ids_begin_at_zero_and_grow_by_one)
{
    EXPECT_EQ(very_first_id, 0);
    const int32_t first = overlay_msg_add("a", 0, 0);
    EXPECT_EQ(overlay_msg_add("b", 0, 0), first + 1);
    EXPECT_EQ(overlay_msg_remove(first + 1), 0);
    EXPECT_EQ(overlay_msg_add("c", 0, 0), first + 2);
}

TEST_F(overlay, stacks_messages_upwards_from_the_bottom_left)
{
    overlay_msg_add("one", 0, 0xF800);
    overlay_msg_add("two", 0, 0x001F);
    overlay_msg_add("three", 0, 0xFFFF);
    EXPECT_EQ(drawn(), (texts{"6 222 320 12 12 0xF800 0 |one|", "6 204 320 12 12 0x001F 0 |two|",
                              "6 186 320 12 12 0xFFFF 0 |three|"}));
}

TEST_F(overlay, draws_messages_above_the_top_edge_too)
{
    fb_free(still_screen.frame);
    still_screen.frame = fb_create(320, 230);
    for (int i = 0; i < 14; i++)
        overlay_msg_add("m", 0, 0);
    const texts all = drawn();
    ASSERT_EQ(all.size(), 13u) << "of the last nothing is to be seen";
    EXPECT_EQ(all[11], "6 14 320 12 12 0x0000 0 |m|");
    EXPECT_EQ(all[12], "6 -4 320 12 12 0x0000 0 |m|");
}

TEST_F(overlay, message_goes_only_after_more_than_its_duration)
{
    overlay_msg_add("m", 2000, 0);
    machine.ms += 2000;
    expire();
    EXPECT_EQ(drawn().size(), 1u);
    machine.ms += 1;
    expire();
    EXPECT_EQ(drawn().size(), 0u);
}

TEST_F(overlay, message_asks_to_be_looked_at_when_it_will_go)
{
    overlay_msg_add("m", 2000, 0);
    overlay_msg_add("stays", 0, 0);
    const int32_t start = machine.ms;
    for (const int32_t age_ms : {0, 500, 1999, 2000}) {
        machine.ms = start + age_ms;
        (void)clock_take_look();
        expire();
        EXPECT_EQ(clock_take_look(), 2001 - age_ms);
    }
    machine.ms = start + 2001;
    expire();
    EXPECT_EQ(clock_take_look(), INT32_MAX) << "it has gone";
}

TEST_F(overlay, messages_of_one_duration_go_in_the_same_pass)
{
    overlay_msg_add("a", 500, 0);
    overlay_msg_add("stays", 0, 0);
    overlay_msg_add("b", 500, 0);
    machine.ms += 501;
    expire();
    EXPECT_EQ(drawn(), (texts{"6 222 320 12 12 0x0000 0 |stays|"}));
}

TEST_F(overlay, message_without_duration_stays_until_removed)
{
    const int32_t id = overlay_msg_add("m", 0, 0);
    machine.ms += 100000000;
    expire();
    EXPECT_EQ(drawn().size(), 1u);
    EXPECT_EQ(overlay_msg_remove(id), 0);
    EXPECT_EQ(drawn().size(), 0u);
}

TEST_F(overlay, age_is_right_across_the_wrap_of_the_clock)
{
    machine.ms = 2147483000;
    overlay_msg_add("m", 2000, 0);
    machine.ms = 4294967296 - 2147483647;
    expire();
    EXPECT_EQ(drawn().size(), 1u);
    machine.ms += 2000;
    expire();
    EXPECT_EQ(drawn().size(), 0u);
}

TEST_F(overlay, removing_an_unknown_id_changes_nothing)
{
    const int32_t first = overlay_msg_add("a", 0, 0);
    const int32_t second = overlay_msg_add("b", 0, 0);
    EXPECT_EQ(overlay_msg_remove(first), 0);
    still_screen.redraw = 0;
    EXPECT_EQ(overlay_msg_remove(first), -1);
    EXPECT_EQ(overlay_msg_remove(second + 1), -1);
    EXPECT_EQ(overlay_msg_remove(-1), -1);
    EXPECT_EQ(still_screen.redraw, 0);
    EXPECT_EQ(drawn().size(), 1u);
}

TEST_F(overlay, every_change_asks_the_selected_view_for_a_redraw)
{
    const int32_t id = overlay_msg_add("a", 10, 0);
    EXPECT_EQ(still_screen.redraw.exchange(0), 1);
    overlay_msg_remove(id);
    EXPECT_EQ(still_screen.redraw.exchange(0), 1);
    overlay_msg_add("b", 10, 0);
    still_screen.redraw = 0;
    expire();
    EXPECT_EQ(still_screen.redraw, 0);
    machine.ms += 11;
    expire();
    EXPECT_EQ(still_screen.redraw.exchange(0), 1);
    expire();
    EXPECT_EQ(still_screen.redraw, 0);
}

TEST_F(overlay, adding_wakes_a_sleeping_main_thread)
{
    const int before = machine_wakes;
    overlay_msg_add("a", 10, 0);
    EXPECT_GT(machine_wakes, before);
}

TEST_F(overlay, message_is_kept_while_no_view_is_selected)
{
    view_selected = nullptr;
    EXPECT_GE(overlay_msg_add("a", 0, 0), 0);
    view_selected = &still_screen;
    EXPECT_EQ(drawn().size(), 1u);
}

TEST_F(overlay, keeps_its_own_copy_of_the_text)
{
    char text[] = "before";
    overlay_msg_add(text, 0, 0);
    text[0] = 'X';
    EXPECT_EQ(drawn(), (texts{"6 222 320 12 12 0x0000 0 |before|"}));
}

TEST_F(overlay, exit_forgets_every_message_and_may_be_repeated)
{
    overlay_msg_add("a", 0, 0);
    EXPECT_EQ(overlay_msg->exit(), 0);
    EXPECT_EQ(overlay_msg->exit(), 0);
    EXPECT_EQ(drawn().size(), 0u);
}

TEST_F(overlay, draws_nothing_for_a_view_without_a_frame)
{
    overlay_msg_add("a", 0, 0);
    fb_surface *frame = still_screen.frame;
    still_screen.frame = nullptr;
    EXPECT_EQ(drawn().size(), 0u);
    still_screen.frame = frame;
}

/* ---- threads ---- */

/* How many there are, by as many screens below each other as it takes. */
static size_t count_messages()
{
    constexpr int32_t height = 4086; /* whole messages */
    fb_surface *const usual = still_screen.frame, *const tall = fb_create(320, height);
    fb_surface moved = *tall;
    still_screen.frame = &moved;
    size_t count = 0;
    for (bool more = true; more; moved.height += height) {
        EXPECT_EQ(fb_clear(tall, 0), 0);
        EXPECT_EQ(overlay_msg->draw(&still_screen, tall), 0);
        count += fb_text_count(tall);
        more = fb_text_count(tall) > 0;
    }
    still_screen.frame = usual;
    EXPECT_EQ(fb_free(tall), 0);
    return count;
}

static std::atomic<int> running_workers{0};

static void *add_and_remove(void *)
{
    for (int i = 0; i < 2000; i++) {
        const int32_t id = overlay_msg_add("worker", i % 3, 0);
        if (i % 2)
            (void)overlay_msg_remove(id);
    }
    running_workers--;
    return nullptr;
}

TEST_F(overlay, workers_add_and_remove_while_the_main_thread_draws)
{
    pthread_t workers[2];
    running_workers = 2;
    for (pthread_t &each : workers)
        ASSERT_EQ(pthread_create(&each, nullptr, add_and_remove, nullptr), 0);
    while (running_workers > 0) {
        expire();
        overlay_msg->draw(&still_screen, fb_cur);
    }
    for (pthread_t each : workers)
        pthread_join(each, nullptr);
    machine.ms += 10;
    expire();
    /* What is left was added without a duration and not removed: i % 6 == 0. */
    EXPECT_EQ(count_messages(), 2u * 334);
}
