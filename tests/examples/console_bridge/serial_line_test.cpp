// The UART on a real pseudo-terminal.

#include "console_bridge/serial_line.h"

#include <fcntl.h>

#include "tests/examples/console_bridge/bridge_fixture.h"

namespace board_test {
namespace {

using console_bridge::SerialLine;

class SerialLineTest : public BridgeFixture {
protected:
    void SetUp() override
    {
        BridgeFixture::SetUp();
        open_board();
    }

    void TearDown() override
    {
        line.close();
        BridgeFixture::TearDown();
    }

    SerialLine line;
};

TEST_F(SerialLineTest, CarriesBothWaysAtThePrescribedRate)
{
    board.fpga().baud_divisor.word = 6;
    ASSERT_EQ(line.open(0), 0);
    EXPECT_TRUE(line.is_open());
    EXPECT_EQ(line.rate(), 19200);
    EXPECT_EQ(line.receive(), "");
    line.send("to the far end");
    EXPECT_EQ(board.uart().receive(14), "to the far end");
    board.uart().send("and back");
    EXPECT_EQ(line.receive(), "and back");
    line.finish();
    line.close();
    EXPECT_FALSE(line.is_open());
    EXPECT_EQ(held_locks(), (Names{"cpld_open_lock", "fpga_open_lock"}));
    EXPECT_EQ(serial_handle[0], -1);
}

TEST_F(SerialLineTest, ClosesItself)
{
    {
        SerialLine other;
        ASSERT_EQ(other.open(0), 0);
    }
    EXPECT_EQ(line.open(0), 0) << "nobody owns it";
}

TEST_F(SerialLineTest, FollowsThePrescribedRate)
{
    ASSERT_EQ(line.open(0), 0);
    EXPECT_FALSE(line.follow());
    EXPECT_EQ(line.rate(), 115200);
    board.fpga().baud_divisor.word = 12;
    EXPECT_TRUE(line.follow());
    EXPECT_EQ(line.rate(), 9600);
    const termios now = board.uart().attributes();
    EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B9600));
    EXPECT_FALSE(line.follow());
    board.fpga().baud_divisor.word = 16;
    EXPECT_FALSE(line.follow()) << "the UART does not know this rate";
}

TEST_F(SerialLineTest, IsNotHeldUpByALineThatTakesNothing)
{
    ASSERT_EQ(line.open(0), 0);
    std::string sent;
    while (line.lost() == 0) {
        line.send(record_of(5000));
        sent += record_of(5000);
        ASSERT_LT(sent.size(), 10000000U);
    }
    EXPECT_LE(line.lost(), 5000U);
    const size_t kept = sent.size() - line.lost();
    std::string received;
    for (int i = 0; i < 1000 && received.size() < kept; ++i) {
        received += board.uart().receive(0);
        line.push();
    }
    EXPECT_EQ(received.size(), kept);
    EXPECT_TRUE(sent.starts_with(received));
}

TEST_F(SerialLineTest, WaitsAtItsEndButNotForEver)
{
    ASSERT_EQ(line.open(0), 0);
    while (line.lost() == 0) {
        line.send(record_of(5000));
    }
    clear_trace();
    line.finish();
    EXPECT_EQ(board.trace.of(Operation::sleep).size(), 100U);
}

TEST_F(SerialLineTest, LosesWhatAFailedWriteHad)
{
    ASSERT_EQ(line.open(0), 0);
    board.faults.add(
        {.name = "write", .device = "ttyS0", .operation = Operation::write, .value = EIO});
    line.send("abc");
    EXPECT_EQ(line.lost(), 3U);
    board.faults.add(
        {.name = "full", .device = "ttyS0", .operation = Operation::write, .value = EAGAIN});
    line.send("def");
    EXPECT_EQ(line.lost(), 3U) << "that one only has to wait";
    line.push();
    EXPECT_EQ(board.uart().receive(3), "def");
}

TEST_F(SerialLineTest, RefusesAChannelThatIsNone)
{
    EXPECT_EQ(line.open(1), -2);
    EXPECT_FALSE(line.is_open());
    line.send("x");
    line.push();
    line.finish();
    EXPECT_EQ(line.receive(), "");
    EXPECT_FALSE(line.follow());
}

TEST_F(SerialLineTest, LeavesNoDescriptorOfAPortThatCannotBeSetUp)
{
    board.attach("/dev/ttyS0", std::make_shared<virtual_board::Device>("no terminal"));
    CapturedOutput errors(stderr);
    EXPECT_EQ(line.open(0), -5);
    EXPECT_EQ(serial_handle[0], -1);
}

} // namespace
} // namespace board_test
