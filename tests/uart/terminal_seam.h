// Watches the terminal calls of a program, and makes them fail. The calls still
// go to the C library, with the caller's own arguments.
#ifndef TESTS_UART_TERMINAL_SEAM_H
#define TESTS_UART_TERMINAL_SEAM_H

#include <termios.h>

#include <string>
#include <vector>

namespace board_test {

struct TerminalCalls {
    std::vector<std::string> calls; // "get", "flush 0", "set 0": with the argument
    termios applied = {};           // the last record that was to be set
    int fail_get = 0;               // errno of all calls, 0 for none
    int fail_set = 0;
};

TerminalCalls &terminal_calls();

} // namespace board_test

#endif
