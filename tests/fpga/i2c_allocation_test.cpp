// An I2C write for whose record there is no memory.

#include "tests/support/board_test.h"
#include "tests/support/failing_malloc.h"

namespace board_test {
namespace {

class I2cAllocationTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }
};

TEST_F(I2cAllocationTest, WriteWithoutMemorySendsNothing)
{
    const uint8_t data[] = {0x00, 0x10, 0x55};
    for (const int32_t chan : {0, 1}) {
        clear_trace();
        fail_next_malloc();
        EXPECT_EQ(i2c_write(chan, 0xA0, data, sizeof(data), 20), -5);
        EXPECT_TRUE(failed_malloc().has_value());
        EXPECT_EQ(steps(), (Names{"lock i2c_lock", "unlock i2c_lock"}));
        EXPECT_EQ(output(), "");
    }
    EXPECT_EQ(i2c_write(0, 0xA0, data, sizeof(data), 0), 3) << "the next write has memory";
    EXPECT_EQ(board.eeprom(0).write_cycles(), 1U);
}

TEST_F(I2cAllocationTest, ChannelTwoNeedsNoMemory)
{
    const uint8_t data[] = {0x00, 0x10, 0x55};
    fail_next_malloc();
    EXPECT_EQ(i2c_write(2, 0xA0, data, sizeof(data), 0), 1);
    EXPECT_FALSE(failed_malloc().has_value());
    EXPECT_EQ(board.eeprom(2).memory()[0x10], 0x55);
}

} // namespace
} // namespace board_test
