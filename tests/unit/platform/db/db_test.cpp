#include "platform/db/db.h"

#include "platform/base/fault.h"
#include "support/scratch.h"
#include "support/seed.h"

#include <atomic>
#include <cstring>
#include <sqlite3.h>
#include <thread>

typedef std::vector<std::string> texts;

/* The database library sleeps while another connection holds the lock. */
static std::atomic<int64_t> slept_us{0};
static std::atomic<bool> sleeps_pass{false}; /* as if they were over */

extern "C" int usleep(useconds_t us)
{
    slept_us += us;
    const timespec time = {.tv_sec = us / 1000000,
                           .tv_nsec = static_cast<long>(us % 1000000 * 1000)};
    return sleeps_pass ? 0 : nanosleep(&time, nullptr);
}

struct db : testing::Test {
    scratch folder;
    db_handle *handle = nullptr;

    void SetUp() override { ASSERT_NE(handle = db_open("test.db"), nullptr); }
    void TearDown() override { EXPECT_EQ(db_close(handle), 0); }

    int run(const char *sql) { return db_exec(handle, sql, nullptr); }
    std::string error(const char *sql)
    {
        EXPECT_EQ(db_exec(handle, sql, nullptr), -1) << sql;
        return db_err_msg(handle);
    }
    /* All columns of all rows, joined by "|"; null columns as "(null)". */
    texts rows(const char *sql)
    {
        db_result *result = nullptr;
        if (db_exec(handle, sql, &result) != 0)
            return {std::string("error: ") + db_err_msg(handle)};
        texts lines;
        for (uint32_t r = 0; r < result->count; r++) {
            std::string line;
            for (uint32_t c = 0; c < result->columns; c++)
                line += (c ? "|" : "") +
                        std::string(result->rows[r][c] ? result->rows[r][c] : "(null)");
            lines.push_back(line);
        }
        EXPECT_EQ(db_free_res(result), 0);
        return lines;
    }
};

TEST_F(db, keeps_what_was_written)
{
    EXPECT_EQ(run("CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT);"), 0);
    EXPECT_EQ(run("INSERT INTO t(name) VALUES('a'),('b');"), 0);
    ASSERT_EQ(db_close(handle), 0);
    ASSERT_NE(handle = db_open("test.db"), nullptr);
    EXPECT_EQ(rows("SELECT id, name FROM t;"), (texts{"1|a", "2|b"}));
}

TEST_F(db, gives_texts_in_the_order_of_the_columns_and_null_pointers_for_null)
{
    EXPECT_EQ(rows("SELECT 'x' AS a, 12, NULL, 1.5, '' , 'y';"), (texts{"x|12|(null)|1.5||y"}));
    EXPECT_EQ(rows("VALUES(1),(2);"), (texts{"1", "2"}));
}

TEST_F(db, gives_an_empty_result_for_no_rows)
{
    ASSERT_EQ(run("CREATE TABLE t(a, b);"), 0);
    db_result *result = nullptr;
    ASSERT_EQ(db_exec(handle, "SELECT a, b FROM t;", &result), 0);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->count, 0u);
    EXPECT_EQ(result->columns, 2u);
    db_free_res(result);
    ASSERT_EQ(db_exec(handle, "INSERT INTO t(a) VALUES('x');", &result), 0);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->count, 0u);
    db_free_res(result);
    EXPECT_EQ(db_free_res(nullptr), 0);
}

TEST_F(db, gives_large_results_and_long_texts)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"
                  "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000)"
                  "INSERT INTO t SELECT printf('row %d', i) FROM n;"
                  "INSERT INTO t VALUES(printf('%.*c', 300000, 'x'));"),
              0);
    const texts all = rows("SELECT a FROM t ORDER BY rowid;");
    ASSERT_EQ(all.size(), 20001u);
    EXPECT_EQ(all[0], "row 1");
    EXPECT_EQ(all[19999], "row 20000");
    EXPECT_EQ(all[20000], std::string(300000, 'x'));
}

TEST_F(db, clears_the_result_on_failure)
{
    db_result *result = reinterpret_cast<db_result *>(1);
    EXPECT_EQ(db_exec(handle, "SELECT * FROM missing;", &result), -1);
    EXPECT_EQ(result, nullptr);
    EXPECT_STREQ(db_err_msg(handle), "no such table: missing");
    result = reinterpret_cast<db_result *>(1);
    EXPECT_EQ(db_exec(nullptr, "SELECT 1;", &result), -1);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(db_exec(handle, nullptr, &result), -1);
    EXPECT_EQ(result, nullptr);
}

