// Host power, reset lines, buttons, NMI and ACPI state.

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class PowerTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }
};

TEST_F(PowerTest, PressOfALockedButtonUnlocksItForTheLengthOfThePress)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    set_reg(CPLD_REG_POWER_BUTTON, 0x00);
    EXPECT_EQ(set_pwr_button(1), 0);
    EXPECT_EQ(steps(), (Names{"lock cpld_reg_lock", "load 83", "load 83", "store 83=10", "load 83",
                              "store 83=90", "sleep 30000", "unlock cpld_reg_lock"}));
    EXPECT_EQ(g_SHOULD_LOCK, 1);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
