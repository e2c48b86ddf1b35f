// Which of the library's locks are held, by name.
#ifndef TESTS_SUPPORT_LOCK_WATCH_H
#define TESTS_SUPPORT_LOCK_WATCH_H

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "virtual_board/board.h"

namespace board_test {

// Follows the mutexes that lie in libboard_hal.so, and notes each lock and
// unlock in the board's trace under the mutex's own name.
class LockWatch {
public:
    explicit LockWatch(virtual_board::Board &board);
    ~LockWatch();

    LockWatch(const LockWatch &) = delete;
    LockWatch &operator=(const LockWatch &) = delete;

    // Names of the held locks, sorted.
    std::vector<std::string> held() const;
    // Pairs of locks of which the second was taken by a thread that held the
    // first, since this watch began.
    std::set<std::pair<std::string, std::string>> order() const;
    // Calls the action in the thread that has just taken the lock, while it
    // holds it. Set before threads run.
    void when_locked(const std::string &name, std::function<void()> action);
};

} // namespace board_test

#endif
