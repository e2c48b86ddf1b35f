// Sends for whose record there is no memory.

#include "tests/support/board_test.h"
#include "tests/support/failing_malloc.h"

namespace board_test {
namespace {

class AllocationTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }
};

TEST_F(AllocationTest, KcsWriteWithoutMemorySendsNothing)
{
    const uint8_t message[] = {0x1C, 0x01, 0x00};
    fail_next_malloc();
    EXPECT_EQ(kcs_write(message, sizeof(message)), -5);
    EXPECT_EQ(failed_malloc(), 5U);
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", "read fpga 32", "unlock fpga_request_lock",
                              "lock kcs_write_lock", "unlock kcs_write_lock"}));
    EXPECT_TRUE(board.host().kcs.answers().empty());
    EXPECT_EQ(output(), "");

    EXPECT_EQ(kcs_write(message, sizeof(message)), 5) << "the next send has memory";
}

// Positive, unlike every other failure of it.
TEST_F(AllocationTest, ReservedRamWriteWithoutMemoryAnswersFive)
{
    const uint8_t data[] = {1, 2, 3};
    fail_next_malloc();
    EXPECT_EQ(reserved_ram_write(10, data, sizeof(data)), 5);
    EXPECT_EQ(failed_malloc(), 4U);
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", "unlock fpga_request_lock"}));
    EXPECT_EQ(board.fpga().ram()[10], 0);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
