// What the shim's own files share.
#ifndef VIRTUAL_BOARD_SHIM_INSIDE_H
#define VIRTUAL_BOARD_SHIM_INSIDE_H

#include <errno.h>
#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "virtual_board/bus.h"
#include "virtual_board/open_file.h"
#include "virtual_board/trace.h"

namespace virtual_board::shim {

// Set while the shim works for a thread: the mutexes and sleeps of the shim and
// the models are not the program's.
extern constinit thread_local int working __attribute__((tls_model("initial-exec")));

class Working {
public:
    Working() { ++working; }
    ~Working() { --working; }
    Working(const Working &) = delete;
    Working &operator=(const Working &) = delete;
};

// The board below this process; null if there is none, or if the shim is at work.
Bus *board();

// Turns a driver's result into a system call's.
template <typename Result> Result answer(Result result)
{
    if (result < 0 && result >= -4095) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return result;
}

// What a descriptor leads to on the board, if it does.
std::shared_ptr<OpenFile> any_file(int descriptor);
// The board's open file behind a descriptor; null if it is not the board's, or
// if a real node does its work.
std::shared_ptr<OpenFile> board_file(int descriptor);

// A real call, which the board gets to know of if the descriptor leads to the
// real node of one of its devices.
template <typename Call> auto pass(int descriptor, Operation operation, uint32_t address,
                                   uint64_t count, const Call &call) -> decltype(call())
{
    const std::shared_ptr<OpenFile> file = any_file(descriptor);
    if (!file) {
        return call();
    }
    Bus *on = board();
    const Working guard;
    const auto transfer = [&call] {
        const auto result = static_cast<long>(call());
        return result < 0 ? -static_cast<long>(errno) : result;
    };
    return static_cast<decltype(call())>(
        answer(on->pass(*file, operation, address, count, transfer)));
}

// The path in full if it is the board's, empty if not. A relative one starts at
// the directory, which may be AT_FDCWD.
std::string board_path(int directory, const char *path);
// Fails as the board did, and says so if it has no device there.
int refuse(const std::string &path, long result);

int open_any(const char *path, int flags, mode_t mode);
int close_any(int descriptor);
ssize_t read_any(int descriptor, void *buffer, size_t count);
ssize_t write_any(int descriptor, const void *buffer, size_t count);

} // namespace virtual_board::shim

#endif
