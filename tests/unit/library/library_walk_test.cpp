/* Walks: what is visited, in which order, and what ends them. */
#include "library/library_walk.h"

#include "library/media.h"
#include "platform/base/fault.h"
#include "support/allocations.h"
#include "support/scratch.h"

#include <algorithm>
#include <functional>
#include <set>

using texts = std::vector<std::string>;

static int entries_seen = 0; /* by the filter */

static int count_and_keep(const char *name, const struct stat *about)
{
    entries_seen++;
    return media_file_filter(name, about);
}

struct library_walk_test : testing::Test {
    scratch folder;
    texts visited;
    int asked = 0;           /* how often the walk wanted to go on */
    int ask_limit = 1 << 30; /* and how often it may */
    int visit_limit = 1 << 30;
    uint32_t most_names = library_walk_most_names;

    void TearDown() override { fault_set(nullptr); }
    static int visit(void *user, const char *path, const char *dir)
    {
        auto *test = static_cast<library_walk_test *>(user);
        const std::string text = path;
        EXPECT_EQ(text.substr(0, text.rfind('/')), dir);
        test->visited.push_back(text.substr(test->folder.path.size() + 1));
        return static_cast<int>(test->visited.size()) < test->visit_limit ? 0 : -1;
    }
    static bool go_on(void *user)
    {
        auto *test = static_cast<library_walk_test *>(user);
        return ++test->asked <= test->ask_limit;
    }
    library_walk_end walk(const std::string &below = "/m",
                          library_walk_order order = library_walk_order::files_first)
    {
        visited.clear();
        entries_seen = 0;
        const library_walk_plan plan = {
            .order = order,
            .filter = count_and_keep,
            .visit = visit,
            .go_on = go_on,
            .user = this,
            .most_names = most_names,
        };
        return library_walk((folder.path + below).c_str(), &plan);
    }
    static void shell(const std::string &command) { ASSERT_EQ(system(command.c_str()), 0); }
};

TEST_F(library_walk_test, visits_in_the_order_asked_for)
{
    shell("mkdir -p m/a/b m/c m/d && touch m/2.mp3 m/10.ogg m/a/x.mp3 m/a/b/y.flac m/c/z.m3u "
          "m/notes.txt");
    EXPECT_EQ(walk(), library_walk_end::done);
    EXPECT_EQ(visited, (texts{"m/2.mp3", "m/10.ogg", "m/a/x.mp3", "m/a/b/y.flac", "m/c/z.m3u"}));
    EXPECT_EQ(walk("/m", library_walk_order::folders_first), library_walk_end::done);
    EXPECT_EQ(visited, (texts{"m/a/b/y.flac", "m/a/x.mp3", "m/c/z.m3u", "m/2.mp3", "m/10.ogg"}));
}

TEST_F(library_walk_test, leaves_out_what_the_kernel_makes_up)
{
    shell("mkdir m && touch m/x.mp3 && ln -s /proc m/processes && ln -s /sys m/system && "
          "ln -s /proc/self/task m/tasks && ln -s /dev m/devices");
    EXPECT_EQ(walk(), library_walk_end::done);
    EXPECT_EQ(visited, texts{"m/x.mp3"});
    EXPECT_EQ(entries_seen, 5) << "nothing behind the links was looked at";
    for (const char *root : {"/proc", "/sys"}) {
        const library_walk_plan plan = {library_walk_order::files_first, count_and_keep, visit,
                                        go_on, this};
        entries_seen = 0;
        EXPECT_EQ(library_walk(root, &plan), library_walk_end::done);
        EXPECT_EQ(entries_seen, 0) << root;
    }
}

TEST_F(library_walk_test, enters_a_folder_through_one_link_only)
{
    shell("mkdir -p other/deep m && touch other/x.mp3 other/deep/y.mp3 && "
          "for i in 1 2 3; do ln -s ../other m/link$i; done && ln -s ../other/deep m/zlink");
    EXPECT_EQ(walk(), library_walk_end::done);
    EXPECT_EQ(visited, (texts{"m/link1/x.mp3", "m/link1/deep/y.mp3", "m/zlink/y.mp3"}));
}

TEST_F(library_walk_test, enters_no_folder_that_it_is_in)
{
    shell("mkdir -p m/a/b && touch m/x.mp3 m/a/y.mp3 && ln -s ../.. m/a/b/up && "
          "ln -s . m/a/here && ln -s ../../m m/a/root");
    EXPECT_EQ(walk(), library_walk_end::done);
    EXPECT_EQ(visited, (texts{"m/x.mp3", "m/a/y.mp3"}));
}

