#include "support/hung.h"
#include "view/play/view_play.h"

#include "config/cfg.h"
#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "platform/font/font.h"
#include "platform/image/image.h"
#include "play/play.h"
#include "skin/skin.h"
#include "support/scratch.h"
#include "support/test_device.h"
#include "view/play/play_state.h"
#include "view/view.h"

#include <atomic>
#include <cstring>
#include <thread>

static const hung hang_view_play(view_play, &view_play_record);

/* ---- counting what the main thread allocates ---- */

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ALLOCATOR_IS_TAKEN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ALLOCATOR_IS_TAKEN 1
#endif
#endif

static thread_local int64_t allocations = 0;

#ifdef ALLOCATOR_IS_TAKEN
static constexpr bool counts_allocations = false; /* it is the sanitizer's */
#else
static constexpr bool counts_allocations = true;
extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);
extern "C" void *__libc_realloc(void *old, size_t size);
extern "C" void *malloc(size_t size)
{
    allocations++;
    return __libc_malloc(size);
}
extern "C" void *calloc(size_t count, size_t size)
{
    allocations++;
    return __libc_calloc(count, size);
}
extern "C" void *realloc(void *old, size_t size)
{
    allocations++;
    return __libc_realloc(old, size);
}
#endif

static const char part[] =
    "<skin version=\"0.1\">"
    "<rect width=\"320\" height=\"20\" color=\"#336699\"/>"
    "<text x=\"5\" y=\"25\" width=\"200\" height=\"20\" font_size=\"14\" format=\"$title\"/>"
    "<text x=\"5\" y=\"50\" width=\"200\" height=\"20\" format=\"$artist $album $02mins:$02secs "
    "$time $battery\"/>"
    "<scroll y=\"80\" width=\"300\" height=\"10\" type=\"fill-x\" action=\"play\"/>"
    "<lyrics y=\"100\" width=\"200\" height=\"80\"/>"
    "<album_cover x=\"210\" y=\"25\" width=\"100\" height=\"100\"/>"
    "</skin>";

struct view_play_test : testing::Test {
    void SetUp() override
    {
        ASSERT_EQ(audio_init(), 0);
        ASSERT_EQ(skin_init(), 0);
        cfg_load_default();
        test_device_open();
        fb_keep_texts = false;
        quiet = test_device;
        quiet.wake = nullptr; /* the count of wakes is no matter of several threads */
        device_current = &quiet;
        ASSERT_EQ(mkdir("skins", 0755), 0);
        str_copy(cfg_skin_play, "skins/mine");
        view_selected = nullptr;
    }
    void TearDown() override
    {
        EXPECT_EQ(view_play->exit(), 0);
        (void)play_end();
        EXPECT_EQ(thread_settle(10000), 0);
        test_device_close();
        EXPECT_EQ(skin_exit(), 0);
        EXPECT_EQ(audio_exit(), 0);
    }
    static void write_skin(const char *content = part)
    {
        ASSERT_EQ(mkdir("skins/mine", 0755), 0);
        scratch_write("skins/mine/play.xml", content);
    }
    static void write_track(const char *path)
    {
        maker_file file;
        file.title = "Song";
        ASSERT_EQ(maker_track(path, file), 0);
    }

    scratch folder;
    device quiet = {};
};

TEST_F(view_play_test, init_fails_without_a_skin)
{
    EXPECT_EQ(view_play->init(), -1);
}

TEST_F(view_play_test, init_fails_without_a_screen)
{
    write_skin();
    ASSERT_EQ(fb_close(), 0);
    EXPECT_EQ(view_play->init(), -1);
}

TEST_F(view_play_test, init_makes_surfaces_of_the_size_of_the_screen)
{
    write_skin();
    ASSERT_EQ(view_play->init(), 0);
    EXPECT_EQ(view_play->frame->width, 320);
    EXPECT_EQ(view_play->frame->height, 240);
    EXPECT_EQ(view_play->surface->width, 320);
    EXPECT_EQ(view_play->surface->height, 240);
    EXPECT_NE(view_play->frame, view_play->surface);
}

TEST_F(view_play_test, exit_leaves_nothing_and_may_come_twice)
{
    write_skin();
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(view_play->init(), 0);
        EXPECT_EQ(view_play->draw(view_play, nullptr), 0);
        EXPECT_EQ(view_play->exit(), 0);
        EXPECT_EQ(view_play->exit(), 0);
        EXPECT_EQ(view_play->frame, nullptr);
        EXPECT_EQ(view_play->surface, nullptr);
        const sys_guard guard(play_view_lock);
        EXPECT_EQ(play_view.play_part, nullptr);
        EXPECT_EQ(play_view.current_layout, nullptr);
    }
}

