// The FPGA driver's model: records, registers, reserved RAM and requests.

#include "virtual_board/fpga.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace board_test {
namespace {

using virtual_board::Clock;
using virtual_board::DriverWord;
using virtual_board::Fpga;
using virtual_board::OpenFile;
using Bytes = std::vector<uint8_t>;

class FpgaModelTest : public ::testing::Test {
protected:
    long read(Bytes &record, size_t count) { return fpga.read(file, record.data(), count); }
    long write(const Bytes &record, size_t count) { return fpga.write(file, record.data(), count); }

    Clock clock{Clock::Mode::virtual_time};
    Fpga fpga{clock};
    OpenFile file;
};

TEST_F(FpgaModelTest, RegistersTakeAndGive32BitsLowByteFirst)
{
    EXPECT_GE(write({0x61, 0xC2, 0x01, 0x78, 0x56, 0x34, 0x12}, 1), 1);
    EXPECT_EQ(fpga.get_register(450), 0x12345678U);
    fpga.set_register(0xFFFF, 0x9ABCDEF0);
    Bytes record = {0x61, 0xFF, 0xFF, 0, 0, 0, 0};
    EXPECT_EQ(read(record, 1), 4);
    EXPECT_EQ(record, (Bytes{0xF0, 0xDE, 0xBC, 0x9A, 0, 0, 0}));
}

TEST_F(FpgaModelTest, UntouchedRegistersAreZero)
{
    Bytes record = {0x61, 0x34, 0x12, 1, 2, 3, 4};
    EXPECT_EQ(read(record, 1), 4);
    EXPECT_EQ(record, (Bytes{0, 0, 0, 0, 2, 3, 4}));
}

TEST_F(FpgaModelTest, ABlockServesItsRegisters)
{
    uint32_t written = 0;
    fpga.on_register(
        0x124, [] { return 0xCAFE0001U; }, [&](uint32_t value) { written = value; });
    EXPECT_EQ(fpga.get_register(0x124), 0xCAFE0001U);
    write({0x61, 0x24, 0x01, 5, 0, 0, 0}, 1);
    EXPECT_EQ(written, 5U);
    EXPECT_EQ(fpga.get_register(0x124), 0xCAFE0001U);
    write({0x61, 0x25, 0x01, 6, 0, 0, 0}, 1);
    EXPECT_EQ(written, 5U);
    EXPECT_EQ(fpga.get_register(0x125), 6U);
}

TEST_F(FpgaModelTest, ReservedRamIsAddressedByTheSeek)
{
    EXPECT_EQ(fpga.seek(file, 1020, SEEK_SET), 1020);
    EXPECT_EQ(write({0x51, 1, 2, 3, 4}, 5), 4);
    EXPECT_EQ(fpga.ram()[1020], 1);
    EXPECT_EQ(fpga.ram()[1023], 4);
    Bytes record = {0x51, 0, 0, 0};
    EXPECT_EQ(read(record, 4), 4);
    EXPECT_EQ(record, (Bytes{1, 2, 3, 4}));
}

TEST_F(FpgaModelTest, ReservedRamEndsAfter1024Bytes)
{
    fpga.seek(file, 1022, SEEK_SET);
    EXPECT_EQ(write({0x51, 1, 2, 3, 4}, 5), 2);
    Bytes record = {0x51, 9, 9, 9};
    EXPECT_EQ(read(record, 4), 2);
    EXPECT_EQ(record, (Bytes{1, 2, 9, 9}));
    fpga.seek(file, 5000, SEEK_SET);
    EXPECT_EQ(write({0x51, 1}, 2), 0);
    record = {0x51, 9, 9, 9};
    EXPECT_EQ(read(record, 4), 0);
}

TEST_F(FpgaModelTest, SeekTakesAbsoluteOffsetsAlone)
{
    fpga.seek(file, 10, SEEK_SET);
    EXPECT_EQ(fpga.seek(file, -1, SEEK_SET), -EINVAL);
    EXPECT_EQ(fpga.seek(file, 1, SEEK_CUR), -EINVAL);
    EXPECT_EQ(fpga.seek(file, 0, SEEK_END), -EINVAL);
    EXPECT_EQ(file.offset, 10);
}

TEST_F(FpgaModelTest, CommunicationStateIsKept)
{
    EXPECT_EQ(fpga.communication_state(), std::nullopt);
    EXPECT_EQ(write({0x80, 3}, 2), 0) << "this driver call answers 0";
    EXPECT_EQ(fpga.communication_state(), 3);
}

TEST_F(FpgaModelTest, UnknownCommandsAreInvalidAndEmptyRecordsNothing)
{
    Bytes record = {0xEF};
    EXPECT_EQ(read(record, 1), -EINVAL);
    EXPECT_EQ(write(record, 1), -EINVAL);
    EXPECT_EQ(read(record, 0), 0);
    EXPECT_EQ(write(record, 0), 0);
    EXPECT_EQ(record, Bytes{0xEF});
}

TEST_F(FpgaModelTest, ACommandCanBeAttached)
{
    Bytes seen;
    fpga.on_read(0x82, 2, [](OpenFile &, uint8_t *record, size_t) {
        record[0] = record[1];
        return 1L;
    });
    fpga.on_write(0x55, nullptr, [&](OpenFile &, const uint8_t *record, size_t count) {
        seen.assign(record, record + count);
        return static_cast<long>(count);
    });
    Bytes record = {0x82, 0x07};
    EXPECT_EQ(read(record, 1), 1);
    EXPECT_EQ(record[0], 0x07);
    EXPECT_EQ(write({0x55, 1, 2}, 3), 3);
    EXPECT_EQ(seen, (Bytes{0x55, 1, 2}));
}

// How much of a record there is, by command and not by count.
TEST_F(FpgaModelTest, LengthsOfRecordsAreKnownByCommand)
{
    const Bytes reg = {0x61, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(fpga.request_length(reg.data(), 1), 7U);
    EXPECT_EQ(fpga.record_length(reg.data(), 1), 7U);
    const Bytes ram = {0x51, 0, 0};
    EXPECT_EQ(fpga.request_length(ram.data(), 3), 1U);
    EXPECT_EQ(fpga.record_length(ram.data(), 3), 3U);
    const Bytes unknown = {0xEF, 0};
    EXPECT_EQ(fpga.request_length(unknown.data(), 2), 1U);
    EXPECT_EQ(fpga.record_length(unknown.data(), 2), 2U);
    EXPECT_EQ(fpga.request_length(nullptr, 0), 0U);
    EXPECT_EQ(fpga.record_length(nullptr, 0), 0U);
    EXPECT_EQ(fpga.address_of(file, reg.data(), 1), 0x61U);
    EXPECT_EQ(fpga.address_of(file, nullptr, 0), 0U);
}

TEST_F(FpgaModelTest, WordRequestsAnswerTheirOwnWordAndResult)
{
    const struct {
        uint32_t request;
        DriverWord Fpga::*word;
    } requests[] = {
        {0x80046B00, &Fpga::selftest}, {0x80046B01, &Fpga::version},
        {0x80046B02, &Fpga::ddr_test}, {0x80046B03, &Fpga::ddr_state},
        {0x80046B04, &Fpga::start},    {0x80046B05, &Fpga::baud_divisor},
    };
    int32_t number = -2;
    for (const auto &r : requests) {
        fpga.*r.word = {number, number + 100};
        number += 1;
    }
    number = -2;
    for (const auto &r : requests) {
        SCOPED_TRACE(r.request);
        int32_t word = 0x5555;
        EXPECT_EQ(fpga.ioctl(file, r.request, &word), number + 100);
        EXPECT_EQ(word, number);
        number += 1;
    }
}

TEST_F(FpgaModelTest, JiffiesAreHundredthsOfASecond)
{
    clock.advance_us(1239999);
    int32_t word = 0;
    EXPECT_EQ(fpga.ioctl(file, 0x80046B06, &word), 0);
    EXPECT_EQ(word, 123);
}

TEST_F(FpgaModelTest, WatchdogAndJtagRequestsAreCounted)
{
    uint32_t word = 0;
    EXPECT_TRUE(fpga.watchdog_running());
    EXPECT_EQ(fpga.ioctl(file, 0x40046B07, &word), 0);
    EXPECT_EQ(fpga.ioctl(file, 0x40046B09, &word), 0);
    EXPECT_EQ(fpga.ioctl(file, 0x40046B09, &word), 0);
    EXPECT_TRUE(fpga.watchdog_running());
    EXPECT_EQ(fpga.ioctl(file, 0x40046B08, &word), 0);
    EXPECT_FALSE(fpga.watchdog_running());
    EXPECT_EQ(fpga.watchdog_kicks(), 1U);
    EXPECT_EQ(fpga.jtag_resets(), 2U);
}

TEST_F(FpgaModelTest, UnknownRequestsAreNotItsOwn)
{
    uint32_t word = 7;
    for (const uint32_t request : {0x80046B07U, 0x40046B06U, 0x80046B0AU, 0x80046A00U, 0U}) {
        EXPECT_EQ(fpga.ioctl(file, request, &word), -ENOTTY);
    }
    EXPECT_EQ(word, 7U);
}

} // namespace
} // namespace board_test
