/* The battery, from a folder laid out as the kernel does. */
#include "platform/device/power/battery.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

class battery : public testing::Test
{
  protected:
    void SetUp() override
    {
        folder = "supplies_" +
                 std::string(testing::UnitTest::GetInstance()->current_test_info()->name());
        ASSERT_EQ(system(("rm -rf " + folder + " && mkdir " + folder).c_str()), 0);
    }

    void put(const std::string &supply, const std::string &name, const std::string &value)
    {
        mkdir((folder + "/" + supply).c_str(), 0755);
        FILE *file = fopen((folder + "/" + supply + "/" + name).c_str(), "w");
        ASSERT_NE(file, nullptr);
        fputs(value.c_str(), file);
        fclose(file);
    }

    int32_t level() { return battery_read(folder.c_str()); }

    std::string folder;
};

TEST_F(battery, is_full_on_a_machine_without_one)
{
    EXPECT_EQ(level(), 100);
    EXPECT_EQ(battery_read("no_such_folder"), 100);
    put("AC", "type", "Mains\n");
    put("AC", "online", "0\n");
    EXPECT_EQ(level(), 100);
}

TEST_F(battery, reads_the_capacity)
{
    put("BAT0", "type", "Battery\n");
    put("BAT0", "capacity", "57\n");
    EXPECT_EQ(level(), 57);
    put("BAT0", "capacity", "104\n");
    EXPECT_EQ(level(), 100);
    put("BAT0", "capacity", "0\n");
    EXPECT_EQ(level(), 0) << "empty, not unknown";
}

TEST_F(battery, reads_what_is_left_of_a_full_charge)
{
    put("main", "type", "Battery\n");
    put("main", "charge_now", "500000\n");
    put("main", "charge_full", "2000000\n");
    EXPECT_EQ(level(), 25);
    put("main", "charge_now", "0\n");
    EXPECT_EQ(level(), 0) << "empty, not unknown";
    put("main", "charge_full", "0\n");
    EXPECT_EQ(level(), 100);
}

TEST_F(battery, takes_the_lowest_of_several)
{
    put("BAT0", "type", "Battery\n");
    put("BAT0", "capacity", "80\n");
    put("BAT1", "type", "Battery\n");
    put("BAT1", "capacity", "3\n");
    EXPECT_EQ(level(), 3);
}

TEST_F(battery, leaves_the_battery_of_a_mouse_out)
{
    put("mouse", "type", "Battery\n");
    put("mouse", "scope", "Device\n");
    put("mouse", "capacity", "3\n");
    EXPECT_EQ(level(), 100);
}

TEST_F(battery, survives_nonsense)
{
    put("BAT0", "type", "Battery\n");
    put("BAT0", "capacity", "nonsense\n");
    EXPECT_EQ(level(), 100);
    put("BAT0", "capacity", "");
    EXPECT_EQ(level(), 100);
    put("BAT0", "capacity", std::string(10000, '9'));
    EXPECT_GE(level(), 0);
    EXPECT_LE(level(), 100);
}

TEST_F(battery, of_this_machine_is_a_percentage)
{
    EXPECT_GE(battery_level(), 0);
    EXPECT_LE(battery_level(), 100);
}
