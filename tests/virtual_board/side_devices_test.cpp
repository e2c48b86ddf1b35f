// The models of the clock, the converter, the SPI controller and the serial
// port, through the calls that real programs make.

#include <fcntl.h>
#include <linux/rtc.h>
#include <linux/spi/spidev.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class SideDevicesTest : public BoardTest {
protected:
    void TearDown() override
    {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        BoardTest::TearDown();
    }

    int device(const char *path)
    {
        descriptor_ = open(path, O_RDWR);
        clear_trace();
        return descriptor_;
    }

private:
    int descriptor_ = -1;
};

// ---- clock ----

TEST_F(SideDevicesTest, ClockAnswersWeekdayAndDayOfYear)
{
    const int rtc = device("/dev/rtc");
    rtc_time time = {};
    ASSERT_EQ(ioctl(rtc, RTC_RD_TIME, &time), 0);
    EXPECT_EQ(time.tm_year, 120);
    EXPECT_EQ(time.tm_wday, 3);
    EXPECT_EQ(time.tm_yday, 0);
    usleep(1500000);
    ASSERT_EQ(ioctl(rtc, RTC_RD_TIME, &time), 0);
    EXPECT_EQ(time.tm_sec, 1);
    usleep(500000);
    ASSERT_EQ(ioctl(rtc, RTC_RD_TIME, &time), 0);
    EXPECT_EQ(time.tm_sec, 2);
}

TEST_F(SideDevicesTest, ClockKeepsWhatItIsSetTo)
{
    const int rtc = device("/dev/rtc");
    usleep(700000);
    rtc_time time = {};
    time.tm_year = 124;
    time.tm_mon = 1;
    time.tm_mday = 29;
    time.tm_hour = 23;
    time.tm_min = 59;
    time.tm_sec = 59;
    ASSERT_EQ(ioctl(rtc, RTC_SET_TIME, &time), 0);
    usleep(1000000);
    ASSERT_EQ(ioctl(rtc, RTC_RD_TIME, &time), 0);
    EXPECT_EQ(time.tm_mon, 2);
    EXPECT_EQ(time.tm_mday, 1);
    EXPECT_EQ(time.tm_hour, 0);
    EXPECT_EQ(time.tm_sec, 0);
}

