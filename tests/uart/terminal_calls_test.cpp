// Which terminal calls the UART makes, with what, and what becomes of it when
// they fail. A pseudo-terminal takes no character size and no parity, so the
// records are looked at where they are handed over.

#include <errno.h>

#include "tests/uart/terminal_seam.h"
#include "tests/uart/uart_fixture.h"

namespace board_test {
namespace {

class TerminalCallsTest : public UartFixture {
protected:
    void TearDown() override
    {
        terminal_calls() = {};
        UartFixture::TearDown();
    }

    static Names calls() { return std::exchange(terminal_calls().calls, {}); }
    static const termios &applied() { return terminal_calls().applied; }

    const std::string set_now = "set " + std::to_string(TCSANOW);
    const std::string flush_input = "flush " + std::to_string(TCIFLUSH);
};

TEST_F(TerminalCallsTest, SetOptProvesFlushesAndApplies)
{
    const int fd = open_port(0);
    EXPECT_EQ(set_opt(fd, 9600, 8, 'N', 1), 0);
    EXPECT_EQ(calls(), (Names{"get", flush_input, set_now}));
    close(fd);
}

TEST_F(TerminalCallsTest, SetOptBuildsTheRecordFromNothing)
{
    const struct {
        int32_t bits;
        char parity;
        int32_t stop;
        tcflag_t control;
        tcflag_t input;
    } rows[] = {
        {8, 'N', 1, CS8, 0},
        {7, 'N', 1, CS7, 0},
        {8, 'O', 1, CS8 | PARENB | PARODD, INPCK | ISTRIP},
        {8, 'E', 1, CS8 | PARENB, INPCK | ISTRIP},
        {7, 'E', 2, CS7 | PARENB | CSTOPB, INPCK | ISTRIP},
        {8, 'N', 2, CS8 | CSTOPB, 0},
        {5, 'N', 1, 0, 0},
        {6, 'N', 1, 0, 0},
        {9, 'N', 1, 0, 0},
        {0, 'N', 1, 0, 0},
        {-8, 'N', 1, 0, 0},
        {8, 'o', 1, CS8, 0},
        {8, 'e', 1, CS8, 0},
        {8, 'n', 1, CS8, 0},
        {8, 'S', 1, CS8, 0},
        {8, '\0', 1, CS8, 0},
        {8, 'N', 0, CS8, 0},
        {8, 'N', 3, CS8, 0},
        {8, 'N', -2, CS8, 0},
    };
    const int fd = open_port(0);
    for (const auto &row : rows) {
        set_opt(fd, 4800, row.bits, row.parity, row.stop);
        const std::string frame = std::to_string(row.bits) + row.parity + std::to_string(row.stop);
        EXPECT_EQ(applied().c_cflag, CLOCAL | CREAD | B4800 | row.control) << frame;
        EXPECT_EQ(applied().c_iflag, row.input) << frame;
        EXPECT_EQ(applied().c_oflag, 0U);
        EXPECT_EQ(applied().c_lflag, 0U);
        for (const cc_t character : applied().c_cc) {
            EXPECT_EQ(character, 0);
        }
    }
    close(fd);
}

TEST_F(TerminalCallsTest, SetOptSaysWhyItCannotRead)
{
    const int fd = open_port(0);
    output();
    terminal_calls().fail_get = EIO;
    CapturedOutput errors(stderr);
    EXPECT_EQ(set_opt(fd, 9600, 8, 'N', 1), -1);
    EXPECT_EQ(errors.take(), "SetupSerial fail: Input/output error\n");
    EXPECT_EQ(calls(), Names{"get"}) << "neither flushed nor set";
    EXPECT_EQ(output(), "");
    close(fd);
}

TEST_F(TerminalCallsTest, SetOptSaysWhyItCannotApply)
{
    const int fd = open_port(0);
    output();
    terminal_calls().fail_set = EINVAL;
    CapturedOutput errors(stderr);
    EXPECT_EQ(set_opt(fd, 9600, 8, 'N', 1), -1);
    EXPECT_EQ(errors.take(), "com set error: Invalid argument\n");
    EXPECT_EQ(output(), "");
    close(fd);
}

TEST_F(TerminalCallsTest, InitFailsWhenTheAttributesCannotBeApplied)
{
    terminal_calls().fail_set = EIO;
    leaves_open(1);
    leaves_descriptors(1);
    CapturedOutput errors(stderr);
    EXPECT_EQ(uart_init(0, 0), -5);
    EXPECT_EQ(errors.take(), "com set error: Input/output error\n");
    const std::string said = output();
    EXPECT_TRUE(said.ends_with("uart_init: cann't setup uart0 baud\n")) << said;
    EXPECT_EQ(said.find("set done!"), std::string::npos);
    EXPECT_GT(serial_handle[0], 0);
    EXPECT_FALSE(owned());
    EXPECT_EQ(steps().back(), "unlock uart_open_lock");
}

TEST_F(TerminalCallsTest, InitAppliesTheFrame)
{
    prescribe(48);
    EXPECT_GT(uart_init(0, 0), 0);
    EXPECT_EQ(applied().c_cflag, tcflag_t{CLOCAL | CREAD | CS8 | B2400});
    EXPECT_EQ(applied().c_iflag, 0U);
}

TEST_F(TerminalCallsTest, AnUnchangedRateIsNotApplied)
{
    open_uart(3);
    calls();
    update_uart_baud(0);
    EXPECT_EQ(calls(), Names{"get"});
}

TEST_F(TerminalCallsTest, ADivisorWithoutASpeedIsNotLookedAtFurther)
{
    open_uart(3);
    calls();
    for (const int32_t divisor : {16, 32, 0, 49}) {
        prescribe(divisor);
        update_uart_baud(0);
        EXPECT_EQ(calls(), Names{}) << divisor;
    }
}

TEST_F(TerminalCallsTest, AnUpdateAppliesAtOnceAndFlushesNothing)
{
    open_uart(3);
    calls();
    prescribe(2);
    update_uart_baud(0);
    EXPECT_EQ(calls(), (Names{"get", set_now}));
}

TEST_F(TerminalCallsTest, AnUpdateThatCannotReadIsSilent)
{
    open_uart(3);
    calls();
    prescribe(2);
    terminal_calls().fail_get = EIO;
    CapturedOutput errors(stderr);
    update_uart_baud(0);
    EXPECT_EQ(errors.take(), "");
    EXPECT_EQ(output(), "");
    EXPECT_EQ(calls(), Names{"get"});
}

TEST_F(TerminalCallsTest, AnUpdateSaysWhenItCannotApply)
{
    open_uart(3);
    prescribe(2);
    terminal_calls().fail_set = EIO;
    CapturedOutput errors(stderr);
    update_uart_baud(0);
    EXPECT_EQ(errors.take(), "com set error: Input/output error\n");
    EXPECT_EQ(output(), "");
    EXPECT_EQ(input_speed(), speed_t{B38400});
}

TEST_F(TerminalCallsTest, TheRateIsUnreadable)
{
    open_uart();
    terminal_calls().fail_get = EIO;
    EXPECT_EQ(get_current_baud(0), -5);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
