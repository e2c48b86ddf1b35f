// The IPMB model, from the driver's side: records in, records out.

#include <fcntl.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::Ipmb;

class IpmbModelTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        fpga_ = open("/dev/ipmc_fpga", O_RDWR);
    }
    void TearDown() override
    {
        close(fpga_);
        BoardTest::TearDown();
    }

    long send(Bytes record) { return write(fpga_, record.data(), 64); }
    long command(Bytes record) { return write(fpga_, record.data(), record.size()); }
    // The record is filled up, as the driver may answer into all of it.
    long ask(Bytes &record, size_t count = 1)
    {
        record.resize(259);
        return read(fpga_, record.data(), count);
    }

private:
    int fpga_ = -1;
};

TEST_F(IpmbModelTest, TheRecordNotTheCountGivesTheLength)
{
    Bytes record = {0x11, 0, 200, 0, 0};
    record.resize(5 + 200, 0xAB);
    EXPECT_EQ(send(record), 205);
    EXPECT_EQ(board.ipmb().channel(0).received, (std::vector<Bytes>{Bytes(200, 0xAB)}));
    board.ipmb().send(0, Bytes(254, 0xCD));
    Bytes answer = {0x11, 0, 0, 0};
    EXPECT_EQ(ask(answer, 254), 258);
    EXPECT_EQ(answer[257], 0xCD);
    EXPECT_EQ(answer[258], 0);
}

TEST_F(IpmbModelTest, EachFamilyHasItsChannels)
{
    const struct {
        uint8_t command;
        uint8_t channel;
        bool good;
    } rows[] = {{0x11, 0, true}, {0x11, 1, true},  {0x11, 2, false},
                {0x16, 2, true}, {0x16, 1, false}, {0x16, 3, false}};
    for (const auto &row : rows) {
        Bytes record = {row.command, row.channel, 0, 0, 0};
        record.resize(64);
        EXPECT_EQ(send(record), row.good ? 5 : -1) << int{row.command} << " " << int{row.channel};
        const uint8_t reset = row.command == 0x11 ? 0x14 : 0x18;
        EXPECT_EQ(command({reset, row.channel}), row.good ? 0 : -1);
    }
}

TEST_F(IpmbModelTest, RefusesAMessageThatIsTooLong)
{
    Bytes record = {0x11, 0, 255, 0, 0};
    record.resize(300);
    EXPECT_EQ(send(record), -1);
    EXPECT_TRUE(board.ipmb().channel(0).received.empty());
}

TEST_F(IpmbModelTest, ADisabledChannelMovesNothing)
{
    board.ipmb().channel(1).enabled = false;
    board.ipmb().send(1, {1});
    board.ipmb().send(0, {2});
    Bytes record = {0x11, 1, 0, 0, 0};
    record.resize(64);
    EXPECT_EQ(send(record), Ipmb::error_disabled);
    Bytes answer = {0x11, 0, 0, 0};
    EXPECT_EQ(ask(answer, 254), 5);
    EXPECT_EQ(answer[0], 0) << "only the other channel's message comes";
    EXPECT_EQ(ask(answer = {0x11, 0, 0, 0}, 254), 0);
    board.ipmb().channel(1).enabled = true;
    EXPECT_EQ(ask(answer = {0x11, 0, 0, 0}, 254), 5);
    EXPECT_EQ(answer[0], 1);
}

TEST_F(IpmbModelTest, MisbehavesAsTold)
{
    board.ipmb().channel(0).write_result = 10042;
    Bytes record = {0x11, 0, 0, 0, 0};
    record.resize(64);
    EXPECT_EQ(send(record), 10042);
    board.ipmb().fail_reads(0, 10043);
    board.ipmb().send(0, {1});
    Bytes answer = {0x11, 0, 0, 0};
    EXPECT_EQ(ask(answer, 254), 10043);
    EXPECT_EQ(board.ipmb().waiting(0), 1U) << "nothing is lost by it";
    board.ipmb().fail_reads(0, std::nullopt);
    EXPECT_EQ(ask(answer = {0x11, 0, 0, 0}, 254), 5);
}

TEST_F(IpmbModelTest, RefusesChannelsThatAreNotThere)
{
    Bytes record = {0x12, 3};
    EXPECT_EQ(ask(record), -1);
    EXPECT_EQ(command({0x15, 3, 1, 0}), -1);
    EXPECT_EQ(command({0x15, 0, 2, 0}), -1);
}

TEST_F(IpmbModelTest, TellsItsEnableBits)
{
    board.ipmb().channel(1).enabled = false;
    Bytes record = {0x15};
    EXPECT_EQ(ask(record), 0);
    EXPECT_EQ(record[0], 0x05);
}

} // namespace
} // namespace board_test
