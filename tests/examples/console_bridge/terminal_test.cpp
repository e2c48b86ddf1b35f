// The program's own terminal and descriptors, there and back.

#include "console_bridge/terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace console_bridge {
namespace {

TEST(DivertedOutput, GoesToStandardErrorAndBack)
{
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    printf("before\n");
    {
        const DivertedOutput diverted;
        printf("library\n");
        dprintf(diverted.console(), "console\n");
    }
    printf("after\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nconsole\nafter\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "library\n");
}

class RawKeysTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        near_end = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        grantpt(near_end);
        unlockpt(near_end);
        far_end = open(ptsname(near_end), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }

    void TearDown() override
    {
        close(far_end);
        close(near_end);
    }

    termios attributes() const
    {
        termios now = {};
        tcgetattr(far_end, &now);
        return now;
    }

    int near_end = -1;
    int far_end = -1;
};

TEST_F(RawKeysTest, PassKeysOnAndPutTheTerminalBack)
{
    const termios before = attributes();
    {
        const RawKeys raw(far_end);
        const termios now = attributes();
        EXPECT_EQ(now.c_lflag & static_cast<tcflag_t>(ICANON | ECHO | ISIG | IEXTEN), 0U);
        EXPECT_EQ(now.c_oflag, before.c_oflag) << "lines still end as they did";
        const std::string keys = "\x03\r\x11\x7F";
        ASSERT_EQ(write(near_end, keys.data(), keys.size()), 4);
        char read_keys[8];
        ASSERT_EQ(read(far_end, read_keys, sizeof(read_keys)), 4);
        EXPECT_EQ(std::string(read_keys, 4), keys);
    }
    const termios after = attributes();
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(memcmp(after.c_cc, before.c_cc, sizeof(after.c_cc)), 0);
}

TEST_F(RawKeysTest, LeaveAPipeAlone)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    {
        const RawKeys raw(ends[0]);
    }
    EXPECT_EQ(write(ends[1], "a", 1), 1);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
} // namespace console_bridge
