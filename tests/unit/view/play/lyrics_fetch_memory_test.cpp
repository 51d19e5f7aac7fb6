/* Lyrics that are fetched while memory runs out. */
#include "makers/maker_http.h"
#include "platform/base/clock.h"
#include "platform/net/sock.h"
#include "support/allocations.h"
#include "support/scratch.h"
#include "view/lyrics/lyrics_fetch.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#ifdef ALLOCATIONS_ARE_COUNTED
/* A broken-off answer keeps what came of it, but nothing is ever missing between. */
TEST(lyrics_fetch_memory, no_piece_is_lost_between_two_others)
{
    const scratch here;
    ASSERT_EQ(sock_init(), 0);
    maker_http server;
    ASSERT_EQ(setenv("ZERV_LYRICS_HOST", server.host().c_str(), 1), 0);
    scratch_write("song.mp3", "abc");
    std::string song;
    for (int i = 0; i < 500; i++)
        song += "[00:01.00]line " + std::to_string(i) + "\n";
    maker_http_answer whole;
    whole.body = song;
    server.answer("/live-lyrics/fetch/900150983cd24fb0d6963f7d28e17f72", whole);
    const auto always = [](void *) { return true; };
    int fetched = 0, failed = 0;
    fail_each_allocation([&] {
        const int result = lyrics_fetch("song.mp3", "song.lrc", always, nullptr);
        const int left = allocation_to_fail;
        allocation_to_fail = 0;
        const std::string kept = scratch_exists("song.lrc") ? scratch_read("song.lrc") : "";
        if (result == 0) {
            EXPECT_EQ(kept, song);
        }
        EXPECT_EQ(kept, song.substr(0, kept.size()));
        (void)remove("song.lrc");
        (result == 0 ? fetched : failed)++;
        allocation_to_fail = left;
    });
    EXPECT_GE(fetched, 1) << "the last one, for which nothing failed";
    EXPECT_GE(failed, 10);
    server.stop();
    EXPECT_EQ(sock_exit(), 0);
}
#endif
