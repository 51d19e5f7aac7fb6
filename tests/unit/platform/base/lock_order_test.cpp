/* Two locks that are taken in both orders: the thread sanitizer says so before they ever meet. */
#include "platform/base/lock.h"

#include "support/sanitizer.h"

#include <cstdlib>
#include <gtest/gtest.h>

static constinit sys_lock first_lock, second_lock;

[[maybe_unused]] static void take_in_both_orders()
{
    {
        sys_guard first(first_lock);
        sys_guard second(second_lock);
    }
    sys_guard second(second_lock);
    sys_guard first(first_lock);
    exit(0); /* by way of the sanitizer, which has counted */
}

TEST(lock_order_death_test, an_inverted_order_is_found)
{
#if IS_THREAD_SANITIZED
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(take_in_both_orders(), testing::ExitedWithCode(66), "lock-order-inversion");
#else
    GTEST_SKIP() << "only the thread sanitizer looks at the order";
#endif
}