TEST_F(db, runs_several_statements_and_stops_at_the_first_that_fails)
{
    EXPECT_EQ(run("CREATE TABLE t(a UNIQUE); INSERT INTO t VALUES('x'); ; -- end\n"), 0);
    EXPECT_EQ(error("INSERT INTO t VALUES('y'); INSERT INTO t VALUES('x'); INSERT INTO t "
                    "VALUES('z');"),
              "UNIQUE constraint failed: t.a");
    EXPECT_EQ(rows("SELECT a FROM t;"), (texts{"x", "y"}));
    EXPECT_EQ(rows("SELECT 1; SELECT 2, 3;"), (texts{"1", "2"}));
    EXPECT_EQ(run(""), 0);
    EXPECT_EQ(run("  ;  "), 0);
}

TEST_F(db, quotes_with_the_rules_of_its_printf)
{
    char *text = db_mprintf("%Q %Q %s %d", "it's", nullptr, "plain", 7);
    EXPECT_STREQ(text, "'it''s' NULL plain 7");
    db_free(text);
    db_free(nullptr);
}

TEST_F(db, brings_back_every_text_that_is_quoted)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"), 0);
    const texts values = {"",           "'",
                          "''",         "a'b''c",
                          "%s %d %n",   "?",
                          "?1",         "--",
                          "/* */",      ";",
                          "未知",       "한글",
                          "\\",         "\"quoted\"",
                          "a\nb\tc",    "\xff\xfe",
                          ":name",      "'; DROP TABLE t; --",
                          "x'",         std::string(5000, '\''),
                          "$x @y #z [`"};
    for (const std::string &value : values) {
        char *sql = db_mprintf("INSERT INTO t(a) VALUES(%Q);", value.c_str());
        EXPECT_EQ(run(sql), 0) << value;
        db_free(sql);
        sql = db_mprintf("SELECT count(*) FROM t WHERE a = %Q;", value.c_str());
        EXPECT_EQ(rows(sql), texts{"1"}) << value;
        db_free(sql);
    }
    EXPECT_EQ(rows("SELECT a FROM t ORDER BY rowid;"), values);
}

TEST_F(db, tells_null_from_a_text)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT NOT NULL, b TEXT);"), 0);
    char *sql = db_mprintf("INSERT INTO t VALUES(%Q, %Q);", "NULL", nullptr);
    EXPECT_EQ(run(sql), 0);
    db_free(sql);
    sql = db_mprintf("INSERT INTO t VALUES(%Q, %Q);", nullptr, "x");
    EXPECT_EQ(error(sql), "NOT NULL constraint failed: t.a");
    db_free(sql);
    EXPECT_EQ(rows("SELECT a, b FROM t;"), texts{"NULL|(null)"});
}

TEST_F(db, keeps_no_value_of_the_call_before)
{
    ASSERT_EQ(run("CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT UNIQUE);"), 0);
    EXPECT_EQ(run("INSERT INTO t(a) VALUES('one');"), 0);
    EXPECT_EQ(error("INSERT INTO t(a) VALUES('one');"), "UNIQUE constraint failed: t.a");
    EXPECT_EQ(run("INSERT INTO t(a) VALUES('two');"), 0);
    EXPECT_EQ(run("INSERT INTO t(a) VALUES('');"), 0);
    EXPECT_EQ(rows("SELECT a FROM t;"), (texts{"one", "two", ""}));
}

