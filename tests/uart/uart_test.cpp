// The controller's UART on a real pseudo-terminal: the terminal calls are the
// kernel's.

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <string.h>

#include <algorithm>
#include <thread>

#include "tests/uart/uart_fixture.h"

namespace board_test {
namespace {

// A node that leads to a real file of the machine.
class Elsewhere : public virtual_board::Device {
public:
    explicit Elsewhere(const char *path) : Device("ttyS0"), path_(path) {}
    std::optional<std::string> real_path() const override { return path_; }

private:
    std::string path_;
};

class UartTest : public UartFixture {
protected:
    // Waits until the channel has something to read.
    static void await_input()
    {
        pollfd waited = {serial_handle[0], POLLIN, 0};
        ASSERT_EQ(poll(&waited, 1, 2000), 1);
    }

    std::string read_all(size_t length)
    {
        std::string text;
        while (text.size() < length) {
            await_input();
            uint8_t piece[64];
            const int got = uart_read(0, piece, sizeof(piece));
            if (got <= 0) {
                break;
            }
            text.append(piece, piece + got);
        }
        return text;
    }

    int write_all(const std::string &text)
    {
        return uart_write(0, reinterpret_cast<const uint8_t *>(text.data()),
                          static_cast<uint32_t>(text.size()));
    }

