// Transfers in pieces, and between descriptors.

#include <errno.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/uio.h>

#include <functional>

#include "tests/virtual_board/shim_support.h"

namespace board_test {
namespace {

class ShimVectorsTest : public BoardTest {};

TEST_F(ShimVectorsTest, APieceIsATransferOfItsOwn)
{
    const int part = open("/dev/mtd1", O_RDWR);
    char first[] = "abc";
    char second[] = "defg";
    const iovec sent[] = {{first, 3}, {second, 4}};
    clear_trace();
    EXPECT_EQ(writev(part, sent, 2), 7);
    EXPECT_EQ(steps(), (Names{"write mtd1 00", "write mtd1 03"}));
    EXPECT_EQ(lseek(part, 0, SEEK_SET), 0);
    char got[2][5] = {};
    const iovec received[] = {{got[0], 4}, {got[1], 3}};
    EXPECT_EQ(readv(part, received, 2), 7);
    EXPECT_STREQ(got[0], "abcd");
    EXPECT_STREQ(got[1], "efg");

    lseek(part, -2, SEEK_END);
    clear_trace();
    EXPECT_EQ(readv(part, received, 2), 2);
    EXPECT_EQ(steps(), Names{"read mtd1 3fffe"}) << "ends with the piece that falls short";
    EXPECT_EQ(readv(part, received, 2), 0);
    EXPECT_EQ(writev(part, sent, 2), -1);
    EXPECT_EQ(errno, ENOSPC);
    lseek(part, -3, SEEK_END);
    EXPECT_EQ(writev(part, sent, 2), 3) << "what was written before the refusal";
    close(part);
}

TEST_F(ShimVectorsTest, OrdinaryFilesPassBy)
{
    const OrdinaryFile file;
    char text[] = "abc";
    const iovec pieces[] = {{text, 1}, {text + 1, 2}};
    EXPECT_EQ(writev(file.descriptor, pieces, 2), 3);
    EXPECT_EQ(lseek(file.descriptor, 0, SEEK_SET), 0);
    EXPECT_EQ(readv(file.descriptor, pieces, 2), 3);
    EXPECT_EQ(steps(), Names{});
}

// Callers fall back to reading and writing; to move bytes past them would reach
// the placeholder behind the descriptor.
TEST_F(ShimVectorsTest, NothingIsCopiedPastTheProgram)
{
    const OrdinaryFile file;
    EXPECT_EQ(write(file.descriptor, "text", 4), 4);
    const int part = open("/dev/mtd1", O_RDWR);
    const int target = memfd_create("target", MFD_CLOEXEC);
    for (const auto &call : std::initializer_list<std::function<ssize_t()>>{
             [&] { return sendfile(target, part, nullptr, 4); },
             [&] { return sendfile64(part, file.descriptor, nullptr, 4); },
             [&] { return copy_file_range(part, nullptr, target, nullptr, 4, 0); },
             [&] { return copy_file_range(file.descriptor, nullptr, part, nullptr, 4, 0); }}) {
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    off_t from = 0;
    EXPECT_EQ(sendfile(target, file.descriptor, &from, 4), 4);
    off64_t wide = 0;
    EXPECT_EQ(sendfile64(target, file.descriptor, &wide, 4), 4);
    EXPECT_EQ(from + wide, 8);
    const OrdinaryFile other;
    wide = 0;
    EXPECT_EQ(copy_file_range(file.descriptor, &wide, other.descriptor, nullptr, 4, 0), 4);
    close(target);
    close(part);
}

} // namespace
} // namespace board_test
