// The management network port behind real sockets.

#include <arpa/inet.h>
#include <errno.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class NetworkPortTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        socket_ = socket(AF_INET, SOCK_DGRAM, 0);
        ASSERT_GE(socket_, 0);
    }
    void TearDown() override
    {
        close(socket_);
        BoardTest::TearDown();
    }
    // The answer to an ethtool query, or a negative errno.
    int64_t query(const char *interface, uint32_t command)
    {
        ethtool_value value = {command, 0};
        ifreq request = {};
        strncpy(request.ifr_name, interface, IFNAMSIZ - 1);
        request.ifr_data = reinterpret_cast<char *>(&value);
        return ioctl(socket_, SIOCETHTOOL, &request) == 0 ? int64_t{value.data} : -errno;
    }

    int socket_ = -1;
};

TEST_F(NetworkPortTest, AnswersLinkQueries)
{
    EXPECT_EQ(query("eth0", ETHTOOL_GLINK), 0);
    board.network().set_link(1);
    EXPECT_EQ(query("eth0", ETHTOOL_GLINK), 1);
    EXPECT_EQ(query("eth0", ETHTOOL_GMSGLVL), -EOPNOTSUPP);
    board.network().answers_link_query(false);
    EXPECT_EQ(query("eth0", ETHTOOL_GLINK), -EOPNOTSUPP);
}

TEST_F(NetworkPortTest, LeavesOtherInterfacesToTheMachine)
{
    board.network().set_link(77);
    EXPECT_NE(query("lo", ETHTOOL_GLINK), 77);
    const int64_t answer = query("no-such-port", ETHTOOL_GLINK);
    EXPECT_EQ(board.trace.count(Operation::ioctl, "eth0"), 0U);
    if (answer == -ENOSYS) {
        GTEST_SKIP() << "this machine's emulator does not know the request";
    }
    EXPECT_EQ(answer, -ENODEV);
}

TEST_F(NetworkPortTest, LeavesTrafficToTheMachine)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    ASSERT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), length), 0);
    ASSERT_EQ(getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &length), 0);
    ASSERT_EQ(sendto(socket_, "ping", 4, 0, reinterpret_cast<sockaddr *>(&address), length), 4);
    char answer[8] = {};
    EXPECT_EQ(read(socket_, answer, sizeof(answer)), 4);
    EXPECT_STREQ(answer, "ping");
}

TEST_F(NetworkPortTest, CanBeMadeToFail)
{
    board.faults.add(
        {.name = "no socket", .device = "eth0", .operation = Operation::open, .value = EMFILE});
    board.faults.add(
        {.name = "no link", .device = "eth0", .operation = Operation::ioctl, .value = EPERM});
    EXPECT_GE(close(socket(AF_INET, SOCK_STREAM, 0)), 0) << "not a control socket";
    EXPECT_EQ(socket(AF_INET, SOCK_DGRAM, 0), -1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(query("eth0", ETHTOOL_GLINK), -EPERM);
    EXPECT_EQ(query("eth0", ETHTOOL_GLINK), 0);
}

} // namespace
} // namespace board_test
