#include "platform/db/db.h"
#include "platform/db/db_private.h"

#include "support/allocations.h"
#include "support/scratch.h"

#include <dlfcn.h>
#include <sqlite3.h>
#include <string>

static int remembered; /* texts prepared to be run again */
static int passing;    /* texts prepared for one run */

/* Stand before the library's own: what is prepared too often is no wrong answer, only a slow one. */
extern "C" int sqlite3_prepare_v3(sqlite3 *db, const char *sql, int size, unsigned flags,
                                  sqlite3_stmt **out, const char **tail)
{
    remembered++;
    static const auto next =
        reinterpret_cast<decltype(&sqlite3_prepare_v3)>(dlsym(RTLD_NEXT, "sqlite3_prepare_v3"));
    return next(db, sql, size, flags, out, tail);
}

extern "C" int sqlite3_prepare_v2(sqlite3 *db, const char *sql, int size, sqlite3_stmt **out,
                                  const char **tail)
{
    passing++;
    static const auto next =
        reinterpret_cast<decltype(&sqlite3_prepare_v2)>(dlsym(RTLD_NEXT, "sqlite3_prepare_v2"));
    return next(db, sql, size, out, tail);
}

struct db_cache : testing::Test {
    void SetUp() override
    {
        ASSERT_NE(handle = db_open("test.db"), nullptr);
        run("CREATE TABLE t(a TEXT, b TEXT);");
        remembered = passing = 0;
    }
    void TearDown() override { EXPECT_EQ(db_close(handle), 0); }

    void run(const std::string &sql)
    {
        EXPECT_EQ(db_exec(handle, sql.c_str(), nullptr), 0) << sql << ": " << db_err_msg(handle);
    }
    /* The n-th of many texts that differ in more than their literals. */
    void run_form(int n) { run("SELECT a FROM t WHERE " + std::to_string(n) + " = 'x';"); }

    scratch folder;
    db_handle *handle = nullptr;
};

TEST_F(db_cache, prepares_texts_once_that_differ_in_their_literals_only)
{
    for (const char *value : {"x", "", "it''s", "a longer text than those before"})
        run("INSERT INTO t VALUES('" + std::string(value) + "', 'b');");
    EXPECT_EQ(remembered, 1);
    EXPECT_EQ(passing, 0);
}

TEST_F(db_cache, runs_as_they_stand_what_has_no_literals_or_is_very_long)
{
    run("SELECT a FROM t;");
    run("SELECT a FROM t;");
    EXPECT_EQ(remembered, 0);
    EXPECT_EQ(passing, 2);
    const std::string head = "INSERT INTO t VALUES('a', '", end = "');";
    const size_t rest = 65536 - head.size() - end.size();
    run(head + std::string(rest - 1, 'x') + end);
    EXPECT_EQ(remembered, 1);
    run(head + std::string(rest, 'x') + end);
    EXPECT_EQ(remembered, 1);
    EXPECT_EQ(passing, 3);
}

TEST_F(db_cache, gives_up_the_text_that_was_not_wanted_for_longest)
{
    for (int n = 0; n < static_cast<int>(db_cache_size); n++)
        run_form(n);
    run_form(0);
    EXPECT_EQ(remembered, static_cast<int>(db_cache_size));
    run_form(100); /* in the place of 1, for 0 was wanted again */
    run_form(0);
    run_form(2);
    EXPECT_EQ(remembered, static_cast<int>(db_cache_size) + 1);
    run_form(1);
    EXPECT_EQ(remembered, static_cast<int>(db_cache_size) + 2);
    EXPECT_EQ(passing, 0);
}

TEST_F(db_cache, leaves_a_text_alone_of_which_only_a_part_can_be_prepared)
{
    run("INSERT INTO t VALUES('a', 'b'); INSERT INTO t VALUES('c', 'd');");
    EXPECT_EQ(passing, 2);
    db_result *result = nullptr;
    ASSERT_EQ(db_exec(handle, "SELECT count(*) FROM t;", &result), 0);
    EXPECT_STREQ(result->rows[0][0], "2");
    EXPECT_EQ(db_free_res(result), 0);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(db_cache_memory, leaves_nothing_prepared_when_it_runs_out)
{
    const scratch folder;
    bool failed = true;
    int n = 1;
    for (; failed; n++) {
        db_handle *handle = db_open("test.db");
        ASSERT_NE(handle, nullptr);
        ASSERT_EQ(db_exec(handle, "CREATE TABLE IF NOT EXISTS t(a TEXT);", nullptr), 0);
        allocation_to_fail = n;
        (void)db_exec(handle, "SELECT a FROM t WHERE a = 'x';", nullptr);
        failed = allocation_to_fail == 0;
        allocation_to_fail = 0;
        ASSERT_EQ(db_close(handle), 0) << n;
    }
    EXPECT_GT(n, 3);
}
#endif
