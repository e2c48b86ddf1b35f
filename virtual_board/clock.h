// The board's time, and what is due to happen on it.
#ifndef VIRTUAL_BOARD_CLOCK_H
#define VIRTUAL_BOARD_CLOCK_H

#include <stdint.h>

#include <functional>
#include <map>

namespace virtual_board {

// Microseconds since the board got power. In virtual mode only the sleeps of
// the program move it, so that a test never waits; in real mode it runs with
// the machine's monotonic clock and sleeps take their time.
class Clock {
public:
    enum class Mode { virtual_time, real_time };

    explicit Clock(Mode mode);

    Mode mode() const { return mode_; }
    uint64_t now_us() const;

    // Lets a sleep pass: in virtual mode time jumps, event by event; in real
    // mode the caller has slept, and what came due meanwhile happens now.
    void advance_us(uint64_t duration);
    // Runs what is due.
    void run_due();
    // Calls the event once, delay from now.
    void schedule_us(uint64_t delay, std::function<void()> event);

private:
    Mode mode_;
    uint64_t origin_us_;
    uint64_t virtual_us_ = 0;
    std::multimap<uint64_t, std::function<void()>> events_;
};

} // namespace virtual_board

#endif
