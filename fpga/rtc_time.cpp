// The battery-backed clock, which holds local time, and the system clock.

#include <errno.h>
#include <linux/rtc.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <time.h>

#include "board_hal.h"

static_assert(sizeof(rtc_time) == 36);
static_assert(RTC_RD_TIME == 0x80247009);
static_assert(RTC_SET_TIME == 0x4024700A);

namespace {

// False if the time has no calendar date.
bool to_local(time_t t, rtc_time *record)
{
    tzset(); // localtime_r need not follow a change of TZ by itself
    tm local;
    if (localtime_r(&t, &local) == nullptr) {
        return false;
    }
    *record = {local.tm_sec,  local.tm_min,  local.tm_hour, local.tm_mday, local.tm_mon,
               local.tm_year, local.tm_wday, local.tm_yday, local.tm_isdst};
    return true;
}

time_t from_local(const rtc_time &record)
{
    tm local = {};
    local.tm_sec = record.tm_sec;
    local.tm_min = record.tm_min;
    local.tm_hour = record.tm_hour;
    local.tm_mday = record.tm_mday;
    local.tm_mon = record.tm_mon;
    local.tm_year = record.tm_year;
    local.tm_wday = record.tm_wday;
    local.tm_yday = record.tm_yday;
    local.tm_isdst = record.tm_isdst;
    return mktime(&local);
}

} // namespace

extern "C" {

int get_rtc_time(time_t *t)
{
    // The caller's time fills the record first: a driver may leave fields alone.
    rtc_time record;
    if (!to_local(*t, &record)) {
        puts("call localtime return null!");
        return -5;
    }
    if (ioctl(dev_handle_rtc, RTC_RD_TIME, &record) < 0) {
        puts("get rtc time error");
        return -5;
    }
    *t = from_local(record);
    return 0;
}

int set_rtc_time(time_t t)
{
    rtc_time record;
    const int result = to_local(t, &record) ? ioctl(dev_handle_rtc, RTC_SET_TIME, &record) : -1;
    if (result < 0) {
        puts("set rtc time error");
        return -2;
    }
    return result;
}

int synch_rtc_to_sys(void)
{
    struct timeval now = {};
    struct timezone zone = {};
    gettimeofday(&now, &zone);
    if (get_rtc_time(&now.tv_sec) != 0) {
        puts("get rtc time error"); // a second time after a failed read; callers rely on it
        return -5;
    }
    // Best effort. Newer C libraries refuse a time and a zone in one call; the
    // zone is the one in force, so that the time alone does the same.
    if (settimeofday(&now, &zone) != 0 && errno == EINVAL) {
        settimeofday(&now, nullptr);
    }
    return 0;
}

} // extern "C"