/* What SQLite itself says to a text. */
static std::string plain_error(const char *schema, const char *sql)
{
    sqlite3 *plain = nullptr;
    char *message = nullptr;
    EXPECT_EQ(sqlite3_open(":memory:", &plain), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(plain, schema, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_exec(plain, sql, nullptr, nullptr, &message);
    const std::string copy = message ? message : "(none)";
    sqlite3_free(message);
    sqlite3_close(plain);
    return copy;
}

TEST_F(db, gives_the_very_words_of_sqlite)
{
    const char *schema = "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT NOT NULL UNIQUE, "
                         "b INTEGER CHECK(b < 5)); INSERT INTO t VALUES(1, 'x', 1);";
    ASSERT_EQ(run(schema), 0);
    for (const char *sql : {
             "INSERT INTO t(a) VALUES('x');",
             "INSERT INTO t(id, a) VALUES('no number', 'y');",
             "INSERT INTO t(a, b) VALUES('y', '9');",
             "INSERT INTO t(a) VALUES(NULL);",
             "INSERT INTO missing(a) VALUES('x');",
             "INSERT INTO t(nothing) VALUES('x');",
             "INSERT INTO t('a') VALUES('x', 'y');",
             "INSERT INTO t(a) VALUES('x',);",
             "INSERT INTO t(a) VALUES('x'y);",
             "INSERT INTO t(a) VALUES('x",
             "INSERT INTO t(a) VALUES(missing('x'));",
             "SELECT nope FROM t WHERE a = 'x';",
             "SELECT abs('x', 'y');",
             "SELEC 'x';",
             "COMMIT;",
             "INSERT INTO t(a) SELECT 'q' FROM nowhere WHERE a='z';",
         })
        EXPECT_EQ(error(sql), plain_error(schema, sql)) << sql;
}

/* Runs the texts through the wrapper and through SQLite itself; the files must not differ. */
static void expect_same_file(const texts &sqls)
{
    const scratch folder;
    db_handle *handle = db_open("wrapped.db");
    sqlite3 *plain = nullptr;
    ASSERT_EQ(sqlite3_open("plain.db", &plain), SQLITE_OK);
    for (const std::string &sql : sqls) {
        const int code = sqlite3_exec(plain, sql.c_str(), nullptr, nullptr, nullptr);
        ASSERT_EQ(db_exec(handle, sql.c_str(), nullptr), code == SQLITE_OK ? 0 : -1) << sql;
        if (code != SQLITE_OK) {
            ASSERT_STREQ(db_err_msg(handle), sqlite3_errmsg(plain)) << sql;
        }
    }
    sqlite3_close(plain);
    db_close(handle);
    ASSERT_TRUE(scratch_read("wrapped.db") == scratch_read("plain.db"));
    ASSERT_GT(scratch_read("plain.db").size(), 4096u);
}

static std::string quoted(const std::string &value)
{
    char *text = db_mprintf("%Q", value.c_str());
    const std::string copy = text;
    db_free(text);
    return copy;
}

static texts scan_like_texts(unsigned seed, int files)
{
    texts sqls = {"CREATE TABLE dirs(id INTEGER PRIMARY KEY, path TEXT NOT NULL);",
                  "CREATE UNIQUE INDEX dirs_path ON dirs(path);",
                  "CREATE TABLE names(id INTEGER PRIMARY KEY, name TEXT NOT NULL COLLATE NOCASE);",
                  "CREATE UNIQUE INDEX names_name ON names(name);",
                  "CREATE TABLE tracks(id INTEGER PRIMARY KEY, name TEXT COLLATE NOCASE, "
                  "dir INTEGER, artist INTEGER, any);",
                  "CREATE INDEX tracks_name ON tracks(name);",
                  "BEGIN TRANSACTION;",
                  "DELETE FROM tracks;"};
    for (int i = 0; i < files; i++) {
        const std::string dir = quoted("/m/d" + std::to_string(rand_r(&seed) % 50) + "'s");
        const std::string name =
            quoted(std::string(rand_r(&seed) % 90, static_cast<char>(33 + rand_r(&seed) % 200)));
        sqls.push_back("INSERT OR IGNORE INTO dirs(path) VALUES(" + dir + ");");
        sqls.push_back("INSERT OR IGNORE INTO names(name) VALUES(" + name + ");");
        sqls.push_back("INSERT INTO tracks(name, dir, artist, any) VALUES(" + name +
                       ", (SELECT id FROM dirs WHERE path = " + dir +
                       "), (SELECT id FROM names WHERE name=" + name + "),'12');");
        if (i % 97 == 0)
            sqls.push_back("INSERT INTO dirs(path) VALUES(" + dir + ");"); /* fails */
        if (i % 89 == 0)
            sqls.push_back("DELETE FROM tracks WHERE name = " + name + ";");
    }
    sqls.push_back("COMMIT TRANSACTION;");
    return sqls;
}

TEST(db_file, is_byte_for_byte_what_the_texts_alone_would_make)
{
    const unsigned first = seed_or(1);
    for (unsigned seed = first; seed < first + 5; seed++)
        expect_same_file(scan_like_texts(seed, 1500));
}

TEST(db_file, does_not_depend_on_how_odd_a_text_is)
{
    expect_same_file({
        "CREATE TABLE t(a TEXT, b INTEGER, c, d REAL DEFAULT '1.5');",
        "INSERT INTO t(a,b,c) VALUES('1','2','3');",
        "insert into t(a,b,c) values ( '01' , '02' , '03' ) ;",
        "INSERT INTO t(a,b,c) VALUES(1,2,x'61');",
        "INSERT INTO t(a,b,c) VALUES('a' || 'b', '7' + '8', 'x' LIKE 'X');",
        "INSERT INTO t(a) SELECT a FROM t WHERE a = '1' OR b IN ('2', '02');",
        "INSERT INTO t(a) SELECT a || 'z' FROM t WHERE a LIKE '0%' ORDER BY 'a' LIMIT '1';",
        "INSERT INTO t(a, c) VALUES(\"a\", 'double');",
        "INSERT INTO t(a) VALUES('comment' /* 'no value' */);",
        "INSERT INTO t(a) VALUES('line') -- 'no value'\n;",
        "INSERT INTO t(a) VALUES(?);",
        "INSERT INTO t(a) VALUES(CAST('7' AS INTEGER)),(typeof('7')),(length('it''s'));",
        "INSERT INTO t(a,b) VALUES('one', 1); INSERT INTO t(a,b) VALUES('two', 2);",
        "INSERT INTO t('a') VALUES('quoted column');",
        "INSERT INTO [t](`a`) VALUES('brackets');",
        "INSERTINTO t VALUES('x');",
        "UPDATE t SET a = 'updated' WHERE b = '2';",
        "REPLACE INTO t(a) VALUES('replaced');",
        "WITH q(x) AS (SELECT 'w') INSERT INTO t(a) SELECT x FROM q;",
        "INSERT INTO t(a) VALUES('a1','a2');",
        "INSERT INTO t(a) VALUES(''),(''''),('''''');",
        "INSERT INTO t(a,b,c,d) VALUES('1e3','1e3','1e3','1e3');",
        "INSERT INTO t(a) VALUES((SELECT max(a) FROM t WHERE a<>'z'AND a='1'));",
        "INSERT INTO t(a) VALUES('l1'),('l2'),('l3'),('l4'),('l5'),('l6'),('l7'),('l8'),('l9'),"
        "('l10'),('l11'),('l12'),('l13'),('l14'),('l15'),('l16'),('l17');",
        "INSERT INTO t(a) VALUES('" + std::string(70000, 'L') + "');",
    });
}

/* Pieces of SQL thrown together: most are nonsense, and all must fare as they do without us. */
static std::string random_text(unsigned *seed)
{
    static const char *const starts[] = {"INSERT INTO t(a,b) VALUES(",
                                         "insert or ignore into t(a) select ", "SELECT ",
                                         "SELECT * FROM t WHERE a = ", "INSERT INTO t VALUES("};
    static const char *const pieces[] = {"'x'",
                                         "'it''s'",
                                         "''",
                                         "''''",
                                         ",",
                                         "(",
                                         ")",
                                         "=",
                                         " = ",
                                         "a",
                                         "b",
                                         " IN ",
                                         "7",
                                         "x'61'",
                                         " || ",
                                         "?",
                                         ":n",
                                         "\"a\"",
                                         "[a]",
                                         "-- c\n",
                                         "/*'*/",
                                         " ",
                                         ";",
                                         "NULL",
                                         " LIKE ",
                                         "'",
                                         " AS ",
                                         "1e3",
                                         "-",
                                         "'x'1",
                                         "(SELECT max(a) FROM t WHERE a='x')",
                                         "),(",
                                         " FROM t",
                                         " ORDER BY ",
                                         " AND ",
                                         "'y'"};
    std::string text = starts[static_cast<size_t>(rand_r(seed)) % std::size(starts)];
    for (int n = rand_r(seed) % 8; n >= 0; n--)
        text += pieces[static_cast<size_t>(rand_r(seed)) % std::size(pieces)];
    return rand_r(seed) % 2 ? text + ");" : text;
}

TEST(db_file, does_not_depend_on_what_is_thrown_together)
{
    unsigned seed = seed_or(99);
    texts sqls = {"CREATE TABLE t(a TEXT, b INTEGER UNIQUE);", "BEGIN;"};
    for (int i = 0; i < 20000; i++)
        sqls.push_back(random_text(&seed));
    sqls.push_back("COMMIT;");
    expect_same_file(sqls);
}

TEST_F(db, keeps_working_when_more_texts_come_than_it_remembers)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT, n INTEGER);"), 0);
    for (int round = 0; round < 3; round++)
        for (int n = 0; n < 40; n++) {
            char *sql = db_mprintf("INSERT INTO t(a, n) VALUES(%Q, %d);", "x", n);
            ASSERT_EQ(run(sql), 0);
            db_free(sql);
        }
    EXPECT_EQ(rows("SELECT count(*), sum(n) FROM t;"), texts{"120|2340"});
}

