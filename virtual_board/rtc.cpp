#include "virtual_board/rtc.h"

#include <linux/rtc.h>

namespace virtual_board {

namespace {

constexpr int64_t start = 1577836800;

tm calendar(const rtc_time &time)
{
    tm date = {};
    date.tm_sec = time.tm_sec;
    date.tm_min = time.tm_min;
    date.tm_hour = time.tm_hour;
    date.tm_mday = time.tm_mday;
    date.tm_mon = time.tm_mon;
    date.tm_year = time.tm_year;
    return date;
}

bool same_day(const tm &a, const tm &b)
{
    return a.tm_mday == b.tm_mday && a.tm_mon == b.tm_mon && a.tm_year == b.tm_year;
}

// As the kernel judges what it is given; a day that the month does not have
// would come back as another one.
bool valid(const tm &date)
{
    tm normal = date;
    timegm(&normal);
    return date.tm_sec >= 0 && date.tm_sec < 60 && date.tm_min >= 0 && date.tm_min < 60 &&
           date.tm_hour >= 0 && date.tm_hour < 24 && date.tm_year >= 70 && same_day(date, normal);
}

} // namespace

Rtc::Rtc(const Clock &clock) : Device("rtc"), clock_(clock), origin_(start) {}

tm Rtc::date() const
{
    const auto seconds =
        static_cast<time_t>(origin_ + static_cast<int64_t>(clock_.now_us() / 1000000));
    tm date = {};
    gmtime_r(&seconds, &date);
    return date;
}

void Rtc::set_date(const tm &date)
{
    tm normal = date;
    origin_ = int64_t{timegm(&normal)} - static_cast<int64_t>(clock_.now_us() / 1000000);
}

long Rtc::ioctl(OpenFile &, uint32_t request, void *argument)
{
    if (request == RTC_RD_TIME) {
        const tm now = date();
        *static_cast<rtc_time *>(argument) = {now.tm_sec,  now.tm_min,  now.tm_hour,
                                              now.tm_mday, now.tm_mon,  now.tm_year,
                                              now.tm_wday, now.tm_yday, daylight_flag};
        return 0;
    }
    if (request == RTC_SET_TIME) {
        const tm date = calendar(*static_cast<const rtc_time *>(argument));
        if (!valid(date)) {
            return -EINVAL;
        }
        set_date(date);
        return 0;
    }
    return request == RTC_UIE_ON || request == RTC_UIE_OFF ? -EINVAL : -ENOTTY;
}

} // namespace virtual_board
