// The battery-backed clock and the system clock.

#include <fcntl.h>
#include <linux/rtc.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <limits>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

tm date(int year, int month, int day, int hour, int minute, int second)
{
    tm made = {};
    made.tm_year = year - 1900;
    made.tm_mon = month - 1;
    made.tm_mday = day;
    made.tm_hour = hour;
    made.tm_min = minute;
    made.tm_sec = second;
    return made;
}

std::string text(const tm &time)
{
    char made[32];
    strftime(made, sizeof(made), "%F %T", &time);
    return made;
}

// A driver that keeps what it is given, and answers nothing of its own.
class BareRtc : public virtual_board::Device {
public:
    BareRtc() : Device("rtc") {}

    long ioctl(virtual_board::OpenFile &, uint32_t request, void *argument) override
    {
        requests.push_back(request);
        record = *static_cast<const rtc_time *>(argument);
        return 0;
    }

    std::vector<uint32_t> requests;
    rtc_time record = {};
};

class RtcTimeTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        zone("UTC0");
    }

    void TearDown() override
    {
        if (opened_) {
            close(dev_handle_rtc);
        }
        BoardTest::TearDown();
    }

    static void zone(const char *name)
    {
        setenv("TZ", name, 1);
        tzset();
    }

    void open_rtc()
    {
        ASSERT_EQ(rtc_init(), 0);
        opened_ = true;
        output();
        clear_trace();
    }

    void driver_answers(uint32_t request, Fault::Kind kind, long value)
    {
        board.faults.add({.name = "driver",
                          .device = "rtc",
                          .operation = Operation::ioctl,
                          .address = request,
                          .kind = kind,
                          .value = value});
    }

private:
    bool opened_ = false;
};