TEST_F(db, sees_a_changed_schema)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"), 0);
    ASSERT_EQ(run("INSERT INTO t VALUES('x');"), 0);
    ASSERT_EQ(run("DROP TABLE t;"), 0);
    EXPECT_EQ(error("INSERT INTO t VALUES('y');"), "no such table: t");
    ASSERT_EQ(run("CREATE TABLE t(b TEXT, a TEXT DEFAULT 'd');"), 0);
    EXPECT_EQ(error("INSERT INTO t VALUES('y');"),
              "table t has 2 columns but 1 values were supplied");
    ASSERT_EQ(run("INSERT INTO t(b) VALUES('y');"), 0);
    EXPECT_EQ(rows("SELECT * FROM t WHERE b = 'y';"), texts{"y|d"});
}

TEST_F(db, ends_a_transaction_while_texts_are_remembered)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"), 0);
    ASSERT_EQ(run("BEGIN TRANSACTION;"), 0);
    EXPECT_EQ(error("BEGIN TRANSACTION;"), "cannot start a transaction within a transaction");
    ASSERT_EQ(run("INSERT INTO t VALUES('x');"), 0);
    EXPECT_EQ(rows("SELECT a FROM t WHERE a = 'x';"), texts{"x"});
    EXPECT_EQ(run("COMMIT TRANSACTION;"), 0);
}