TEST_F(view_play_test, exit_frees_what_belongs_to_the_track)
{
    write_skin();
    ASSERT_EQ(view_play->init(), 0);
    EXPECT_TRUE(play_view_is_open());
    {
        const sys_guard guard(play_view_lock);
        play_view.cover_scaled = image_create(3, 3);
        play_view.cover_scaled_for = &play_view.current_layout->elements[0];
        play_view.cover_image = play_cover_new(image_create(3, 3), 3, 3);
        play_view.lyrics_texts = static_cast<char **>(calloc(1, sizeof(char *)));
        play_view.lyrics_times = static_cast<uint32_t *>(calloc(1, sizeof(uint32_t)));
        play_view.lyrics_texts[0] = strdup("line");
        play_view.lyrics_count = 1;
    }
    EXPECT_EQ(view_play->exit(), 0);
    EXPECT_FALSE(play_view_is_open());
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_scaled, nullptr);
    EXPECT_EQ(play_view.cover_scaled_for, nullptr);
    EXPECT_EQ(play_view.cover_image, nullptr);
    EXPECT_EQ(play_view.lyrics_texts, nullptr);
    EXPECT_EQ(play_view.lyrics_times, nullptr);
    EXPECT_EQ(play_view.lyrics_count, 0u);
}

TEST_F(view_play_test, init_asks_anew_for_what_the_last_exit_freed)
{
    write_skin();
    write_track("a.mp3");
    scratch_write("a.lrc", "[00:00.01]one\n");
    ASSERT_EQ(view_play_begin("a.mp3"), 0);
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(view_play->init(), 0);
        EXPECT_EQ(view_play->draw(view_play, nullptr), 0);
        ASSERT_EQ(thread_settle(10000), 0);
        {
            const sys_guard guard(play_view_lock);
            EXPECT_NE(play_view.lyrics_texts, nullptr) << i;
        }
        EXPECT_EQ(view_play->exit(), 0);
    }
}

TEST_F(view_play_test, load_skin_falls_back_and_asks_for_a_frame)
{
    write_skin();
    ASSERT_EQ(view_play->init(), 0);
    EXPECT_EQ(view_play->draw(view_play, nullptr), 0);
    EXPECT_EQ(view_play->redraw, 0);
    EXPECT_EQ(view_play_load_skin("skins/gone"), 0);
    EXPECT_STREQ(cfg_skin_play, "skins/mine");
    EXPECT_EQ(view_play->redraw, 1);
}

TEST_F(view_play_test, begin_plays_and_selects_no_screen)
{
    write_track("a.mp3");
    std::atomic<int> result{7};
    std::thread other([&] { result = view_play_begin("a.mp3"); });
    other.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(view_selected, nullptr);
    EXPECT_STREQ(play_fpath, "a.mp3");
    EXPECT_EQ(view_play_begin("missing.mp3"), -1);
    EXPECT_EQ(view_selected, nullptr);
}

TEST_F(view_play_test, a_frame_allocates_nothing_once_it_is_warm)
{
    if (!counts_allocations)
        GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
    ASSERT_EQ(font_open("/usr/share/fonts/truetype/wqy/wqy-microhei.ttc"), 0);
    write_skin();
    write_track("a.mp3");
    scratch_write("a.lrc", "[00:00.01]one\n[00:00.01]two\n");
    ASSERT_EQ(view_play->init(), 0);
    ASSERT_EQ(view_play_begin("a.mp3"), 0);
    play_pos = 100;
    const auto frame = [] {
        view_play->redraw = 1;
        view_play->updated = 0;
        EXPECT_EQ(view_play->draw(view_play, nullptr), 0);
        EXPECT_EQ(view_play->updated, 1);
    };
    for (int i = 0; i < 3; i++) {
        frame();
        ASSERT_EQ(thread_settle(10000), 0);
    }
    const int64_t before = allocations;
    for (int i = 0; i < 10; i++)
        frame();
    EXPECT_EQ(allocations, before);
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(view_play->draw(view_play, nullptr), 0);
    EXPECT_EQ(allocations, before) << "nor does a pass with nothing to do";
    EXPECT_EQ(font_close(), 0);
}

/* Another thread ends and begins tracks while the screen draws and closes. */
TEST_F(view_play_test, survives_tracks_that_change_while_it_draws)
{
    write_skin(
        "<skin version=\"0.1\" show=\"lyrics\"><text format=\"$title$artist$mins\"/>"
        "<lyrics width=\"100\" height=\"50\"/><album_cover width=\"9\" height=\"9\"/></skin>");
    write_track("a.mp3");
    write_track("b.mp3");
    scratch_write("a.lrc", "[00:00.01]one\n");
    ASSERT_EQ(view_play->init(), 0);
    std::atomic<bool> done{false};
    std::thread player([&] {
        for (int i = 0; i < 60; i++) {
            EXPECT_EQ(view_play_begin(i % 2 ? "a.mp3" : "b.mp3"), 0);
            if (i % 5 == 0) {
                EXPECT_EQ(play_end(), 0);
            }
        }
        done = true;
    });
    while (!done) {
        EXPECT_EQ(view_play->draw(view_play, nullptr), 0);
        view_play->redraw = 1;
    }
    EXPECT_EQ(view_play->exit(), 0);
    player.join();
}
