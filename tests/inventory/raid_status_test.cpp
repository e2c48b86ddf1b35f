// Error lines of the RAID card, and the SAS card's state that comes from them.

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class RaidStatusTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }
};

TEST_F(RaidStatusTest, NoErrorIsBothLinesHigh)
{
    for (unsigned value = 0; value <= 0xFF; ++value) {
        SCOPED_TRACE(value);
        set_reg(0xFC, static_cast<uint8_t>(value));
        const int expected = (value & 0x10) != 0 && (value & 0x20) != 0 ? 0 : 1;
        EXPECT_EQ(read_raid_err_status(), expected);

        uint8_t status = 0xA5;
        EXPECT_EQ(get_sas_card_status(&status), 0);
        EXPECT_EQ(status, expected);
        EXPECT_EQ(reg(0xFC), value);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(RaidStatusTest, ReadsTheRegisterOnceAndWithoutALock)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single loads are not seen on this machine";
    }
    read_raid_err_status();
    EXPECT_EQ(steps(), Names{"load fc"});
    clear_trace();
    uint8_t status = 0;
    get_sas_card_status(&status);
    EXPECT_EQ(steps(), Names{"load fc"});
}

TEST_F(RaidStatusTest, SasCardStatusWithoutAPlaceIsRefused)
{
    EXPECT_EQ(get_sas_card_status(nullptr), -2);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
