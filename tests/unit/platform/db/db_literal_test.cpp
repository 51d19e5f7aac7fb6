#include "platform/db/db_literal.h"

#include "support/allocations.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using texts = std::vector<std::string>;

/* What was lifted, the pattern first; empty for a text that is to be run as it stands. */
static texts lifted(const std::string &sql)
{
    std::string room(2 * (sql.size() + 1), '\0');
    db_values values;
    const char *pattern = db_lift(sql.c_str(), room.data(), &values);
    if (!pattern)
        return {};
    texts found = {pattern};
    for (uint32_t i = 0; i < values.count; i++)
        found.emplace_back(values.values[i].text, values.values[i].length);
    return found;
}

/* The values that `sql` has where the pattern has its question marks; "no" when it does not fit. */
static texts matched(const char *pattern_text, const std::string &sql)
{
    db_pattern pattern;
    EXPECT_EQ(db_pattern_init(&pattern, pattern_text), 0);
    std::string room(sql.size() + 1, '\0');
    db_values values;
    const bool fits = db_pattern_match(&pattern, sql.c_str(), room.data(), &values);
    texts found = {fits ? "yes" : "no"};
    for (uint32_t i = 0; fits && i < values.count; i++)
        found.emplace_back(values.values[i].text, values.values[i].length);
    db_pattern_free(&pattern);
    return found;
}

static std::string insert_of(size_t count, const char *value)
{
    std::string sql = "INSERT INTO t VALUES(";
    for (size_t i = 0; i < count; i++)
        sql += (i > 0 ? "," : "") + std::string(value);
    return sql + ");";
}

TEST(db_literal, becomes_a_question_mark_and_a_value)
{
    EXPECT_EQ(lifted("INSERT INTO t VALUES('a', '', 'it''s');"),
              (texts{"INSERT INTO t VALUES(?, ?, ?);", "a", "", "it's"}));
    EXPECT_EQ(lifted(" select a from t where a='''' and b = 'x'"),
              (texts{" select a from t where a=? and b = ?", "'", "x"}));
    EXPECT_EQ(lifted("SELECT '''a''b'''").size(), 0u) << "a column is named after its literal";
}

TEST(db_literal, becomes_a_value_behind_every_kind_of_blank)
{
    for (const char blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        const std::string sql = std::string(1, blank) + "SELECT a =" + blank + "'x'";
        EXPECT_EQ(lifted(sql).size(), 2u) << static_cast<int>(blank);
    }
    for (const char none : {'\b', '\x0e'}) {
        EXPECT_EQ(lifted(std::string(1, none) + "SELECT a = 'x'"), texts{});
        EXPECT_EQ(lifted("SELECT a =" + std::string(1, none) + "'x'"), texts{});
    }
}

TEST(db_literal, stays_where_it_is_no_plain_value)
{
    for (const char *sql : {"SELECT a FROM t;",      "UPDATE t SET a = 'x';",
                            "SELECTED = 'x'",        "SELECT a LIKE 'x'",
                            "SELECT a AS 'x'",       "SELECT X'00'",
                            "SELECT a = 'x'y",       "SELECT a = 'x'_",
                            "SELECT a = 'x' -- why", "SELECT a = 'x' /* why */",
                            "SELECT \"a\" = 'x'",    "SELECT `a` = 'x'",
                            "SELECT [a] = 'x'",      "SELECT a = 'x' + ?",
                            "SELECT a = 'x' + :b",   "SELECT a = 'x' + @b",
                            "SELECT a = 'x' + $b",   "SELECT a = 'x' + #b",
                            "SELECT a = 'x",         "SELECT a = 'x''",
                            "SELECT a = '",          ""})
        EXPECT_EQ(lifted(sql), texts{}) << sql;
}

TEST(db_literal, stays_where_a_word_follows_at_once)
{
    for (const char first : {'0', '9', 'a', 'z', 'A', 'Z', '_', '\x80', '\xff'})
        EXPECT_EQ(lifted(std::string("SELECT a = 'x'") + first), texts{}) << first;
    for (const char other : {' ', ')', '+', ';', '/', ','})
        EXPECT_EQ(lifted(std::string("SELECT a = 'x'") + other).size(), 2u) << other;
}

TEST(db_literal, may_be_one_of_sixteen)
{
    EXPECT_EQ(lifted(insert_of(16, "'a'")).size(), 17u);
    EXPECT_EQ(lifted(insert_of(17, "'a'")), texts{});
}

TEST(db_pattern, fits_texts_that_differ_in_their_literals_only)
{
    const char *pattern = "INSERT INTO t VALUES(?, ?);";
    EXPECT_EQ(matched(pattern, "INSERT INTO t VALUES('a', 'b');"), (texts{"yes", "a", "b"}));
    EXPECT_EQ(matched(pattern, "INSERT INTO t VALUES('', 'it''s');"), (texts{"yes", "", "it's"}));
    for (const char *other : {"INSERT INTO t VALUES('a', 'b')", "INSERT INTO t VALUES('a', 'b');;",
                              "INSERT INTO t VALUES('a', 7);", "INSERT INTO t VALUES('a', 'b);",
                              "INSERT INTO u VALUES('a', 'b');", "INSERT INTO t VALUES('a','b');",
                              "INSERT INTO t VALUES('a', 'b' 'c');", "INSERT INTO t VALUES(", ""})
        EXPECT_EQ(matched(pattern, other), texts{"no"}) << other;
}

TEST(db_pattern, may_hold_sixteen_values_and_end_with_one)
{
    EXPECT_EQ(matched(insert_of(16, "?").c_str(), insert_of(16, "'a'")).size(), 17u);
    EXPECT_EQ(matched("SELECT a FROM t WHERE a = ?", "SELECT a FROM t WHERE a = 'x'"),
              (texts{"yes", "x"}));
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(db_pattern, tells_when_memory_runs_out)
{
    db_pattern pattern;
    allocation_to_fail = 1;
    EXPECT_EQ(db_pattern_init(&pattern, "SELECT ?"), -1);
    EXPECT_EQ(allocation_to_fail, 0);
}
#endif