TEST_F(db, knows_whether_a_transaction_is_open)
{
    EXPECT_FALSE(db_is_in_transaction(handle));
    ASSERT_EQ(run("BEGIN;"), 0);
    EXPECT_TRUE(db_is_in_transaction(handle));
    ASSERT_EQ(run("ROLLBACK;"), 0);
    EXPECT_FALSE(db_is_in_transaction(handle));
    ASSERT_EQ(run("BEGIN;"), 0);
    ASSERT_EQ(db_close(handle), 0);
    EXPECT_FALSE(db_is_in_transaction(handle));
    EXPECT_FALSE(db_is_in_transaction(nullptr));
}

TEST_F(db, rolls_an_open_transaction_back_at_the_close)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"), 0);
    ASSERT_EQ(run("BEGIN;"), 0);
    ASSERT_EQ(run("INSERT INTO t VALUES('x');"), 0);
    ASSERT_EQ(db_close(handle), 0);
    ASSERT_NE(handle = db_open("test.db"), nullptr);
    EXPECT_EQ(rows("SELECT * FROM t;"), texts{});
}

TEST_F(db, answers_after_the_close_with_a_failure)
{
    EXPECT_TRUE(db_is_open(handle));
    EXPECT_EQ(db_close(handle), 0);
    EXPECT_FALSE(db_is_open(handle));
    EXPECT_EQ(run("SELECT 1;"), -1);
    EXPECT_STREQ(db_err_msg(handle), "database is closed");
    EXPECT_EQ(db_close(handle), 0);
    EXPECT_EQ(db_close(nullptr), 0);
    EXPECT_FALSE(db_is_open(nullptr));
}

TEST_F(db, keeps_a_message_for_each_thread)
{
    EXPECT_EQ(error("SELECT * FROM mine;"), "no such table: mine");
    std::thread other([this] {
        EXPECT_EQ(error("SELECT * FROM theirs;"), "no such table: theirs");
        EXPECT_EQ(run("SELECT 1;"), 0);
        EXPECT_STREQ(db_err_msg(handle), "no such table: theirs");
    });
    other.join();
    EXPECT_STREQ(db_err_msg(handle), "no such table: mine");
}

