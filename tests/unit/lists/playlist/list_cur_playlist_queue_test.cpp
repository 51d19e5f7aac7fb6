/* Queues of the size of a library: what they cost in questions, memory and writes. */
#include "unit/lists/fake_program.h"

#include "platform/base/fault.h"
#include "platform/file/file_later.h"
#include "support/allocations.h"

class list_cur_playlist_queue : public lists_test
{
  protected:
    void SetUp() override
    {
        lists_test::SetUp();
        ASSERT_EQ(library_open(), 0);
    }
    void TearDown() override
    {
        fault_set(nullptr);
        file_later_end();
        lists_test::TearDown();
    }
    static std::string path_of(int number)
    {
        return "/music/Some artist/Some album/" + std::to_string(number) + " it's.mp3";
    }
    static void add_tracks(int count)
    {
        sql("BEGIN;");
        sql("INSERT INTO zervp_artists(id, name) VALUES(1, 'Artist');");
        for (int i = 1; i <= count; i++) {
            const std::string id = std::to_string(i);
            char *url = db_mprintf("INSERT INTO zervp_urls(id, path) VALUES(%d, %Q);", i,
                                   path_of(i).c_str());
            sql(url);
            db_free(url);
            sql("INSERT INTO zervp_tracks(id, name, artist, url) VALUES(" + id + ", 'Title " + id +
                "', 1, " + id + ");");
        }
        sql("COMMIT;");
    }
    /* Loads the playlist of these numbers. */
    static void load(int first, int end)
    {
        std::string bytes;
        for (int i = first; i < end; i++)
            bytes += path_of(i) + "\r\n";
        write_file("list.m3u", bytes);
        ASSERT_EQ(list_cur_playlist_load("list.m3u", 1, nullptr, 0), 0);
    }
};

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(list_cur_playlist_queue, says_so_when_one_path_of_several_finds_no_memory)
{
    playlist_paths paths = {};
    for (int i = 0; i < 3; i++)
        ASSERT_EQ(list_cur_playlist_paths_add(&paths, path_of(i).c_str()), 0);
    const auto count = [] {
        const sys_guard guard(list_cur_playlist_lock);
        return list_cur_playlist_cur.count;
    };
    (void)fail_each_allocation([&] {
        const int done = list_cur_playlist_add_paths(&paths);
        const int left = allocation_to_fail;
        allocation_to_fail = 0;
        EXPECT_EQ(done == 0, count() == 3) << count();
        allocation_to_fail = left;
    });
    EXPECT_EQ(list_cur_playlist_paths_free(&paths), 0);
}
#endif

TEST_F(list_cur_playlist_queue, asks_for_many_names_at_once)
{
    add_tracks(3000);
    const struct {
        int first, end;
    } loads[] = {{5, 25}, {20, 300}, {2900, 3010}, {1, 2990}};
    texts expected;
    std::vector<bool> queued(3100);
    for (const auto &it : loads) {
        fault_set("db_exec:8");
        load(it.first, it.end);
        fault_set(nullptr);
        for (int i = it.first; i < it.end; i++) {
            if (!queued[i])
                expected.push_back(i <= 3000 ? "Title " + std::to_string(i) + " (Artist)"
                                             : std::to_string(i) + " it's.mp3");
            queued[i] = true;
        }
        EXPECT_EQ(queued_names(), expected);
        EXPECT_EQ(rows_of(list_cur_playlist), expected);
    }
}

TEST_F(list_cur_playlist_queue, keeps_the_names_of_what_is_queued_already)
{
    add_tracks(100);
    EXPECT_EQ(list_cur_playlist_add(path_of(3).c_str(), "Mine", "Me"), 0);
    load(1, 6);
    EXPECT_EQ(queued_names(), (texts{"Mine (Me)", "Title 1 (Artist)", "Title 2 (Artist)",
                                     "Title 4 (Artist)", "Title 5 (Artist)"}));
}