TEST_F(SideDevicesTest, ClockRefusesDatesThatDoNotExist)
{
    const int rtc = device("/dev/rtc");
    const rtc_time wrong[] = {
        {60, 0, 0, 1, 0, 120, 0, 0, 0}, {0, 60, 0, 1, 0, 120, 0, 0, 0},
        {0, 0, 24, 1, 0, 120, 0, 0, 0}, {0, 0, 0, 30, 1, 120, 0, 0, 0},
        {0, 0, 0, 0, 0, 120, 0, 0, 0},  {0, 0, 0, 1, 12, 120, 0, 0, 0},
        {0, 0, 0, 1, 0, 69, 0, 0, 0},   {-1, 0, 0, 1, 0, 120, 0, 0, 0},
    };
    for (rtc_time time : wrong) {
        errno = 0;
        EXPECT_EQ(ioctl(rtc, RTC_SET_TIME, &time), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(board.rtc().date().tm_year, 120);
}

TEST_F(SideDevicesTest, ClockHasNoUpdateInterrupt)
{
    const int rtc = device("/dev/rtc");
    EXPECT_EQ(ioctl(rtc, RTC_UIE_ON, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ioctl(rtc, RTC_AIE_ON, 0), -1);
    EXPECT_EQ(errno, ENOTTY);
}

// ---- converter ----

TEST_F(SideDevicesTest, ConverterTakesItsSettingsOnly)
{
    const int adc = device("/dev/spear_adc0");
    uint32_t settings[] = {1, 0, 2500, 0, 0, 14000000, 0};
    uint32_t channel[] = {0, 1, 20, 1};
    for (uint32_t &word : settings) {
        ++word;
        EXPECT_EQ(ioctl(adc, 0x401C4101, settings), -1);
        --word;
    }
    for (uint32_t &word : channel) {
        ++word;
        EXPECT_EQ(ioctl(adc, 0x40104102, channel), -1);
        --word;
    }
    EXPECT_FALSE(board.adc().configuration().has_value());
    EXPECT_FALSE(board.adc().channel().has_value());
    EXPECT_EQ(ioctl(adc, 0x401C4101, settings), 0);
    EXPECT_EQ(ioctl(adc, 0x40104102, channel), 0);
    EXPECT_TRUE(board.adc().configuration().has_value());
    EXPECT_TRUE(board.adc().channel().has_value());
    EXPECT_EQ(ioctl(adc, 0x40104103, channel), -1);
    EXPECT_EQ(errno, ENOTTY);
}

// ---- SPI ----

TEST_F(SideDevicesTest, SpiRaisesTheDoneLineWithTheLastByte)
{
    const int spi = device("/dev/spi");
    board.spi().expected = 5;
    uint8_t bytes[] = {1, 2, 3, 4};
    spi_ioc_transfer transfer = {};
    transfer.tx_buf = reinterpret_cast<uintptr_t>(bytes);
    transfer.len = 4;
    EXPECT_EQ(ioctl(spi, SPI_IOC_MESSAGE(1), &transfer), 4);
    EXPECT_EQ(board.gpio().line(96).level, 0);
    transfer.len = 1;
    EXPECT_EQ(ioctl(spi, SPI_IOC_MESSAGE(1), &transfer), 1);
    EXPECT_EQ(board.gpio().line(96).level, 1);
    EXPECT_EQ(board.spi().stream(), (Bytes{1, 2, 3, 4, 1}));
    board.spi().await_bitstream();
    EXPECT_EQ(board.gpio().line(96).level, 0);
    EXPECT_TRUE(board.spi().stream().empty());
}

TEST_F(SideDevicesTest, SpiRefusesWhatSpidevRefuses)
{
    const int spi = device("/dev/spi");
    Bytes bytes(4097);
    spi_ioc_transfer transfer = {};
    transfer.tx_buf = reinterpret_cast<uintptr_t>(bytes.data());
    transfer.len = 4097;
    EXPECT_EQ(ioctl(spi, SPI_IOC_MESSAGE(1), &transfer), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    spi_ioc_transfer two[2] = {transfer, transfer};
    two[0].len = 4096;
    two[1].len = 1;
    EXPECT_EQ(ioctl(spi, SPI_IOC_MESSAGE(2), two), -1);
    EXPECT_EQ(errno, EMSGSIZE) << "both together";
    EXPECT_EQ(ioctl(spi, _IOW(SPI_IOC_MAGIC, 0, char[33]), two), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(write(spi, bytes.data(), 4097), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_TRUE(board.spi().transfers().empty());
    EXPECT_TRUE(board.spi().stream().empty());
}

TEST_F(SideDevicesTest, SpiMovesSeveralTransfersOfOneMessage)
{
    const int spi = device("/dev/spi");
    uint8_t sent[] = {1, 2, 3};
    Bytes received(5, 0xEE);
    spi_ioc_transfer message[2] = {};
    message[0].tx_buf = reinterpret_cast<uintptr_t>(sent);
    message[0].len = 3;
    message[1].rx_buf = reinterpret_cast<uintptr_t>(received.data());
    message[1].len = 4;
    EXPECT_EQ(ioctl(spi, SPI_IOC_MESSAGE(2), message), 7);
    EXPECT_EQ(board.spi().stream(), (Bytes{1, 2, 3, 0, 0, 0, 0}));
    EXPECT_EQ(received, (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xEE})) << "nobody drives the line";
    ASSERT_EQ(board.spi().transfers().size(), 2U);
    EXPECT_FALSE(board.spi().transfers()[0].receives);
    EXPECT_TRUE(board.spi().transfers()[1].receives);
}

TEST_F(SideDevicesTest, SpiReadsAndWritesWithoutAMessage)
{
    const int spi = device("/dev/spi");
    EXPECT_EQ(write(spi, "ab", 2), 2);
    uint8_t received[2] = {};
    EXPECT_EQ(read(spi, received, 2), 2);
    EXPECT_EQ(received[1], 0xFF);
    EXPECT_EQ(board.spi().stream(), (Bytes{'a', 'b', 0, 0}));
}

TEST_F(SideDevicesTest, SpiTellsItsSettings)
{
    const int spi = device("/dev/spi");
    uint8_t byte = 0xEE;
    uint32_t word = 0xEEEEEEEE;
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_MODE, &byte), 0);
    EXPECT_EQ(byte, SPI_MODE_0);
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_BITS_PER_WORD, &byte), 0);
    EXPECT_EQ(byte, 8);
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_MAX_SPEED_HZ, &word), 0);
    EXPECT_EQ(word, 50000000U);
    EXPECT_FALSE(board.spi().mode().has_value()) << "asked, not set";

    byte = SPI_MODE_3;
    EXPECT_EQ(ioctl(spi, SPI_IOC_WR_MODE, &byte), 0);
    byte = 1;
    EXPECT_EQ(ioctl(spi, SPI_IOC_WR_LSB_FIRST, &byte), 0);
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_MODE32, &word), 0);
    EXPECT_EQ(word, uint32_t{SPI_MODE_3 | SPI_LSB_FIRST});
    byte = 0;
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_LSB_FIRST, &byte), 0);
    EXPECT_EQ(byte, 1);
    byte = 0;
    EXPECT_EQ(ioctl(spi, SPI_IOC_WR_LSB_FIRST, &byte), 0);
    EXPECT_EQ(board.spi().mode(), SPI_MODE_3);
    word = SPI_MODE_1;
    EXPECT_EQ(ioctl(spi, SPI_IOC_WR_MODE32, &word), 0);
    EXPECT_EQ(board.spi().mode(), SPI_MODE_1);
    byte = 16;
    word = 1000000;
    EXPECT_EQ(ioctl(spi, SPI_IOC_WR_BITS_PER_WORD, &byte), 0);
    EXPECT_EQ(ioctl(spi, SPI_IOC_WR_MAX_SPEED_HZ, &word), 0);
    byte = 0;
    word = 0;
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_BITS_PER_WORD, &byte), 0);
    EXPECT_EQ(ioctl(spi, SPI_IOC_RD_MAX_SPEED_HZ, &word), 0);
    EXPECT_EQ(byte, 16);
    EXPECT_EQ(word, 1000000U);
}

