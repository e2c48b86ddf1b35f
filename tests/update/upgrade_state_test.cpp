// What update services share.

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "tests/update/update_test.h"

namespace board_test {
namespace {

using virtual_board::WallClock;
using UpgradeStateTest = UpdateTest;

using SetPair = void (*)(uint32_t, uint32_t);
using GetPair = int (*)(uint32_t *, uint32_t *);

TEST_F(UpgradeStateTest, StatusAndModeAreTwoPairsOfWords)
{
    const std::pair<SetPair, GetPair> pairs[] = {{set_upgrade_status, get_upgrade_status},
                                                 {set_upgrade_mode, get_upgrade_mode}};
    for (const auto &[set, get] : pairs) {
        uint32_t first = 77;
        uint32_t second = 77;
        EXPECT_EQ(get(&first, &second), 0);
        EXPECT_EQ(first, 0U) << "at load";
        EXPECT_EQ(second, 0U);
        for (const auto &[one, other] :
             {std::pair{50U, 1U}, {0xFFFFFFFFU, 0x80000000U}, {0U, 3U}}) {
            set(one, other);
            EXPECT_EQ(get(&first, &second), 0);
            EXPECT_EQ(first, one);
            EXPECT_EQ(second, other);
        }
    }
    set_upgrade_status(1, 2);
    set_upgrade_mode(3, 4);
    EXPECT_EQ(status(), Status(1, 2)) << "they do not share";
    EXPECT_EQ(steps(), Names{}) << "no lock";
    EXPECT_EQ(output(), "");
}

TEST_F(UpgradeStateTest, VersionsAndCountsAreFixed)
{
    uint8_t major = 77;
    uint8_t minor = 77;
    EXPECT_EQ(get_drv_lib_version(&major, &minor), 0);
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 0);
    uint32_t boards = 0;
    EXPECT_EQ(get_max_board_num(&boards), 0);
    EXPECT_EQ(boards, 8U);
}

TEST_F(UpgradeStateTest, BuildStampIsCopiedWithItsEnd)
{
    char date[14];
    char time[11];
    memset(date, '#', sizeof(date));
    memset(time, '#', sizeof(time));
    EXPECT_EQ(get_drv_build_time(date, 12, time, 9), 0);
    EXPECT_EQ(std::string(date, sizeof(date)), std::string("Dec 19 2016\0##", 14));
    EXPECT_EQ(std::string(time, sizeof(time)), std::string("17:58:08\0##", 11));
}

TEST_F(UpgradeStateTest, BuildStampThatDoesNotFitIsLeftOut)
{
    char date[12] = "unchanged";
    char time[9] = "same";
    EXPECT_EQ(get_drv_build_time(date, 11, time, 8), 0);
    EXPECT_STREQ(date, "unchanged");
    EXPECT_STREQ(time, "same");
    EXPECT_EQ(get_drv_build_time(date, 0, time, 9), 0) << "each for itself";
    EXPECT_STREQ(date, "unchanged");
    EXPECT_STREQ(time, "17:58:08");
}

TEST_F(UpgradeStateTest, ClockKeepsMicrosecondsAndZone)
{
    usleep(123456);
    board.wall_clock().zone = {-60, 1};
    EXPECT_EQ(set_cur_time_stamp(1000), 0);
    timeval now = board.wall_clock().now();
    EXPECT_EQ(now.tv_sec, 1000);
    EXPECT_EQ(now.tv_usec, 123456);
    EXPECT_EQ(board.wall_clock().zone.tz_minuteswest, -60);
    EXPECT_EQ(board.wall_clock().zone.tz_dsttime, 1);
    EXPECT_EQ(set_cur_time_stamp(0), 0);
    EXPECT_EQ(board.wall_clock().now().tv_sec, 0);
    EXPECT_EQ(board.wall_clock().times_set(), 2U);
}

TEST_F(UpgradeStateTest, ClockIsSetWithLibrariesThatRefuseTheZone)
{
    usleep(5);
    board.wall_clock().refuses_zone_with_time = true;
    board.wall_clock().zone = {-60, 1};
    EXPECT_EQ(set_cur_time_stamp(1000), 0);
    EXPECT_EQ(board.wall_clock().now().tv_sec, 1000);
    EXPECT_EQ(board.wall_clock().now().tv_usec, 5);
    EXPECT_EQ(board.wall_clock().zone.tz_minuteswest, -60);
}

TEST_F(UpgradeStateTest, ClockThatIsNotSetTellsWhy)
{
    board.faults.add(fault("wall-clock", Operation::set_time, Fault::Kind::error, EPERM));
    EXPECT_EQ(set_cur_time_stamp(1000), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(board.wall_clock().now().tv_sec, WallClock::virtual_start);
    EXPECT_EQ(steps(), Names{"set_time wall-clock"}) << "no second try";
    EXPECT_EQ(output(), "");
}

TEST_F(UpgradeStateTest, LogicVersionsComeFromTheirUnits)
{
    uint8_t cpld = 0;
    uint8_t fpga = 0;
    ASSERT_EQ(get_cpld_version(&cpld), 0);
    ASSERT_EQ(get_fpga_version(&fpga), 0);
    ASSERT_NE(cpld, fpga);
    uint8_t version = 0;
    EXPECT_EQ(get_unit_logic_version(0, 0, &version), 0);
    EXPECT_EQ(version, cpld);
    EXPECT_EQ(get_unit_logic_version(0, 1, &version), 0);
    EXPECT_EQ(version, fpga);
}

TEST_F(UpgradeStateTest, OtherLogicUnitsHaveNoVersion)
{
    const std::pair<uint32_t, uint32_t> units[] = {
        {0, 2}, {1, 0}, {1, 1}, {0x100, 0}, {0, 0x100}, {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto &[unit, type] : units) {
        uint8_t version = 0;
        EXPECT_EQ(get_unit_logic_version(unit, type, &version), -1) << unit << " " << type;
        EXPECT_EQ(version, 255);
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(UpgradeStateTest, LogicUnitThatDoesNotAnswerHasNoVersion)
{
    for (const auto &[kind, value] :
         {std::pair{Fault::Kind::error, EIO}, std::pair{Fault::Kind::late_result, 1}}) {
        board.faults.add(fault("fpga", Operation::ioctl, kind, value));
        uint8_t version = 0;
        EXPECT_EQ(get_unit_logic_version(0, 1, &version), -1) << value;
        EXPECT_EQ(version, 255);
    }
}

TEST_F(UpgradeStateTest, UnsupportedOperationsAnswerAndDoNothing)
{
    EXPECT_EQ(get_lcd_upgrade_state(), -1);
    EXPECT_EQ(check_spi_bios_guid(), 0);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
