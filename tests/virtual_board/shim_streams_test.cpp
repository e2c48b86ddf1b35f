// Streams made of what is open already.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>

#include "tests/virtual_board/shim_support.h"

namespace board_test {
namespace {

class ShimStreamsTest : public BoardTest {};

TEST_F(ShimStreamsTest, ADescriptorBecomesAStream)
{
    const int part = open("/dev/mtd1", O_RDWR);
    const int other = dup(part);
    FILE *stream = fdopen(part, "rb+");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fputs("abc", stream), 1);
    EXPECT_EQ(fseek(stream, 1, SEEK_SET), 0);
    EXPECT_EQ(fgetc(stream), 'b');
    EXPECT_EQ(fclose(stream), 0);
    EXPECT_EQ(fcntl(part, F_GETFD), -1) << "the stream closes its descriptor";
    char text[3] = {};
    EXPECT_EQ(pread(other, text, 3, 0), 3) << "the other one stays";
    EXPECT_EQ(std::string(text, 3), "abc");
    EXPECT_EQ(close(other), 0);
}

TEST_F(ShimStreamsTest, ABadModeLeavesTheDescriptorOpen)
{
    const int part = open("/dev/mtd1", O_RDWR);
    EXPECT_EQ(fdopen(part, "q"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(close(part), 0);
}

TEST_F(ShimStreamsTest, OtherDescriptorsBecomeTheLibrarysStreams)
{
    const OrdinaryFile file;
    FILE *stream = fdopen(dup(file.descriptor), "rb+");
    ASSERT_NE(stream, nullptr);
    EXPECT_NE(fileno(stream), -1);
    fclose(stream);
}

TEST_F(ShimStreamsTest, AnOpenStreamIsNotLedToTheMachinesNode)
{
    const CapturedError error;
    errno = 0;
    EXPECT_EQ(freopen(fpga_node, "r", fopen("/dev/null", "r")), nullptr);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(error.text(), "virtual board: no open stream can be led to /dev/ipmc_fpga\n");
    EXPECT_EQ(freopen64(fpga_node, "r", fopen("/dev/null", "r")), nullptr);
    const OrdinaryFile file;
    FILE *stream = freopen(file.path, "r", fopen("/dev/null", "r"));
    ASSERT_NE(stream, nullptr);
    fclose(stream);
}

} // namespace
} // namespace board_test