TEST_F(RtcTimeTest, ReadsTheClockAsLocalTime)
{
    open_rtc();
    board.rtc().set_date(date(2021, 1, 15, 12, 30, 45));
    const struct {
        const char *zone;
        time_t offset;
    } rows[] = {{"UTC0", 0}, {"EET-2", -7200}, {"EST5", 18000}, {"NPT-5:45", -20700}};
    for (const auto &row : rows) {
        zone(row.zone);
        time_t t = 0;
        EXPECT_EQ(get_rtc_time(&t), 0);
        EXPECT_EQ(t, 1610713845 + row.offset) << row.zone;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(RtcTimeTest, ReadsWithOneRequestAndNoLock)
{
    open_rtc();
    time_t t = 0;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(steps(), (Names{"ioctl rtc 80247009"}));
}

TEST_F(RtcTimeTest, RunsWithTheBoardsTime)
{
    open_rtc();
    time_t before = 0;
    time_t after = 0;
    EXPECT_EQ(get_rtc_time(&before), 0);
    usleep(3000000);
    EXPECT_EQ(get_rtc_time(&after), 0);
    EXPECT_EQ(after - before, 3);
}

TEST_F(RtcTimeTest, TheDriversDaylightFlagCounts)
{
    open_rtc();
    zone("CET-1CEST,M3.5.0,M10.5.0/3");
    board.rtc().set_date(date(2021, 7, 1, 12, 0, 0));
    time_t t = 0;
    board.rtc().daylight_flag = 1;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(t, 1625133600);
    board.rtc().daylight_flag = 0;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(t, 1625137200) << "winter time's noon";
    board.rtc().daylight_flag = -1;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(t, 1625133600) << "the zone's rules decide";
}

TEST_F(RtcTimeTest, TheCallersTimeIsTheStartingRecord)
{
    const auto driver = std::make_shared<BareRtc>();
    board.attach("/dev/rtc", driver);
    open_rtc();
    zone("EET-2");
    time_t t = 1610713845;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(t, 1610713845) << "a driver that fills nothing leaves it";
    const rtc_time &record = driver->record;
    EXPECT_EQ(record.tm_sec, 45);
    EXPECT_EQ(record.tm_min, 30);
    EXPECT_EQ(record.tm_hour, 14);
    EXPECT_EQ(record.tm_mday, 15);
    EXPECT_EQ(record.tm_mon, 0);
    EXPECT_EQ(record.tm_year, 121);
    EXPECT_EQ(record.tm_wday, 5);
    EXPECT_EQ(record.tm_yday, 14);
    EXPECT_EQ(record.tm_isdst, 0);
}

TEST_F(RtcTimeTest, ATimeWithoutADateStopsBeforeTheDriver)
{
    if (sizeof(time_t) < 8) {
        GTEST_SKIP() << "every time has a date here";
    }
    open_rtc();
    time_t t = std::numeric_limits<time_t>::max();
    EXPECT_EQ(get_rtc_time(&t), -5);
    EXPECT_EQ(t, std::numeric_limits<time_t>::max());
    EXPECT_EQ(output(), "call localtime return null!\n");
    EXPECT_EQ(set_rtc_time(t), -2);
    EXPECT_EQ(output(), "set rtc time error\n");
    EXPECT_EQ(steps(), Names{});
}

TEST_F(RtcTimeTest, AFailedReadLeavesTheTime)
{
    open_rtc();
    driver_answers(RTC_RD_TIME, Fault::Kind::error, EIO);
    time_t t = 55;
    EXPECT_EQ(get_rtc_time(&t), -5);
    EXPECT_EQ(t, 55);
    EXPECT_EQ(output(), "get rtc time error\n");
}

TEST_F(RtcTimeTest, APositiveReadResultIsGood)
{
    open_rtc();
    driver_answers(RTC_RD_TIME, Fault::Kind::late_result, 1);
    time_t t = 55;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(t, 1577836800);
}

TEST_F(RtcTimeTest, SetsTheClockToLocalTime)
{
    open_rtc();
    zone("EST5");
    EXPECT_EQ(set_rtc_time(1610713845), 0);
    EXPECT_EQ(text(board.rtc().date()), "2021-01-15 07:30:45");
    EXPECT_EQ(steps(), (Names{"ioctl rtc 4024700a"}));
    time_t t = 0;
    EXPECT_EQ(get_rtc_time(&t), 0);
    EXPECT_EQ(t, 1610713845);
    EXPECT_EQ(output(), "");
}

TEST_F(RtcTimeTest, HandsTheDriverTheWholeRecord)
{
    const auto driver = std::make_shared<BareRtc>();
    board.attach("/dev/rtc", driver);
    open_rtc();
    zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(set_rtc_time(1625133601), 0);
    EXPECT_EQ(driver->requests, (std::vector<uint32_t>{0x4024700A}));
    const rtc_time &record = driver->record;
    EXPECT_EQ(record.tm_sec, 1);
    EXPECT_EQ(record.tm_min, 0);
    EXPECT_EQ(record.tm_hour, 12);
    EXPECT_EQ(record.tm_mday, 1);
    EXPECT_EQ(record.tm_mon, 6);
    EXPECT_EQ(record.tm_year, 121);
    EXPECT_EQ(record.tm_wday, 4);
    EXPECT_EQ(record.tm_yday, 181);
    EXPECT_EQ(record.tm_isdst, 1);
}

TEST_F(RtcTimeTest, HandsOnTheDriversAnswerToASet)
{
    open_rtc();
    driver_answers(RTC_SET_TIME, Fault::Kind::result, 3);
    EXPECT_EQ(set_rtc_time(0), 3);
    EXPECT_EQ(output(), "");
    driver_answers(RTC_SET_TIME, Fault::Kind::error, EACCES);
    EXPECT_EQ(set_rtc_time(0), -2);
    EXPECT_EQ(output(), "set rtc time error\n");
    EXPECT_EQ(text(board.rtc().date()), "2020-01-01 00:00:00");
}

TEST_F(RtcTimeTest, WithoutADeviceBothFail)
{
    dev_handle_rtc = -1;
    time_t t = 55;
    EXPECT_EQ(get_rtc_time(&t), -5);
    EXPECT_EQ(set_rtc_time(t), -2);
    EXPECT_EQ(output(), "get rtc time error\nset rtc time error\n");
    EXPECT_EQ(t, 55);
}

// ---- the system clock ----

TEST_F(RtcTimeTest, SetsTheSystemClock)
{
    open_rtc();
    zone("EET-2");
    board.rtc().set_date(date(2021, 1, 15, 12, 30, 45));
    board.wall_clock().set({1000, 123456});
    board.wall_clock().zone = {-120, 1};
    EXPECT_EQ(synch_rtc_to_sys(), 0);
    const timeval now = board.wall_clock().now();
    EXPECT_EQ(now.tv_sec, 1610706645);
    EXPECT_EQ(now.tv_usec, 123456) << "kept";
    EXPECT_EQ(board.wall_clock().zone.tz_minuteswest, -120);
    EXPECT_EQ(board.wall_clock().zone.tz_dsttime, 1);
    EXPECT_EQ(steps(), (Names{"ioctl rtc 80247009", "set_time wall-clock"}));
    EXPECT_EQ(output(), "");
}

TEST_F(RtcTimeTest, SetsItWhereTimeAndZoneAreRefusedTogether)
{
    open_rtc();
    board.wall_clock().set({1000, 123456});
    board.wall_clock().zone = {-120, 1};
    board.wall_clock().refuses_zone_with_time = true;
    EXPECT_EQ(synch_rtc_to_sys(), 0);
    EXPECT_EQ(board.wall_clock().now().tv_sec, 1577836800);
    EXPECT_EQ(board.wall_clock().now().tv_usec, 123456);
    EXPECT_EQ(board.wall_clock().zone.tz_minuteswest, -120);
    EXPECT_EQ(board.wall_clock().times_set(), 1U);
}

TEST_F(RtcTimeTest, ASystemClockThatCannotBeSetIsNoFailure)
{
    open_rtc();
    board.wall_clock().set({1000, 0});
    board.faults.add({.name = "not permitted",
                      .device = "wall-clock",
                      .operation = Operation::set_time,
                      .value = EPERM,
                      .times = 0});
    EXPECT_EQ(synch_rtc_to_sys(), 0);
    EXPECT_EQ(board.wall_clock().now().tv_sec, 1000);
    EXPECT_EQ(steps(), (Names{"ioctl rtc 80247009", "set_time wall-clock"}));
    EXPECT_EQ(output(), "");
}

TEST_F(RtcTimeTest, SaysTwiceThatTheClockCannotBeRead)
{
    open_rtc();
    board.wall_clock().set({1000, 0});
    driver_answers(RTC_RD_TIME, Fault::Kind::error, EIO);
    EXPECT_EQ(synch_rtc_to_sys(), -5);
    EXPECT_EQ(output(), "get rtc time error\nget rtc time error\n");
    EXPECT_EQ(board.wall_clock().times_set(), 0U);
    EXPECT_EQ(board.wall_clock().now().tv_sec, 1000);
}

} // namespace
} // namespace board_test
