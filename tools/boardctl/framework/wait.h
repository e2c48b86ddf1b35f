// Waiting for the board.
#ifndef BOARDCTL_WAIT_H
#define BOARDCTL_WAIT_H

#include <chrono>
#include <thread>

namespace boardctl {

inline void pause_for(std::chrono::milliseconds duration)
{
    std::this_thread::sleep_for(duration);
}

// Asks every 20 ms; false if the condition did not come true in time. Pauses are
// counted, not the clock: the board may live in a time of its own.
template <typename Condition>
bool wait_until(std::chrono::milliseconds timeout, const Condition &condition)
{
    constexpr std::chrono::milliseconds interval(20);
    for (std::chrono::milliseconds waited(0); !condition(); waited += interval) {
        if (waited >= timeout) {
            return false;
        }
        pause_for(interval);
    }
    return true;
}

} // namespace boardctl

#endif