// ---- serial port ----

TEST_F(SideDevicesTest, SerialPortIsATerminalOfTheKernel)
{
    const int port = device("/dev/ttyS0");
    EXPECT_EQ(isatty(port), 1);
    struct stat status = {};
    EXPECT_EQ(fstat(port, &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(write(port, "hello\n", 6), 6);
    EXPECT_EQ(board.uart().receive(7), "hello\r\n") << "cooked, as the kernel starts it";
    board.uart().send("line\n");
    pollfd waited = {port, POLLIN, 0};
    ASSERT_EQ(poll(&waited, 1, 2000), 1);
    char text[16] = {};
    EXPECT_EQ(read(port, text, sizeof(text)), 5);
    EXPECT_STREQ(text, "line\n");
}

TEST_F(SideDevicesTest, TransfersOfTheSerialPortAreSeenAndCanFail)
{
    const int port = device("/dev/ttyS0");
    EXPECT_EQ(write(port, "x", 1), 1);
    board.faults.add(
        {.name = "write", .device = "ttyS0", .operation = Operation::write, .value = EIO});
    EXPECT_EQ(write(port, "y", 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.uart().receive(1), "x");
    EXPECT_EQ(steps(), (Names{"write ttyS0 00", "write ttyS0 00"}));
    EXPECT_EQ(board.trace.of(Operation::write)[0].result, 1);
    EXPECT_EQ(board.trace.of(Operation::write)[1].result, -EIO);
}

TEST_F(SideDevicesTest, DuplicatesOfTheSerialPortCloseItLast)
{
    const int port = open("/dev/ttyS0", O_RDWR | O_NOCTTY);
    const int copy = dup(port);
    EXPECT_EQ(board.open_files(), 1U);
    close(port);
    EXPECT_EQ(board.open_files(), 1U);
    EXPECT_EQ(write(copy, "z", 1), 1);
    EXPECT_EQ(board.uart().receive(1), "z");
    close(copy);
    EXPECT_EQ(board.open_files(), 0U);
}

TEST_F(SideDevicesTest, AttributesOutliveTheProgramsOpen)
{
    const int port = open("/dev/ttyS0", O_RDWR | O_NOCTTY);
    termios attributes = {};
    ASSERT_EQ(tcgetattr(port, &attributes), 0);
    cfmakeraw(&attributes);
    cfsetispeed(&attributes, B4800);
    ASSERT_EQ(tcsetattr(port, TCSANOW, &attributes), 0);
    close(port);
    const termios kept = board.uart().attributes();
    EXPECT_EQ(cfgetispeed(&kept), speed_t{B4800});
    EXPECT_EQ(kept.c_lflag & ICANON, 0U);
}

TEST_F(SideDevicesTest, NothingIsReceivedWhenNothingIsSent)
{
    EXPECT_EQ(board.uart().receive(0), "");
}

} // namespace
} // namespace board_test
