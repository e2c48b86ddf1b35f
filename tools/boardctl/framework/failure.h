// Ways in which a command ends.
#ifndef BOARDCTL_FAILURE_H
#define BOARDCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace boardctl {

// Part of the interface: scripts rely on them.
enum ExitCode {
    exit_ok = 0,
    exit_failed = 1,
    exit_usage = 2,
    exit_no_board = 3,
    exit_refused = 4,
    exit_no_output = 5,
    exit_interrupted = 130,
};

struct ExitMeaning {
    int code;
    const char *words;
};

inline constexpr ExitMeaning exit_meanings[] = {
    {exit_ok, "done"},
    {exit_failed, "an operation failed; its result and what it means are on standard error"},
    {exit_usage, "the command line is wrong; the board was not touched"},
    {exit_no_board, "the board cannot be opened"},
    {exit_refused, "not confirmed; the board was not touched"},
    {exit_no_output, "the output could not be written; what was asked for was done"},
    {exit_interrupted, "interrupted (SIGINT); after SIGTERM it is 143"},
};

// The command line is wrong.
struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

// Not confirmed.
struct Declined : std::runtime_error {
    using runtime_error::runtime_error;
};

// ipmc_driver_init() failed.
struct NoBoard : std::runtime_error {
    NoBoard(const std::string &why, int result) : runtime_error(why), code(result) {}
    int code;
};

// An operation of the library failed.
struct Failed : std::runtime_error {
    Failed(const std::string &what_failed, int result, const std::string &words)
        : runtime_error(words), operation(what_failed), code(result)
    {
    }
    std::string operation;
    int code;
};

// Something else failed, such as reading a file.
struct Trouble : std::runtime_error {
    using runtime_error::runtime_error;
};

} // namespace boardctl

#endif
