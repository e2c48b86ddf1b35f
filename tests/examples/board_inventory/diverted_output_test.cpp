// Where the library's lines go.

#include "board_inventory/diverted_output.h"

#include <gtest/gtest.h>
#include <stdio.h>

namespace board_inventory {
namespace {

TEST(DivertedOutput, GoesToStandardErrorAndBack)
{
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    printf("before\n");
    {
        const DivertedOutput diverted;
        printf("library\r\n");
    }
    printf("after\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nafter\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "library\r\n");
}

} // namespace
} // namespace board_inventory
