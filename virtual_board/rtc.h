// The battery-backed clock behind /dev/rtc.
#ifndef VIRTUAL_BOARD_RTC_H
#define VIRTUAL_BOARD_RTC_H

#include <stdint.h>
#include <time.h>

#include "virtual_board/clock.h"
#include "virtual_board/device.h"

namespace virtual_board {

// Holds a date without a zone; the programs take it for local time. Runs with
// the board's time.
class Rtc : public Device {
public:
    // Starts at 2020-01-01 00:00:00.
    explicit Rtc(const Clock &clock);

    // Backend face. Only seconds to years count; weekday and day of year follow.
    tm date() const;
    void set_date(const tm &date);
    // What the driver answers as daylight flag: it does not know.
    int daylight_flag = 0;

    // Bus face. There is no update interrupt: programs that wait for one have
    // to poll.
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;

private:
    const Clock &clock_;
    int64_t origin_; // seconds at the board's time 0
};

} // namespace virtual_board

#endif
