// Waiting for descriptors of the board and of the machine at once.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>

#include <algorithm>
#include <functional>

#include "tests/virtual_board/shim_support.h"

extern "C" int __poll_chk(pollfd *waited, nfds_t count, int timeout, size_t size);

namespace board_test {
namespace {

class ShimWaitingTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        fpga = open(fpga_node, O_RDWR);
        ASSERT_EQ(pipe(ends), 0);
    }
    void TearDown() override
    {
        close(fpga);
        close(ends[0]);
        close(ends[1]);
        BoardTest::TearDown();
    }

    int fpga = -1;
    int ends[2] = {};
};

// Who waits for what is ready already must not wait for the rest, which here
// would be for ever.
TEST_F(ShimWaitingTest, PollFindsTheBoardsDescriptorsReady)
{
    using Wait = std::function<int(pollfd *, nfds_t)>;
    for (const auto &wait : std::initializer_list<Wait>{
             [](pollfd *of, nfds_t count) { return poll(of, count, -1); },
             [](pollfd *of, nfds_t count) { return __poll_chk(of, count, -1, 99); },
             [](pollfd *of, nfds_t count) { return ppoll(of, count, nullptr, nullptr); }}) {
        pollfd waited[] = {
            {ends[0], POLLIN, 7}, {fpga, POLLIN | POLLPRI, 7}, {-1, POLLIN, 7}, {fpga, POLLPRI, 7}};
        EXPECT_EQ(wait(waited, 4), 1);
        EXPECT_EQ(waited[0].revents, 0) << "the empty pipe";
        EXPECT_EQ(waited[1].revents, POLLIN);
        EXPECT_EQ(waited[2].revents, 0);
        EXPECT_EQ(waited[3].revents, 0);
        EXPECT_EQ(waited[1].fd, fpga);
        EXPECT_EQ(write(ends[1], "x", 1), 1);
        EXPECT_EQ(wait(waited, 4), 2);
        EXPECT_EQ(waited[0].revents, POLLIN);
        EXPECT_EQ(waited[1].revents, POLLIN);
        char taken = 0;
        EXPECT_EQ(read(ends[0], &taken, 1), 1);
    }
}

TEST_F(ShimWaitingTest, PollWaitsForTheMachinesDescriptors)
{
    pollfd alone[] = {{ends[0], POLLIN, 7}};
    EXPECT_EQ(poll(alone, 1, 0), 0);
    EXPECT_EQ(alone[0].revents, 0);
    pollfd in_vain[] = {{fpga, POLLPRI, 7}, {ends[1], POLLOUT, 7}};
    EXPECT_EQ(poll(in_vain, 2, 1), 1);
    EXPECT_EQ(in_vain[0].revents, 0) << "nothing urgent ever comes";
    EXPECT_EQ(in_vain[1].revents, POLLOUT);
}

fd_set set_of(std::initializer_list<int> members)
{
    fd_set made;
    FD_ZERO(&made);
    for (const int member : members) {
        FD_SET(member, &made);
    }
    return made;
}

TEST_F(ShimWaitingTest, SelectFindsTheBoardsDescriptorsReady)
{
    const int count = std::max({fpga, ends[0], ends[1]}) + 1;
    using Wait = std::function<int(fd_set *, fd_set *, fd_set *)>;
    for (const auto &wait :
         std::initializer_list<Wait>{[&](fd_set *in, fd_set *out, fd_set *other) {
                                         timeval time = {60, 0};
                                         return select(count, in, out, other, &time);
                                     },
                                     [&](fd_set *in, fd_set *out, fd_set *other) {
                                         return pselect(count, in, out, other, nullptr, nullptr);
                                     }}) {
        fd_set in = set_of({fpga, ends[0]});
        fd_set out = set_of({fpga, ends[1]});
        fd_set other = set_of({fpga});
        EXPECT_EQ(wait(&in, &out, &other), 3);
        EXPECT_TRUE(FD_ISSET(fpga, &in));
        EXPECT_FALSE(FD_ISSET(ends[0], &in)) << "the empty pipe";
        EXPECT_TRUE(FD_ISSET(fpga, &out));
        EXPECT_TRUE(FD_ISSET(ends[1], &out));
        EXPECT_FALSE(FD_ISSET(fpga, &other));
    }
    fd_set in = set_of({ends[0]});
    timeval none = {};
    EXPECT_EQ(select(count, &in, nullptr, nullptr, &none), 0);
    EXPECT_FALSE(FD_ISSET(ends[0], &in));
}

} // namespace
} // namespace board_test