    std::string said_opening() const
    {
        return "open /dev/ttyS0 .....\nfcntl=0\nstandard input is not a terminal device\nfd-open=" +
               std::to_string(serial_handle[0]) + "\n";
    }
};

// ---- open and close ----

TEST_F(UartTest, InitOpensTheChannel)
{
    EXPECT_EQ(serial_handle[0], 0);
    const int fd = uart_init(0, 115200);
    EXPECT_GT(fd, 0);
    EXPECT_EQ(serial_handle[0], fd);
    EXPECT_EQ(output(), said_opening() + "set done!\n");
    EXPECT_TRUE(owned());
    EXPECT_EQ(steps(), (Names{"ioctl fpga 80046b05", "lock uart_open_lock", "open ttyS0",
                              "control ttyS0 04", "control ttyS0 04"}));
    EXPECT_EQ(board.trace.of(Operation::open)[0].address, 0x902U);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0) << "blocking";
}

TEST_F(UartTest, InitLeavesTheTerminalRaw)
{
    open_uart();
    const termios now = attributes();
    EXPECT_EQ(now.c_iflag, 0U);
    EXPECT_EQ(now.c_oflag, 0U);
    EXPECT_EQ(now.c_lflag, 0U);
    EXPECT_EQ(now.c_cflag, tcflag_t{CLOCAL | CREAD | CS8 | B115200});
    EXPECT_EQ(now.c_cc[VMIN], 0);
    EXPECT_EQ(now.c_cc[VTIME], 0);
}

TEST_F(UartTest, InitTakesTheRateThatTheFpgaPrescribes)
{
    const struct {
        int32_t divisor;
        speed_t speed;
        int32_t rate;
    } rows[] = {{1, B115200, 115200},  {2, B57600, 57600}, {3, B38400, 38400}, {6, B19200, 19200},
                {12, B9600, 9600},     {16, B9600, 9600},  {24, B4800, 4800},  {32, B9600, 9600},
                {48, B2400, 2400},     {0, B9600, 9600},   {-1, B9600, 9600},  {4, B9600, 9600},
                {5, B9600, 9600},      {7, B9600, 9600},   {47, B9600, 9600},  {49, B9600, 9600},
                {INT_MAX, B9600, 9600}};
    for (const auto &row : rows) {
        prescribe(row.divisor);
        EXPECT_GT(uart_init(0, 300), 0) << "the caller's rate does not count";
        EXPECT_EQ(input_speed(), row.speed) << row.divisor;
        EXPECT_EQ(output_speed(), row.speed) << row.divisor;
        EXPECT_EQ(get_current_baud(0), row.rate) << row.divisor;
        EXPECT_EQ(uart_close(0), 0);
    }
}

TEST_F(UartTest, APositiveDivisorResultIsGood)
{
    board.fpga().baud_divisor = {6, 1};
    EXPECT_GT(uart_init(0, 0), 0);
    EXPECT_EQ(input_speed(), speed_t{B19200});
}

TEST_F(UartTest, ASecondInitIsRefusedAndHarmless)
{
    open_uart();
    const int32_t fd = serial_handle[0];
    EXPECT_EQ(uart_init(0, 0), -4);
    EXPECT_EQ(output(), "uart_init: serial device already opened\n");
    EXPECT_EQ(serial_handle[0], fd);
    EXPECT_EQ(steps(), Names{"ioctl fpga 80046b05"});
    EXPECT_EQ(write_all("still here"), 10);
    EXPECT_EQ(board.uart().receive(10), "still here");
}

TEST_F(UartTest, InitRefusesOtherChannels)
{
    for (const int32_t chan : {1, 2, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(uart_init(chan, 0), -2);
        EXPECT_EQ(output(), "uart_init: arg chan is invalid [" + std::to_string(chan) + "]\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(UartTest, InitNeedsTheDivisor)
{
    fails("fpga", Operation::ioctl, EIO);
    EXPECT_EQ(uart_init(0, 0), -3);
    EXPECT_EQ(output(), "get baud rate fails.\n");
    EXPECT_EQ(steps(), Names{"ioctl fpga 80046b05"});
    EXPECT_EQ(serial_handle[0], 0);
}

TEST_F(UartTest, InitSaysWhyThePortCannotBeOpened)
{
    fails("ttyS0", Operation::open, EACCES);
    CapturedOutput errors(stderr);
    EXPECT_EQ(uart_init(0, 0), -3);
    EXPECT_EQ(errors.take(), "Can't Open Serial Port: Permission denied\n");
    EXPECT_EQ(output(), "uart_init: cann't open uart0\n");
    EXPECT_EQ(serial_handle[0], -1);
    EXPECT_FALSE(owned());
    EXPECT_GT(uart_init(0, 0), 0) << "can be tried again";
}

TEST_F(UartTest, AFailedSetUpLeavesThePortOpenAndUnowned)
{
    board.attach("/dev/ttyS0", std::make_shared<Elsewhere>("/dev/null"));
    leaves_open(2);
    leaves_descriptors(2);
    CapturedOutput errors(stderr);
    EXPECT_EQ(uart_init(0, 0), -5);
    EXPECT_EQ(errors.take(), "SetupSerial fail: Inappropriate ioctl for device\n");
    const int32_t first = serial_handle[0];
    EXPECT_GT(first, 0);
    EXPECT_EQ(output(), said_opening() + "uart_init: cann't setup uart0 baud\n");
    EXPECT_FALSE(owned());
    EXPECT_EQ(board.trace.count(Operation::close, "ttyS0"), 0U);
    EXPECT_EQ(uart_init(0, 0), -5) << "not refused";
    EXPECT_GT(serial_handle[0], first) << "a further descriptor";
    errors.take();
}

TEST_F(UartTest, CloseReleasesTheChannel)
{
    open_uart();
    const int32_t fd = serial_handle[0];
    EXPECT_EQ(uart_close(0), 0);
    EXPECT_EQ(serial_handle[0], -1);
    EXPECT_EQ(steps(), (Names{"close ttyS0", "unlock uart_open_lock"}));
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(output(), "");
    EXPECT_GT(uart_init(0, 0), 0);
}

TEST_F(UartTest, AnotherThreadMayClose)
{
    open_uart();
    int result = 77;
    std::thread([&result] { result = uart_close(0); }).join();
    EXPECT_EQ(result, 0);
    EXPECT_GT(uart_init(0, 0), 0);
}

TEST_F(UartTest, CloseDoesNotAskWhetherTheChannelIsOpen)
{
    EXPECT_EQ(uart_close(0), 0);
    EXPECT_EQ(fcntl(0, F_GETFD), -1) << "before the first init, the handle is descriptor 0";
    EXPECT_EQ(serial_handle[0], -1);
    EXPECT_EQ(uart_close(0), 0);
    lead_stdin_to("/dev/null");
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, CloseLeavesOtherChannelsAlone)
{
    open_uart();
    const int32_t fd = serial_handle[0];
    for (const int32_t chan : {1, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(uart_close(chan), 0);
    }
    EXPECT_EQ(serial_handle[0], fd);
    EXPECT_EQ(steps(), Names{});
}

// ---- open_port ----

TEST_F(UartTest, OpenPortMayBeUsedAlone)
{
    const int fd = open_port(0);
    EXPECT_GT(fd, 0);
    EXPECT_EQ(output(), "open /dev/ttyS0 .....\nfcntl=0\nstandard input is not a terminal "
                        "device\nfd-open=" +
                            std::to_string(fd) + "\n");
    EXPECT_EQ(serial_handle[0], 0);
    EXPECT_FALSE(owned());
    close(fd);
}

TEST_F(UartTest, OpenPortRefusesOtherChannels)
{
    for (const int32_t chan : {1, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(open_port(chan), -1);
    }
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, OpenPortTellsOfATerminalAtStandardInput)
{
    lead_stdin_to(board.uart().real_path()->c_str());
    const int fd = open_port(0);
    EXPECT_EQ(output(), "open /dev/ttyS0 .....\nfcntl=0\nisatty success!\nfd-open=" +
                            std::to_string(fd) + "\n");
    close(fd);
    lead_stdin_to("/dev/null");
}

TEST_F(UartTest, OpenPortGoesOnWhenItCannotMakeThePortBlocking)
{
    fails("ttyS0", Operation::control, EPERM);
    const int fd = open_port(0);
    EXPECT_GT(fd, 0);
    EXPECT_EQ(output(), "open /dev/ttyS0 .....\nfcntl failed!\nstandard input is not a terminal "
                        "device\nfd-open=" +
                            std::to_string(fd) + "\n");
    EXPECT_EQ(steps(), (Names{"open ttyS0", "control ttyS0 04"})) << "no second call";
    close(fd);
}

TEST_F(UartTest, OpenPortPrintsWhatTheSecondCallAnswers)
{
    fails("ttyS0", Operation::control, EPERM, 1);
    const int fd = open_port(0);
    EXPECT_EQ(output(), "open /dev/ttyS0 .....\nfcntl=-1\nstandard input is not a terminal "
                        "device\nfd-open=" +
                            std::to_string(fd) + "\n");
    close(fd);
}

TEST_F(UartTest, OpenPortSaysWhyItFails)
{
    fails("ttyS0", Operation::open, EBUSY);
    CapturedOutput errors(stderr);
    EXPECT_EQ(open_port(0), -1);
    EXPECT_EQ(errors.take(), "Can't Open Serial Port: Device or resource busy\n");
    EXPECT_EQ(output(), "");
}

// ---- read and write ----

TEST_F(UartTest, CarriesEveryByteBothWays)
{
    open_uart();
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(write_all(all), 256);
    EXPECT_EQ(board.uart().receive(256), all);
    board.uart().send(all);
    EXPECT_EQ(read_all(256), all);
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, AReadReturnsAtOnceWithWhatIsThere)
{
    open_uart();
    uint8_t buf[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(uart_read(0, buf, 8), 0);
    EXPECT_EQ(buf[0], 9);
    board.uart().send("abc");
    await_input();
    EXPECT_EQ(uart_read(0, buf, 2), 2);
    EXPECT_EQ(Bytes(buf, buf + 3), (Bytes{'a', 'b', 9})) << "no more than asked for";
    EXPECT_EQ(uart_read(0, buf, 8), 1);
    EXPECT_EQ(buf[0], 'c');
}

TEST_F(UartTest, OneCallUnderTheLockEach)
{
    open_uart();
    uint8_t buf[4] = {};
    EXPECT_EQ(uart_read(0, buf, 4), 0);
    EXPECT_EQ(uart_write(0, buf, 4), 4);
    EXPECT_EQ(uart_write(0, buf, 0), 0);
    EXPECT_EQ(steps(), (Names{"lock uart_io_lock", "read ttyS0 00", "unlock uart_io_lock",
                              "lock uart_io_lock", "write ttyS0 00", "unlock uart_io_lock",
                              "lock uart_io_lock", "write ttyS0 00", "unlock uart_io_lock"}));
}

TEST_F(UartTest, HandsOnWhatTheKernelAnswers)
{
    open_uart();
    uint8_t buf[8] = {};
    fails("ttyS0", Operation::read, EIO);
    EXPECT_EQ(uart_read(0, buf, 8), -1);
    EXPECT_EQ(errno, EIO);
    fails("ttyS0", Operation::write, ENOSPC);
    EXPECT_EQ(uart_write(0, buf, 8), -1);
    EXPECT_EQ(errno, ENOSPC);
    board.faults.add({.name = "short",
                      .device = "ttyS0",
                      .operation = Operation::write,
                      .kind = Fault::Kind::result,
                      .value = 3});
    clear_trace();
    EXPECT_EQ(uart_write(0, buf, 8), 3);
    EXPECT_EQ(board.trace.count(Operation::write, "ttyS0"), 1U) << "not retried";
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, AClosedChannelIsABadDescriptor)
{
    open_uart();
    uart_close(0);
    uint8_t buf[1] = {};
    EXPECT_EQ(uart_read(0, buf, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(uart_write(0, buf, 1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(UartTest, ReadAndWriteRefuse)
{
    open_uart();
    uint8_t buf[1] = {9};
    for (const int32_t chan : {1, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(uart_read(chan, buf, 1), -2) << chan;
        EXPECT_EQ(uart_write(chan, buf, 1), -2) << chan;
    }
    EXPECT_EQ(uart_read(0, nullptr, 10), -2);
    EXPECT_EQ(uart_write(0, nullptr, 10), -2);
    EXPECT_EQ(buf[0], 9);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

// ---- rate ----

TEST_F(UartTest, TellsTheRateInForce)
{
    EXPECT_EQ(get_current_baud(0), -3) << "before the first init";
    lead_stdin_to(board.uart().real_path()->c_str());
    EXPECT_EQ(get_current_baud(0), -3) << "even if descriptor 0 is a terminal";
    lead_stdin_to("/dev/null");
    open_uart(3);
    EXPECT_EQ(get_current_baud(0), 38400);
    EXPECT_EQ(steps(), Names{}) << "no lock";
    uart_close(0);
    EXPECT_EQ(get_current_baud(0), -3);
    for (const int32_t chan : {1, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(get_current_baud(chan), -2) << chan;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, AnotherSpeedHasNoRate)
{
    open_uart();
    for (const speed_t speed : {speed_t{B300}, speed_t{B1200}, speed_t{B230400}}) {
        termios now = attributes();
        cfsetispeed(&now, speed);
        cfsetospeed(&now, speed);
        ASSERT_EQ(tcsetattr(serial_handle[0], TCSANOW, &now), 0);
        EXPECT_EQ(get_current_baud(0), 0);
    }
}

TEST_F(UartTest, TheRateNeedsATerminal)
{
    const int file = open("/dev/null", O_RDWR);
    serial_handle[0] = file;
    EXPECT_EQ(get_current_baud(0), -5);
    serial_handle[0] = 0;
    close(file);
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, FollowsTheFpga)
{
    const struct {
        int32_t divisor;
        speed_t speed;
    } rows[] = {{2, B57600}, {3, B38400}, {6, B19200}, {12, B9600},
                {24, B4800}, {48, B2400}, {1, B115200}};
    open_uart();
    for (const auto &row : rows) {
        prescribe(row.divisor);
        update_uart_baud(0);
        EXPECT_EQ(input_speed(), row.speed) << row.divisor;
        EXPECT_EQ(output_speed(), row.speed) << row.divisor;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, FollowsNoOtherDivisor)
{
    open_uart(3);
    for (const int32_t divisor : {16, 32, 0, -1, 4, 5, 7, 47, 49, INT_MAX, INT_MIN}) {
        prescribe(divisor);
        update_uart_baud(0);
        EXPECT_EQ(get_current_baud(0), 38400) << divisor;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, AsksThroughADescriptorOfItsOwn)
{
    open_uart(3);
    prescribe(2);
    const int32_t handle = dev_handle;
    dev_handle = -1;
    update_uart_baud(0);
    dev_handle = handle;
    EXPECT_EQ(get_current_baud(0), 57600);
    EXPECT_EQ(steps(), (Names{"open fpga", "ioctl fpga 80046b05", "close fpga"}));
    EXPECT_EQ(board.trace.of(Operation::open)[0].address & O_ACCMODE, unsigned{O_RDWR});
}

TEST_F(UartTest, AnUpdateKeepsEverythingElse)
{
    open_uart();
    termios mine = attributes();
    mine.c_lflag = ICANON | ECHO;
    mine.c_iflag = ICRNL | IXON;
    mine.c_oflag = OPOST;
    mine.c_cflag |= CSTOPB;
    mine.c_cc[VEOF] = 5;
    ASSERT_EQ(tcsetattr(serial_handle[0], TCSANOW, &mine), 0);
    prescribe(24);
    update_uart_baud(0);
    const termios now = attributes();
    EXPECT_EQ(cfgetispeed(&now), speed_t{B4800});
    EXPECT_EQ(now.c_lflag, mine.c_lflag);
    EXPECT_EQ(now.c_iflag, mine.c_iflag);
    EXPECT_EQ(now.c_oflag, mine.c_oflag);
    EXPECT_EQ(now.c_cflag & ~tcflag_t{CBAUD}, mine.c_cflag & ~tcflag_t{CBAUD});
    EXPECT_EQ(memcmp(now.c_cc, mine.c_cc, sizeof(now.c_cc)), 0);
}

TEST_F(UartTest, AnUpdateFailsSilently)
{
    open_uart(3);
    prescribe(1);
    CapturedOutput errors(stderr);
    fails("fpga", Operation::open, EACCES);
    update_uart_baud(0);
    fails("fpga", Operation::ioctl, EIO);
    update_uart_baud(0);
    EXPECT_EQ(steps(), (Names{"open fpga", "open fpga", "ioctl fpga 80046b05", "close fpga"}));
    EXPECT_EQ(get_current_baud(0), 38400);
    for (const int32_t chan : {1, -1, INT_MAX, INT_MIN}) {
        clear_trace();
        update_uart_baud(chan);
        EXPECT_EQ(steps(), Names{}) << chan;
    }
    uart_close(0);
    update_uart_baud(0);
    EXPECT_EQ(errors.take(), "");
    EXPECT_EQ(output(), "");
}

// ---- set_opt ----

TEST_F(UartTest, SetOptSetsTheSpeed)
{
    const int fd = open_port(0);
    const struct {
        int32_t rate;
        speed_t speed;
    } rows[] = {{2400, B2400},   {4800, B4800}, {9600, B9600},  {19200, B19200},   {38400, B38400},
                {57600, B57600}, {7200, B9600}, {3600, B9600},  {115200, B115200}, {1200, B9600},
                {0, B9600},      {-1, B9600},   {230400, B9600}};
    for (const auto &row : rows) {
        output();
        EXPECT_EQ(set_opt(fd, row.rate, 8, 'N', 1), 0);
        EXPECT_EQ(output(), "set done!\n");
        EXPECT_EQ(input_speed(), row.speed) << row.rate;
        EXPECT_EQ(output_speed(), row.speed) << row.rate;
    }
    close(fd);
}

TEST_F(UartTest, SetOptKeepsNothingOfBefore)
{
    const int fd = open_port(0);
    ASSERT_EQ(set_opt(fd, 9600, 8, 'O', 2), 0);
    EXPECT_NE(attributes().c_cflag & CSTOPB, 0U);
    EXPECT_EQ(attributes().c_iflag, tcflag_t{INPCK | ISTRIP});
    ASSERT_EQ(set_opt(fd, 9600, 8, 'N', 1), 0);
    EXPECT_EQ(attributes().c_cflag, tcflag_t{CLOCAL | CREAD | CS8 | B9600});
    EXPECT_EQ(attributes().c_iflag, 0U);
    EXPECT_EQ(attributes().c_lflag, 0U);
    EXPECT_EQ(attributes().c_oflag, 0U);
    close(fd);
}

TEST_F(UartTest, SetOptDiscardsPendingInput)
{
    const int watcher = open(board.uart().real_path()->c_str(), O_RDWR | O_NOCTTY);
    board.uart().send("stale\n");
    pollfd waited = {watcher, POLLIN, 0};
    ASSERT_EQ(poll(&waited, 1, 2000), 1);
    open_uart();
    uint8_t buf[8] = {};
    EXPECT_EQ(uart_read(0, buf, 8), 0);
    board.uart().send("fresh");
    EXPECT_EQ(read_all(5), "fresh");
    close(watcher);
}

TEST_F(UartTest, SetOptNeedsATerminal)
{
    CapturedOutput errors(stderr);
    const int file = open("/dev/null", O_RDWR);
    EXPECT_EQ(set_opt(file, 9600, 8, 'N', 1), -1);
    EXPECT_EQ(errors.take(), "SetupSerial fail: Inappropriate ioctl for device\n");
    close(file);
    EXPECT_EQ(set_opt(-1, 9600, 8, 'N', 1), -1);
    EXPECT_EQ(errors.take(), "SetupSerial fail: Bad file descriptor\n");
    EXPECT_EQ(output(), "");
}

TEST_F(UartTest, NotFittedOperationsTouchNothing)
{
    uint32_t word = 77;
    EXPECT_EQ(set_uart_status(0, 1, 2), 0);
    EXPECT_EQ(get_uart_status(0, 1, &word), 0);
    EXPECT_EQ(word, 77U);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
