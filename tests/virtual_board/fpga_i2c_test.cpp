// The FPGA's I2C masters as the driver shows them: records and results.

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::FpgaI2c;

class FpgaI2cTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        fd = open("/dev/ipmc_fpga", O_RDWR);
        ASSERT_GE(fd, 0);
    }
    void TearDown() override
    {
        close(fd);
        BoardTest::TearDown();
    }

    // The record of 71 bytes; afterwards its answer is in `record`.
    long transfer(uint8_t channel, uint8_t address, uint8_t wanted, const Bytes &sent,
                  uint16_t delay_ms = 0)
    {
        record = {0x21,
                  channel,
                  address,
                  wanted,
                  static_cast<uint8_t>(sent.size()),
                  static_cast<uint8_t>(delay_ms >> 8),
                  static_cast<uint8_t>(delay_ms)};
        record.insert(record.end(), sent.begin(), sent.end());
        record.resize(71);
        return read(fd, record.data(), 64);
    }

    long write_record(uint8_t channel, uint8_t address, const Bytes &data, uint16_t delay_ms = 0)
    {
        Bytes bytes = {0x21,
                       channel,
                       address,
                       static_cast<uint8_t>(data.size()),
                       static_cast<uint8_t>(delay_ms >> 8),
                       static_cast<uint8_t>(delay_ms)};
        bytes.insert(bytes.end(), data.begin(), data.end());
        return write(fd, bytes.data(), 64);
    }

    Bytes answer(size_t count)
    {
        return {record.begin(), record.begin() + static_cast<long>(count)};
    }
    FpgaI2c::Channel &channel(size_t number) { return board.fpga_i2c().channel(number); }

    int fd = -1;
    Bytes record;
};

TEST_F(FpgaI2cTest, WriteReachesTheChipAndAnswersItsDataBytes)
{
    EXPECT_EQ(write_record(0, 0xA0, {0x00, 0x20, 0x11, 0x22}), 4);
    EXPECT_EQ(board.eeprom(0).memory()[0x20], 0x11);
    EXPECT_EQ(board.eeprom(0).memory()[0x21], 0x22);
    EXPECT_EQ(board.eeprom(2).memory()[0x20], 0xFF) << "another bus";
}

TEST_F(FpgaI2cTest, WriteReadAnswersFromTheStartOfTheRecord)
{
    board.eeprom(0).memory()[0x30] = 0x77;
    board.eeprom(0).memory()[0x31] = 0x78;
    EXPECT_EQ(transfer(0, 0xA0, 2, {0x00, 0x30}), 2);
    EXPECT_EQ(answer(3), (Bytes{0x77, 0x78, 0xA0})) << "nothing behind the answer changes";
    EXPECT_EQ(transfer(0, 0xA0, 1, {}), 1) << "a plain read goes on";
    EXPECT_EQ(answer(1), Bytes{0xFF});
}

TEST_F(FpgaI2cTest, ReadBitOfTheAddressDoesNotMatter)
{
    board.peci_bridge().set(0, 0x1234);
    EXPECT_EQ(transfer(1, 0x55, 2, {0x00}), 2);
    EXPECT_EQ(answer(2), (Bytes{0x34, 0x12}));
}

TEST_F(FpgaI2cTest, ErrorsAreAbove9999AndStayInTheStatus)
{
    EXPECT_EQ(transfer(0, 0x30, 2, {}), FpgaI2c::not_addressed);
    EXPECT_EQ(record[0], 0x21) << "the record is left alone";
    EXPECT_EQ(channel(0).status, FpgaI2c::status_not_addressed);
    EXPECT_EQ(channel(1).status, 0);
    EXPECT_EQ(write_record(0, 0x30, {1}), FpgaI2c::not_addressed);
    EXPECT_EQ(write_record(1, 0x54, {20, 1}), FpgaI2c::not_taken);
    EXPECT_EQ(channel(1).status, FpgaI2c::status_not_taken);
    EXPECT_EQ(transfer(1, 0x54, 2, {20}), FpgaI2c::not_taken);
    EXPECT_EQ(transfer(1, 0x54, 2, {19}), 2);
    EXPECT_EQ(channel(1).status, 0) << "a good transfer clears it";
    EXPECT_EQ(channel(0).status, FpgaI2c::status_not_addressed);
}

TEST_F(FpgaI2cTest, WriteCycleIsSeenAsAMissingChip)
{
    EXPECT_EQ(write_record(0, 0xA0, {0x00, 0x00, 0x55}), 3);
    EXPECT_EQ(transfer(0, 0xA0, 1, {0x00, 0x00}), FpgaI2c::not_addressed);
    board.clock.advance_us(5000);
    EXPECT_EQ(transfer(0, 0xA0, 1, {0x00, 0x00}), 1);
    EXPECT_EQ(answer(1), Bytes{0x55});
}

TEST_F(FpgaI2cTest, DriverWaitsBehindAWrite)
{
    const uint64_t before = board.clock.now_us();
    EXPECT_EQ(write_record(0, 0xA0, {0x00, 0x00, 0x55}, 300), 3);
    EXPECT_EQ(board.clock.now_us() - before, 300000U);
    EXPECT_EQ(transfer(0, 0xA0, 1, {0x00, 0x00}), 1) << "the write cycle is over";
}

