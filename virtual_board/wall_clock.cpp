#include "virtual_board/wall_clock.h"

#include <errno.h>

namespace virtual_board {

namespace {

constexpr int64_t second_us = 1000000;

int64_t machine_us()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t{now.tv_sec} * second_us + now.tv_nsec / 1000;
}

} // namespace

WallClock::WallClock(const Clock &clock)
    : clock_(clock),
      origin_us_(clock.mode() == Clock::Mode::virtual_time ? int64_t{virtual_start} * second_us
                                                           : machine_us())
{
}

timeval WallClock::now() const
{
    const int64_t date_us = origin_us_ + static_cast<int64_t>(clock_.now_us());
    timeval time = {};
    time.tv_sec = static_cast<time_t>(date_us / second_us);
    time.tv_usec = static_cast<suseconds_t>(date_us % second_us);
    return time;
}

void WallClock::set(timeval time)
{
    origin_us_ =
        int64_t{time.tv_sec} * second_us + time.tv_usec - static_cast<int64_t>(clock_.now_us());
}

long WallClock::get(timeval *time, struct timezone *zone_out) const
{
    if (time != nullptr) {
        *time = now();
    }
    if (zone_out != nullptr) {
        *zone_out = zone;
    }
    return 0;
}

long WallClock::set(const timeval *time, const struct timezone *new_zone)
{
    if (time != nullptr && new_zone != nullptr && refuses_zone_with_time) {
        return -EINVAL;
    }
    if (time != nullptr) {
        if (time->tv_sec < 0 || time->tv_usec < 0 || time->tv_usec >= second_us) {
            return -EINVAL;
        }
        set(*time);
        ++times_set_;
    }
    if (new_zone != nullptr) {
        zone = *new_zone;
    }
    return 0;
}

} // namespace virtual_board
