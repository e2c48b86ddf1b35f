// Fixture of the UART's tests: a board that is started, and a standard input
// that is no terminal.
#ifndef TESTS_UART_UART_FIXTURE_H
#define TESTS_UART_UART_FIXTURE_H

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "tests/support/board_test.h"

namespace board_test {

class UartFixture : public BoardTest {
protected:
    void SetUp() override
    {
        lead_stdin_to("/dev/null");
        BoardTest::SetUp();
        open_board();
    }

    void TearDown() override
    {
        if (owned()) {
            uart_close(0);
        }
        BoardTest::TearDown();
    }

    static void lead_stdin_to(const char *path)
    {
        const int file = open(path, O_RDWR | O_NOCTTY);
        if (file > 0) {
            dup2(file, 0);
            close(file);
        }
    }

    // Whether the channel's open lock is held.
    bool owned() const
    {
        const Names held = held_locks();
        return std::count(held.begin(), held.end(), "uart_open_lock") == 1;
    }

    void prescribe(int32_t divisor) { board.fpga().baud_divisor = {divisor, 0}; }

    // Opens the channel, then forgets what it said and did.
    void open_uart(int32_t divisor = 1)
    {
        prescribe(divisor);
        ASSERT_GT(uart_init(0, 0), 0);
        output();
        clear_trace();
    }

    void fails(const char *device, Operation operation, int error, unsigned skip = 0)
    {
        board.faults.add({.name = "failure",
                          .device = device,
                          .operation = operation,
                          .value = error,
                          .skip = skip});
    }

    termios attributes() { return board.uart().attributes(); }
    speed_t input_speed()
    {
        const termios now = attributes();
        return cfgetispeed(&now);
    }
    speed_t output_speed()
    {
        const termios now = attributes();
        return cfgetospeed(&now);
    }
};

} // namespace board_test

#endif
