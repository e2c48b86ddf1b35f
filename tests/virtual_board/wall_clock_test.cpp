// The board's system clock.

#include <errno.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::WallClock;
using WallClockTest = BoardTest;

TEST_F(WallClockTest, RunsWithTheBoardsTime)
{
    timeval now = {};
    EXPECT_EQ(gettimeofday(&now, nullptr), 0);
    EXPECT_EQ(now.tv_sec, WallClock::virtual_start);
    EXPECT_EQ(now.tv_usec, 0);
    usleep(2500000);
    EXPECT_EQ(gettimeofday(&now, nullptr), 0);
    EXPECT_EQ(now.tv_sec, WallClock::virtual_start + 2);
    EXPECT_EQ(now.tv_usec, 500000);
}

TEST_F(WallClockTest, IsSetWithItsZoneAndLeavesTheMachinesClock)
{
    const time_t machine = time(nullptr);
    usleep(300000);
    const timeval date = {1000000, 5};
    const struct timezone zone = {-60, 1};
    EXPECT_EQ(settimeofday(&date, &zone), 0);
    usleep(2);
    timeval now = {};
    struct timezone got = {};
    EXPECT_EQ(gettimeofday(&now, &got), 0);
    EXPECT_EQ(now.tv_sec, 1000000);
    EXPECT_EQ(now.tv_usec, 7);
    EXPECT_EQ(got.tz_minuteswest, -60);
    EXPECT_EQ(got.tz_dsttime, 1);
    EXPECT_EQ(board.wall_clock().times_set(), 1U);
    EXPECT_LT(time(nullptr) - machine, 100);
    EXPECT_GE(time(nullptr), machine);
}

TEST_F(WallClockTest, IsSetThroughTheOtherCallToo)
{
    const timespec date = {2000000, 3000};
    EXPECT_EQ(clock_settime(CLOCK_REALTIME, &date), 0);
    const timeval now = board.wall_clock().now();
    EXPECT_EQ(now.tv_sec, 2000000);
    EXPECT_EQ(now.tv_usec, 3);
}

// With a date that the machine's kernel would refuse, should the call ever get
// there.
TEST_F(WallClockTest, IsReachedPastTheLibraryToo)
{
    const timeval wrong = {-1, 0};
    errno = 0;
    EXPECT_EQ(syscall(SYS_settimeofday, &wrong, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(steps(), Names{"set_time wall-clock"});
    board.faults.add(
        {.name = "taken", .device = "wall-clock", .operation = Operation::set_time, .value = 0});
    EXPECT_EQ(syscall(SYS_settimeofday, &wrong, nullptr), 0);
    EXPECT_EQ(syscall(SYS_getpid), getpid()) << "other calls pass by";
}

TEST_F(WallClockTest, RefusesWhatTheKernelRefuses)
{
    const timeval wrong[] = {{-1, 0}, {1, -1}, {1, 1000000}};
    for (const timeval &date : wrong) {
        errno = 0;
        EXPECT_EQ(settimeofday(&date, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(board.wall_clock().times_set(), 0U);
}

TEST_F(WallClockTest, RefusesTimeAndZoneTogetherLikeNewerLibraries)
{
    board.wall_clock().refuses_zone_with_time = true;
    const timeval date = {1000000, 0};
    const struct timezone zone = {};
    EXPECT_EQ(settimeofday(&date, &zone), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(board.wall_clock().times_set(), 0U);
    EXPECT_EQ(settimeofday(&date, nullptr), 0);
    EXPECT_EQ(settimeofday(nullptr, &zone), 0);
    EXPECT_EQ(board.wall_clock().times_set(), 1U);
}

TEST_F(WallClockTest, CanBeMadeToFail)
{
    board.faults.add({.name = "not permitted",
                      .device = "wall-clock",
                      .operation = Operation::set_time,
                      .value = EPERM});
    const timeval date = {1000000, 0};
    EXPECT_EQ(settimeofday(&date, nullptr), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(board.wall_clock().now().tv_sec, WallClock::virtual_start);
    EXPECT_EQ(steps(), (Names{"set_time wall-clock"}));
}

} // namespace
} // namespace board_test
