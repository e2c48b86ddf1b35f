#include "virtual_board/clock.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace virtual_board {

namespace {

uint64_t monotonic_us()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

} // namespace

Clock::Clock(Mode mode) : mode_(mode), origin_us_(monotonic_us()) {}

uint64_t Clock::now_us() const
{
    return mode_ == Mode::virtual_time ? virtual_us_ : monotonic_us() - origin_us_;
}

void Clock::advance_us(uint64_t duration)
{
    if (mode_ == Mode::virtual_time) {
        const uint64_t end = virtual_us_ + duration;
        // An event may schedule further ones within the same sleep.
        while (!events_.empty() && events_.begin()->first <= end) {
            if (events_.begin()->first > virtual_us_) {
                virtual_us_ = events_.begin()->first;
            }
            run_due();
        }
        // An event may itself have let time pass, beyond this sleep's end.
        virtual_us_ = std::max(virtual_us_, end);
    }
    run_due();
}

void Clock::wait_us(uint64_t duration)
{
    if (mode_ == Mode::real_time) {
        std::this_thread::sleep_for(std::chrono::microseconds(duration));
    }
    advance_us(duration);
}

void Clock::run_due()
{
    while (!events_.empty() && events_.begin()->first <= now_us()) {
        const auto event = std::move(events_.begin()->second);
        events_.erase(events_.begin());
        event();
    }
}

void Clock::schedule_us(uint64_t delay, std::function<void()> event)
{
    events_.emplace(now_us() + delay, std::move(event));
}

} // namespace virtual_board
