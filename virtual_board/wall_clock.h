// The controller's system clock. Programs on a board set this one, never the
// machine's.
#ifndef VIRTUAL_BOARD_WALL_CLOCK_H
#define VIRTUAL_BOARD_WALL_CLOCK_H

#include <stdint.h>
#include <sys/time.h>
#include <time.h>

#include "virtual_board/clock.h"

namespace virtual_board {

// Runs with the board's time. A board in virtual time starts at a fixed date,
// one in real time at the machine's.
class WallClock {
public:
    // 2020-01-01 00:00:00 UTC.
    static constexpr time_t virtual_start = 1577836800;

    explicit WallClock(const Clock &clock);

    // Backend face.
    timeval now() const;
    void set(timeval time);
    struct timezone zone = {};
    unsigned times_set() const { return times_set_; }
    // Newer C libraries refuse a time and a zone in one call.
    bool refuses_zone_with_time = false;

    // Bus face; results are a driver's.
    long get(timeval *time, struct timezone *zone_out) const;
    long set(const timeval *time, const struct timezone *new_zone);

private:
    const Clock &clock_;
    int64_t origin_us_; // date at the board's time 0
    unsigned times_set_ = 0;
};

} // namespace virtual_board

#endif