TEST_F(list_cur_playlist_queue, survives_a_library_that_does_not_answer)
{
    add_tracks(2000);
    for (int nth = 1; nth <= 4; nth++) {
        fault_set(("db_exec:" + std::to_string(nth)).c_str());
        load(1, 1800);
        fault_set(nullptr);
        EXPECT_EQ(queued_paths().size(), 1799u);
        EXPECT_EQ(choose(list_cur_playlist, 0, 3), 0);
    }
    EXPECT_EQ(library_close(), 0);
    load(1, 5);
    EXPECT_EQ(queued_names()[0], "1 it's.mp3");
}

TEST_F(list_cur_playlist_queue, holds_fifty_thousand_entries_in_little_more_than_their_text)
{
#ifdef ALLOCATIONS_ARE_COUNTED
    constexpr int count = 50000;
    const int64_t before = allocated_bytes;
    int64_t text = 0;
    for (int i = 0; i < count; i++) {
        const std::string path = path_of(i);
        const std::string name = "Title " + std::to_string(i);
        ASSERT_EQ(list_cur_playlist_add(path.c_str(), name.c_str(), "Artist"), 0);
        text += static_cast<int64_t>(path.size() + 1 + name.size() + sizeof " (Artist)");
    }
    EXPECT_EQ(list_cur_playlist->update(nullptr, nullptr), 0);
    EXPECT_LT((allocated_bytes - before - text) / count, 70);
#else
    GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
#endif
}

TEST_F(list_cur_playlist_queue, removes_a_row_without_copying_the_others)
{
#ifdef ALLOCATIONS_ARE_COUNTED
    load(0, 3000);
    const int before = allocations;
    const char *last = list_cur_playlist->items[2999];
    EXPECT_EQ(choose(list_cur_playlist, 7, 2), 0);
    EXPECT_LT(allocations - before, 40) << "what is written, and little else";
    EXPECT_EQ(list_cur_playlist->items[2998], last);
    EXPECT_EQ(list_cur_playlist->count, 2999u);
    EXPECT_STREQ(list_cur_playlist->subtitle, "Current Playlist (2999 曲目)");
    EXPECT_EQ(rows_of(list_cur_playlist), queued_names());
#else
    GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
#endif
}

/* Calls of write() by this process so far. */
static long long writes()
{
    FILE *file = fopen("/proc/self/io", "r");
    char line[100];
    long long count = -1;
    while (file && fgets(line, sizeof line, file))
        (void)sscanf(line, "syscw: %lld", &count);
    if (file)
        fclose(file);
    EXPECT_GE(count, 0);
    return count;
}

TEST_F(list_cur_playlist_queue, is_saved_in_one_write)
{
    load(0, 3000);
    const long long before = writes();
    EXPECT_EQ(list_cur_playlist->update(nullptr, nullptr), 0);
    EXPECT_EQ(writes() - before, 1);
    EXPECT_EQ(read_file("current.m3u").size(), read_file("list.m3u").size());
}

TEST_F(list_cur_playlist_queue, is_saved_by_somebody_else_when_the_program_runs)
{
    file_later_begin();
    load(0, 20);
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(choose(list_cur_playlist, 0, 2), 0);
    file_later_settle();
    std::string expected;
    for (int i = 10; i < 20; i++)
        expected += path_of(i) + "\r\n";
    EXPECT_EQ(read_file("current.m3u"), expected);
    /* Its exit saves what is still to be saved, and nothing after that. */
    EXPECT_EQ(choose(list_cur_playlist, 0, 2), 0);
    EXPECT_EQ(list_cur_playlist->exit(), 0);
    EXPECT_EQ(read_file("current.m3u"), expected.substr(path_of(10).size() + 2));
    EXPECT_EQ(list_cur_playlist->init(), 0);
    EXPECT_EQ(queued_paths().size(), 9u);
}