TEST_F(db, serves_two_threads_and_a_close_in_between)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"), 0);
    std::atomic<int> inserted = 0;
    std::thread writer([&] {
        for (int i = 0;; i++) {
            char *sql = db_mprintf("INSERT INTO t VALUES('%d');", i);
            const int result = run(sql);
            db_free(sql);
            if (result != 0)
                break;
            inserted++;
        }
        EXPECT_STREQ(db_err_msg(handle), "database is closed");
    });
    while (inserted < 100) {
        const texts found = rows("SELECT a FROM t WHERE a = '5';");
        ASSERT_LE(found.size(), 1u);
    }
    EXPECT_EQ(db_close(handle), 0);
    writer.join();
    ASSERT_NE(handle = db_open("test.db"), nullptr);
    EXPECT_EQ(rows("SELECT count(*) FROM t;"), texts{std::to_string(inserted.load())});
}

TEST_F(db, lets_a_reader_in_while_another_thread_writes_without_pause)
{
    ASSERT_EQ(run("CREATE TABLE t(a TEXT);"), 0);
    ASSERT_EQ(run("BEGIN;"), 0);
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        while (!stop)
            ASSERT_EQ(run("INSERT INTO t VALUES('x');"), 0);
    });
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(rows("SELECT 'mine';"), texts{"mine"});
    stop = true;
    writer.join();
}

/* It would do so under one lock for all threads. */
TEST_F(db, lets_the_library_count_no_memory)
{
    EXPECT_EQ(run("CREATE TABLE t(name TEXT);"), 0);
    EXPECT_EQ(sqlite3_memory_used(), 0);
}

TEST(db_open, refuses_what_cannot_be_a_database)
{
    const scratch folder;
    ASSERT_EQ(mkdir("d", 0755), 0);
    EXPECT_EQ(db_open("d"), nullptr);
    EXPECT_EQ(db_open("missing/x.db"), nullptr);
    EXPECT_EQ(db_open(""), nullptr);
    EXPECT_EQ(db_open(nullptr), nullptr);
    scratch_write("garbage.db", std::string(5000, 'g'));
    db_handle *handle = db_open("garbage.db");
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(db_exec(handle, "SELECT * FROM sqlite_master;", nullptr), -1);
    EXPECT_STREQ(db_err_msg(handle), "file is not a database");
    db_close(handle);
    EXPECT_EQ(scratch_read("garbage.db"), std::string(5000, 'g'));
}

TEST(db_open, waits_for_another_program_but_not_for_ever)
{
    const scratch folder;
    db_handle *first = db_open("x.db");
    db_handle *second = db_open("x.db");
    ASSERT_EQ(db_exec(first, "CREATE TABLE t(a);", nullptr), 0);
    ASSERT_EQ(db_exec(first, "BEGIN EXCLUSIVE;", nullptr), 0);
    slept_us = 0;
    sleeps_pass = true;
    EXPECT_EQ(db_exec(second, "INSERT INTO t VALUES('x');", nullptr), -1);
    EXPECT_STREQ(db_err_msg(second), "database is locked");
    EXPECT_EQ(slept_us, 2500000) << "waits two and a half seconds, and once";
    sleeps_pass = false;
    std::thread later(
        [&] { EXPECT_EQ(db_exec(second, "INSERT INTO t VALUES('x');", nullptr), 0); });
    EXPECT_EQ(db_exec(first, "COMMIT;", nullptr), 0);
    later.join();
    db_close(first);
    db_close(second);
}

TEST(db_fault, fails_on_request)
{
    const scratch folder;
    fault_set("db_open");
    EXPECT_EQ(db_open("x.db"), nullptr);
    fault_set("db_exec:2");
    db_handle *handle = db_open("x.db");
    EXPECT_EQ(db_exec(handle, "SELECT 1;", nullptr), 0);
    EXPECT_EQ(db_exec(handle, "SELECT 1;", nullptr), -1);
    EXPECT_EQ(db_exec(handle, "SELECT 1;", nullptr), 0);
    fault_set(nullptr);
    db_close(handle);
}
