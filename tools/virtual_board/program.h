// A program that is run on a board.
#ifndef TOOLS_VIRTUAL_BOARD_PROGRAM_H
#define TOOLS_VIRTUAL_BOARD_PROGRAM_H

#include <signal.h>
#include <sys/types.h>

#include <atomic>
#include <string>
#include <vector>

namespace virtual_board {

// Signals that would end this process, and those that tell of a child, held back
// in all threads that are made from here on.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();

    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;

    // Waits for the next one.
    siginfo_t next() const;
    const sigset_t &before() const { return before_; }

private:
    sigset_t held_;
    sigset_t before_;
};

// Exit codes of the shell for a command that cannot be started.
constexpr int exit_not_found = 127;
constexpr int exit_not_executable = 126;

class Program {
public:
    // Starts the command on the board with that socket. Throws a
    // std::runtime_error if the preload library is not where it belongs.
    Program(const std::vector<std::string> &command, const std::string &board,
            const HeldSignals &signals);

    bool started() const { return start_error_ == 0; }
    // From any thread.
    void terminate() const;
    // Waits until it ends, and passes signals on to it that somebody sends to this
    // process; those of the terminal reach it by themselves. The result is its exit
    // code, 128 and the signal that killed it, or the shell's code for a command
    // that has not been started.
    int wait(const HeldSignals &signals);

private:
    std::atomic<pid_t> process_ = -1; // while it runs
    int start_error_ = 0;
};

// A virtual-board that itself runs on a board leaves it: its own board is none of
// that board's programs. Returns if it does not.
void leave_board(char *const argv[]);

} // namespace virtual_board

#endif
