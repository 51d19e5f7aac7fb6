/* Files replaced where the system refuses a part of it, or another writer comes in between. */
#include "unit/platform/file/file_replace_fixture.h"

#include "support/refused_calls.h"
#include "support/scratch.h"

#include <functional>
#include <sys/file.h>
#include <utility>

static std::function<void()> before_lock; /* once */

/* Stands before the C library's own: what another process does between two calls. */
extern "C" int flock(int fd, int how) noexcept
{
    if (before_lock)
        std::exchange(before_lock, nullptr)();
    return static_cast<int>(syscall(SYS_flock, fd, how));
}

/* What a child answers that replaces "a", to whom calls are refused. */
static int replaced_after(const std::function<void()> &refuse)
{
    const pid_t child = fork();
    if (child == 0) {
        refuse();
        _exit(replace("a", "new") == 0 ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(file_replace_refused, a_folder_that_takes_no_file_has_it_written_in_place)
{
    if (!can_refuse_calls())
        GTEST_SKIP() << "an emulator refuses no calls";
    for (const int error : {EACCES, EPERM, EROFS, ENAMETOOLONG}) {
        const scratch folder;
        scratch_write("a", "a longer old content");
        EXPECT_EQ(replaced_after([error] { refuse_creating(error); }), 0) << error;
        EXPECT_EQ(scratch_read("a"), "new") << error;
        EXPECT_EQ(scratch_names("."), texts{"a"});
    }
    for (const int error : {EIO, ENOSPC, EINVAL}) {
        const scratch folder;
        scratch_write("a", "old");
        EXPECT_EQ(replaced_after([error] { refuse_creating(error); }), 1) << error;
        EXPECT_EQ(scratch_read("a"), "old") << error;
        EXPECT_EQ(scratch_names("."), texts{"a"});
    }
}

TEST(file_replace_refused, a_name_that_cannot_be_taken_over_is_written_to)
{
    if (!can_refuse_calls())
        GTEST_SKIP() << "an emulator refuses no calls";
    for (const int error : {EBUSY, EPERM, EACCES, EIO, ENOSPC}) {
        const bool is_copied = error != EIO && error != ENOSPC;
        const scratch folder;
        scratch_write("a", "a longer old content");
        const auto refuse = [error] {
            refuse_calls({SYS_rename, SYS_renameat, SYS_renameat2}, error);
        };
        EXPECT_EQ(replaced_after(refuse), is_copied ? 0 : 1) << error;
        EXPECT_EQ(scratch_read("a"), is_copied ? "new" : "a longer old content") << error;
        EXPECT_EQ(scratch_names("."), texts{"a"}) << "nothing beside it after error " << error;
    }
}

TEST(file_replace_refused, a_file_that_is_swept_away_before_its_lock_is_made_again)
{
    const scratch folder;
    scratch_write("a", "old");
    before_lock = [] {
        const texts names = scratch_names(".");
        ASSERT_EQ(names.size(), 2u);
        ASSERT_EQ(unlink(names[names[0] == "a"].c_str()), 0);
    };
    EXPECT_EQ(replace("a", "new"), 0);
    EXPECT_FALSE(before_lock) << "nobody came in between";
    EXPECT_EQ(scratch_read("a"), "new");
    EXPECT_EQ(scratch_names("."), texts{"a"});
}

/* What an interrupted writer left may have become the file of the next one, until its lock is tried. */
TEST(file_replace_refused, a_leftover_that_changes_hands_is_left_alone)
{
    const scratch folder;
    scratch_write("a", "old");
    scratch_write(".a.new", "of a writer that was killed");
    before_lock = [] {
        EXPECT_EQ(unlink(".a.new"), 0);
        scratch_write(".a.new", "of a writer at work");
    };
    EXPECT_EQ(replace("a", "new"), 0);
    EXPECT_EQ(scratch_read("a"), "new");
    EXPECT_EQ(scratch_read(".a.new"), "of a writer at work");
    EXPECT_EQ(scratch_names(".").size(), 2u);
}