// With a delay the write is stopped before the read and the chip programs;
// without one a repeated start follows, and it drops the data.
TEST_F(FpgaI2cTest, DriverWaitsBetweenWriteAndRead)
{
    const uint64_t before = board.clock.now_us();
    EXPECT_EQ(transfer(0, 0xA0, 1, {0x00, 0x00, 0x55}, 6), 1);
    EXPECT_EQ(board.clock.now_us() - before, 6000U);
    EXPECT_EQ(board.eeprom(0).write_cycles(), 1U);
    EXPECT_EQ(transfer(0, 0xA0, 1, {0x00, 0x00, 0x66}), 1);
    EXPECT_EQ(board.eeprom(0).write_cycles(), 1U);
    EXPECT_EQ(board.clock.now_us() - before, 6000U);
    EXPECT_EQ(transfer(0, 0xA0, 1, {0x00, 0x00, 0x66}, 4), FpgaI2c::not_addressed)
        << "too short for the write cycle";
}

TEST_F(FpgaI2cTest, SixtyFourBytesFitBothWays)
{
    const Bytes data(64, 0x00);
    EXPECT_EQ(write_record(0, 0xA0, data, 10), 64);
    Bytes expected(64, 0xFF);
    std::fill_n(expected.begin(), 32, uint8_t{0}); // one page
    transfer(0, 0xA0, 0, {0x00, 0x00});
    EXPECT_EQ(transfer(0, 0xA0, 64, {}), 64);
    EXPECT_EQ(answer(64), expected);
    EXPECT_EQ(transfer(0, 0xA0, 64, data, 10), 64) << "64 out, then 64 in";
    EXPECT_EQ(board.eeprom(0).write_cycles(), 2U);
}

TEST_F(FpgaI2cTest, RecordsThatDoNotFitAreRefused)
{
    record.assign(71, 0);
    EXPECT_EQ(transfer(2, 0xA0, 1, {}), FpgaI2c::bad_record);
    EXPECT_EQ(transfer(0xFF, 0xA0, 1, {}), FpgaI2c::bad_record);
    EXPECT_EQ(transfer(0, 0xA0, 65, {}), FpgaI2c::bad_record);
    Bytes long_write(71, 0);
    long_write[0] = 0x21;
    long_write[2] = 0xA0;
    long_write[4] = 65;
    EXPECT_EQ(read(fd, long_write.data(), 64), FpgaI2c::bad_record);
    const Bytes header_alone = {0x21, 0, 0xA0, 65, 0, 0};
    EXPECT_EQ(write(fd, header_alone.data(), 64), FpgaI2c::bad_record);
    EXPECT_EQ(write_record(2, 0xA0, {1}), FpgaI2c::bad_record);
    EXPECT_EQ(board.eeprom(0).write_cycles(), 0U);
}

TEST_F(FpgaI2cTest, EmptyWriteAsksWhetherTheChipIsThere)
{
    EXPECT_EQ(write_record(0, 0xA0, {}), 0);
    EXPECT_EQ(write_record(0, 0xA2, {}), FpgaI2c::not_addressed);
}

TEST_F(FpgaI2cTest, StatusAnswersZeroAndBusStatusOne)
{
    channel(0).status = 0x10;
    channel(1).status = 0x08;
    channel(1).bus_status = 0x80;
    uint8_t status[] = {0x22, 1};
    EXPECT_EQ(read(fd, status, 1), 0);
    EXPECT_EQ(status[0], 0x08);
    uint8_t bus_status[] = {0x24, 1};
    EXPECT_EQ(read(fd, bus_status, 1), 1);
    EXPECT_EQ(bus_status[0], 0x80);
    uint8_t other[] = {0x24, 0};
    EXPECT_EQ(read(fd, other, 1), 1);
    EXPECT_EQ(other[0], 0);
}

TEST_F(FpgaI2cTest, ResetClearsOneChannel)
{
    for (size_t i = 0; i < FpgaI2c::channel_count; ++i) {
        channel(i).status = 0x10;
        channel(i).bus_status = 0x20;
    }
    const uint8_t reset[] = {0x23, 1};
    EXPECT_EQ(write(fd, reset, 1), 1);
    EXPECT_EQ(channel(1).resets, 1U);
    EXPECT_EQ(channel(1).status, 0);
    EXPECT_EQ(channel(1).bus_status, 0);
    EXPECT_EQ(channel(0).resets, 0U);
    EXPECT_EQ(channel(0).status, 0x10);
}

TEST_F(FpgaI2cTest, UnknownChannelsAreRefused)
{
    for (const uint8_t command : Bytes{0x22, 0x24}) {
        uint8_t request[] = {command, 2};
        EXPECT_EQ(read(fd, request, 1), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(request[0], command);
    }
    const uint8_t reset[] = {0x23, 2};
    EXPECT_EQ(write(fd, reset, 1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FpgaI2cTest, TraceHoldsWholeRecords)
{
    clear_trace();
    write_record(0, 0xA0, {0x00, 0x10, 0x55});
    transfer(1, 0x54, 2, {0x03});
    const auto written = board.trace.of(Operation::write, "fpga");
    ASSERT_EQ(written.size(), 1U);
    EXPECT_EQ(written[0].bytes, (Bytes{0x21, 0, 0xA0, 3, 0, 0, 0x00, 0x10, 0x55}));
    const auto read = board.trace.of(Operation::read, "fpga");
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].bytes.size(), 71U);
    EXPECT_EQ(read[0].answer, (Bytes{0x00, 0x00}));
}

} // namespace
} // namespace board_test
