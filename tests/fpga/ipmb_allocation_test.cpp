// Channel 2 of IPMB without memory for its records.

#include "tests/support/board_test.h"
#include "tests/support/failing_malloc.h"

namespace board_test {
namespace {

class IpmbAllocationTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }
};

TEST_F(IpmbAllocationTest, ReceiveAnswersPositiveFive)
{
    board.ipmb().send(2, {1});
    uint8_t byte = 9;
    uint8_t chan = 0xEE;
    fail_next_malloc();
    EXPECT_EQ(ipmb_sm_read(&byte, 1, &chan, 0), 5);
    EXPECT_EQ(failed_malloc(), 258U);
    EXPECT_EQ(steps(), (Names{"sleep 10000", "lock ipmb_sm_lock", "unlock ipmb_sm_lock"}));
    EXPECT_EQ(byte, 9);
    EXPECT_EQ(chan, 0xEE);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(ipmb_sm_read(&byte, 1, &chan, 0), 1) << "the message is still there";
}

TEST_F(IpmbAllocationTest, SendAnswersPositiveFive)
{
    const Bytes message(254);
    fail_next_malloc();
    EXPECT_EQ(ipmb_sm_write(2, message.data(), 254, 0), 5);
    EXPECT_EQ(failed_malloc(), 259U);
    EXPECT_EQ(steps(), (Names{"lock ipmb_sm_lock", "unlock ipmb_sm_lock"}));
    fail_next_malloc();
    EXPECT_EQ(ipmb_sm_write(2, message.data(), 1, 0), 5);
    EXPECT_EQ(failed_malloc(), 64U) << "no less than the count that the driver is given";
    EXPECT_TRUE(board.ipmb().channel(2).received.empty());
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
