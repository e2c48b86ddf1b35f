// A system interface between controller and host, seen from the driver's calls
// and from the host.

#include "virtual_board/host_interface.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <vector>

namespace board_test {
namespace {

using virtual_board::Clock;
using virtual_board::Fpga;
using virtual_board::HostInterface;
using virtual_board::Message;
using virtual_board::OpenFile;

class HostInterfaceModelTest : public ::testing::Test {
protected:
    uint8_t status()
    {
        uint8_t record = 0x32;
        EXPECT_EQ(fpga.read(file, &record, 1), 1);
        return record;
    }
    long take(size_t count)
    {
        buffer.assign(count, 0xEE);
        buffer[0] = 0x31;
        return fpga.read(file, buffer.data(), count);
    }
    long answer(const Message &record) { return fpga.write(file, record.data(), record.size()); }

    Clock clock{Clock::Mode::virtual_time};
    Fpga fpga{clock};
    HostInterface host{fpga, {0x31, 0x32, 0x33}};
    OpenFile file;
    Message buffer;
};

TEST_F(HostInterfaceModelTest, StatusFollowsTheTraffic)
{
    EXPECT_EQ(status(), 4);
    host.send({1});
    host.send({2});
    EXPECT_EQ(status(), 1);
    take(4);
    EXPECT_EQ(status(), 1);
    take(4);
    EXPECT_EQ(status(), 4);
}

TEST_F(HostInterfaceModelTest, StatusThatTheControllerSetsStays)
{
    EXPECT_EQ(answer({0x33, 0x02}), 2);
    EXPECT_EQ(status(), 2);
    host.send({1});
    EXPECT_EQ(status(), 2);
    host.set_status({});
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(answer({0x33}), -EINVAL);
}

TEST_F(HostInterfaceModelTest, NeverIdleIsBusyWhateverIsSet)
{
    host.never_idle(true);
    EXPECT_EQ(status(), 2);
    host.set_status(4);
    EXPECT_EQ(status(), 2);
    host.never_idle(false);
    EXPECT_EQ(status(), 4);
}

TEST_F(HostInterfaceModelTest, RequestsComeInOrderEachByItself)
{
    host.send({0x18, 0x01});
    host.send({0x20});
    EXPECT_EQ(take(10), 2);
    EXPECT_EQ(buffer[0], 0x18);
    EXPECT_EQ(buffer[1], 0x01);
    EXPECT_EQ(buffer[2], 0xEE);
    EXPECT_TRUE(host.request_pending());
    EXPECT_EQ(take(10), 1);
    EXPECT_EQ(buffer[0], 0x20);
    EXPECT_FALSE(host.request_pending());
    EXPECT_EQ(take(10), 0);
}

TEST_F(HostInterfaceModelTest, AnOversizeRequestIsCutAndGone)
{
    host.send(Message(300, 0x77));
    EXPECT_EQ(take(10), 10);
    EXPECT_EQ(buffer, Message(10, 0x77));
    EXPECT_FALSE(host.request_pending());
}

TEST_F(HostInterfaceModelTest, AnswersArriveWithoutTheirHeader)
{
    EXPECT_EQ(answer({0x31, 3, 0x1C, 0x01, 0x00}), 5);
    EXPECT_EQ(answer({0x31, 0}), 2);
    EXPECT_EQ(host.answers(), (std::vector<Message>{{0x1C, 0x01, 0x00}, {}}));
}

TEST_F(HostInterfaceModelTest, TheSmallerOfLengthAndCountArrives)
{
    EXPECT_EQ(answer({0x31, 200, 1, 2}), 4);
    EXPECT_EQ(answer({0x31, 1, 1, 2}), 4);
    EXPECT_EQ(answer({0x31}), -EINVAL);
    EXPECT_EQ(host.answers(), (std::vector<Message>{{1, 2}, {1}}));
}

TEST_F(HostInterfaceModelTest, TheObserverMaySendAndHangUp)
{
    unsigned seen = 0;
    host.on_answer([&](const Message &message) {
        ++seen;
        host.send(message);
        host.fail_writes(10001);
    });
    EXPECT_EQ(answer({0x31, 1, 0x42}), 3);
    EXPECT_EQ(seen, 1U);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(answer({0x31, 1, 0x43}), 10001);
    EXPECT_EQ(host.answers().size(), 1U);
    EXPECT_EQ(take(4), 1);
    EXPECT_EQ(buffer[0], 0x42);
}

TEST_F(HostInterfaceModelTest, FailedReadsLeaveTheRequest)
{
    host.send({1, 2});
    host.fail_reads(10005);
    EXPECT_EQ(take(4), 10005);
    EXPECT_TRUE(host.request_pending());
    host.fail_reads({});
    EXPECT_EQ(take(4), 2);
}

} // namespace
} // namespace board_test
