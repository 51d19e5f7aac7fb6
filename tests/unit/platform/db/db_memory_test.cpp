/* Answers while memory runs out: all rows or none. */
#include "platform/db/db.h"

#include "support/allocations.h"
#include "support/scratch.h"

#include <string>

#ifdef ALLOCATIONS_ARE_COUNTED
constexpr int rows = 50;

struct db_memory : testing::Test {
    void SetUp() override
    {
        ASSERT_NE(handle = db_open("test.db"), nullptr);
        ASSERT_EQ(db_exec(handle, "CREATE TABLE t(a TEXT, b TEXT);", nullptr), 0);
        for (int i = 0; i < rows; i++) {
            const std::string values = "'" + std::to_string(i) + "','" + text(i) + "'";
            ASSERT_EQ(db_exec(handle, ("INSERT INTO t VALUES(" + values + ");").c_str(), nullptr),
                      0);
        }
    }
    void TearDown() override { EXPECT_EQ(db_close(handle), 0); }

    /* Some are longer than a block of texts is at first. */
    static std::string text(int i) { return std::string(static_cast<size_t>(i) * 100, 'x'); }

    scratch folder;
    db_handle *handle = nullptr;
};

static void expect_rows(const db_result *result)
{
    ASSERT_EQ(result->count, static_cast<uint32_t>(rows));
    ASSERT_EQ(result->columns, 2u);
    for (int i = 0; i < rows; i++) {
        ASSERT_EQ(result->rows[i][0], std::to_string(i));
        ASSERT_EQ(result->rows[i][1], db_memory::text(i));
    }
}

/* True when it came, whole. The allocation that fails is one of the call, not of the comparison. */
static bool ask(db_handle *handle)
{
    db_result *result = nullptr;
    const int done =
        db_exec(handle, "SELECT a, b FROM t WHERE a <> 'none' ORDER BY rowid;", &result);
    const int left = allocation_to_fail;
    allocation_to_fail = 0;
    EXPECT_EQ(done == 0, result != nullptr);
    if (result)
        expect_rows(result);
    (void)db_free_res(result);
    allocation_to_fail = left;
    return done == 0;
}

TEST_F(db_memory, an_answer_is_whole_or_none_and_gives_all_back)
{
    ASSERT_TRUE(ask(handle)); /* the library keeps some of what it takes */
    const int64_t before = allocated_bytes;
    int answered = 0;
    const int failed = fail_each_allocation([&] { answered += ask(handle); });
    EXPECT_GT(failed - answered, 5) << "blocks and rows, at least";
    EXPECT_GT(answered, 0);
    EXPECT_LT(allocated_bytes - before, 100000) << "more than that each time";
}
#endif