TEST_F(library_walk_test, ends_in_a_web_of_links)
{
    /* Each of twelve folders leads to all others: without a memory of them, 12! ways. */
    constexpr int count = 12;
    ASSERT_EQ(mkdir("m", 0755), 0);
    for (int i = 0; i < count; i++) {
        const std::string name = "m/" + std::to_string(i);
        ASSERT_EQ(mkdir(name.c_str(), 0755), 0);
        scratch_write(name + "/x.mp3", "");
        for (int j = 0; j < count; j++)
            ASSERT_EQ(symlink(("../" + std::to_string(j)).c_str(),
                              (name + "/to" + std::to_string(j)).c_str()),
                      0);
    }
    EXPECT_EQ(walk(), library_walk_end::done);
    EXPECT_EQ(std::set<std::string>(visited.begin(), visited.end()).size(), visited.size());
    EXPECT_GE(visited.size(), 12u);
    EXPECT_LE(visited.size(), 24u);
}

TEST_F(library_walk_test, ends_soon_when_nobody_wants_it_any_more)
{
    shell("mkdir m && cd m && seq -f %g.txt 400 | xargs touch && mkdir sub && touch sub/x.mp3");
    ask_limit = 4;
    EXPECT_EQ(walk(), library_walk_end::stopped);
    EXPECT_EQ(visited, texts{});
    EXPECT_LE(entries_seen, 4 * 32);
    ask_limit = 1 << 30;
    shell("cd m && seq -f %g.mp3 50 | xargs touch");
    for (const auto order : {library_walk_order::files_first, library_walk_order::folders_first}) {
        visit_limit = 7;
        EXPECT_EQ(walk("/m", order), library_walk_end::stopped);
        EXPECT_EQ(visited.size(), 7u);
    }
}

TEST_F(library_walk_test, tells_a_folder_with_nothing_from_one_that_cannot_be_read)
{
    shell("mkdir -p m/a m/b && touch m/a/x.mp3 m/b/y.mp3 file");
    EXPECT_EQ(walk("/missing"), library_walk_end::absent);
    EXPECT_EQ(walk("/file"), library_walk_end::absent);
    EXPECT_EQ(walk("/" + std::string(300, 'x')), library_walk_end::absent);
    fault_set("file_list_dir:1");
    EXPECT_EQ(walk(), library_walk_end::failed);
    EXPECT_EQ(visited, texts{});
    /* One subfolder on a bad block is left out. */
    fault_set("file_list_dir:2");
    EXPECT_EQ(walk(), library_walk_end::done);
    EXPECT_EQ(visited, texts{"m/b/y.mp3"});
    /* A card that is pulled takes all of them, and the folder itself, along. */
    fault_set("file_list_dir:2,file_list_dir:3,file_list_dir:4");
    EXPECT_EQ(walk(), library_walk_end::failed);
    EXPECT_EQ(visited, texts{});
}

/* The names of some hundred thousand would fill a small device. */
TEST_F(library_walk_test, leaves_out_the_subfolders_of_a_folder_with_too_many)
{
    shell("mkdir -p m/a m/many/1 m/many/2 m/many/3 m/z/in && touch m/many/x.mp3 m/many/2/y.mp3 "
          "m/z/in/z.mp3");
    const texts all = {"m/many/x.mp3", "m/many/2/y.mp3", "m/z/in/z.mp3"};
    const texts fewer = {"m/many/x.mp3", "m/z/in/z.mp3"};
    /* Each folder has its parent in front: four of m, and four of m/many while it is open. */
    for (const auto &it :
         {std::pair(8u, all), std::pair(7u, fewer), std::pair(6u, fewer), std::pair(3u, texts())}) {
        most_names = it.first;
        EXPECT_EQ(walk(), library_walk_end::done);
        EXPECT_EQ(visited, it.second) << it.first;
    }
}

TEST_F(library_walk_test, holds_no_more_than_the_folders_it_is_in)
{
#ifdef ALLOCATIONS_ARE_COUNTED
    shell("mkdir m && cd m && for i in $(seq 15); do mkdir deeper && "
          "seq -f %0240.0f.mp3 50 | xargs touch && cd deeper; done");
    for (const auto order : {library_walk_order::files_first, library_walk_order::folders_first}) {
        const int64_t before = allocated_bytes;
        allocated_peak = before;
        int64_t kept = 0;
        const library_walk_plan plan = {
            .order = order,
            .filter = media_file_filter,
            .visit =
                [](void *user, const char *, const char *) {
                    ++*static_cast<int64_t *>(user);
                    return 0;
                },
            .go_on = [](void *) { return true; },
            .user = &kept,
        };
        EXPECT_EQ(library_walk((folder.path + "/m").c_str(), &plan), library_walk_end::done);
        EXPECT_EQ(kept, 750);
        EXPECT_EQ(allocated_bytes, before);
        /* All names together are above 200 000 bytes. */
        EXPECT_LT(allocated_peak - before, 100000);
    }
#else
    GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
#endif
}
