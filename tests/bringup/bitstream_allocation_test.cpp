// A load for whose image there is no memory.

#include "tests/bringup/staged_file.h"
#include "tests/support/board_test.h"
#include "tests/support/failing_malloc.h"

namespace board_test {
namespace {

class BitstreamAllocationTest : public BoardTest {
protected:
    StagedFile staged;
};

TEST_F(BitstreamAllocationTest, EndsTheLoad)
{
    const BitstreamFile file(3000);
    leaves_open(1);
    leaves_descriptors(1);
    fail_next_malloc();
    EXPECT_EQ(load_fpga(file.path()), -13);
    EXPECT_EQ(failed_malloc(), 3000U) << "the whole image at once";
    EXPECT_EQ(output(), "malloc memory fails.\n");
    EXPECT_TRUE(board.spi().transfers().empty());
    EXPECT_FALSE(staged.exists());
    EXPECT_FALSE(board.modules().loaded("load_fpga"));
}

} // namespace
} // namespace board_test
