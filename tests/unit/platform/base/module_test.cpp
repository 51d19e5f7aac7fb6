/* Files beside the program that hold code of it. */
#include "platform/base/module.h"

#include "platform/base/device.h"
#include "platform/base/owner.h"
#include "support/allocations.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <string>

/* Whether it opens; what it says otherwise. */
static std::string opened(const char *file)
{
    testing::internal::CaptureStderr();
    const owner<void, module_close> module(module_open(file));
    const std::string said = testing::internal::GetCapturedStderr();
    return module ? "opened" + said : said;
}

TEST(module, is_found_beside_the_program_wherever_one_stands)
{
    const scratch elsewhere;
    const owner<void, module_close> module(module_open("zerv-device-fits.so"));
    ASSERT_TRUE(module);
    const auto *found =
        static_cast<const device_module *>(module_find(module.get(), "zerv_device_module"));
    ASSERT_NE(found, nullptr);
    EXPECT_STREQ(found->record->name, "fits");
    EXPECT_EQ(module_find(module.get(), "of_no_such_name"), nullptr);
}

TEST(module, that_is_nowhere_is_told)
{
    EXPECT_EQ(opened("zerv-none.so"), "there is no zerv-none.so beside the program\n");
    EXPECT_EQ(opened(std::string(5000, 'n').c_str()),
              "there is no " + std::string(5000, 'n') + " beside the program\n");
    EXPECT_EQ(opened("").find(" cannot be used: "), 0u) << "the program's folder is no module";
    module_close(nullptr);
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(module, is_not_loaded_without_memory_to_spare)
{
    ASSERT_EQ(opened("zerv-device-fits.so"), "opened");
    allocation_to_fail = 1;
    void *module = module_open("zerv-device-fits.so");
    EXPECT_EQ(allocation_to_fail, 0);
    allocation_to_fail = 0;
    EXPECT_EQ(module, nullptr);
}
#endif
