// The board's time and the order of what happens on it.

#include "virtual_board/clock.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace board_test {
namespace {

using virtual_board::Clock;
using Names = std::vector<std::string>;

class ClockTest : public ::testing::Test {
protected:
    // Notes the name with the time at which it happens.
    std::function<void()> note(const std::string &name)
    {
        return [this, name] { happened.push_back(name + "@" + std::to_string(clock.now_us())); };
    }

    Clock clock{Clock::Mode::virtual_time};
    Names happened;
};

TEST_F(ClockTest, OnlySleepsMoveVirtualTime)
{
    EXPECT_EQ(clock.now_us(), 0U);
    clock.run_due();
    EXPECT_EQ(clock.now_us(), 0U);
    clock.advance_us(30000);
    clock.advance_us(0);
    EXPECT_EQ(clock.now_us(), 30000U);
}

TEST_F(ClockTest, EventsHappenInOrderOfTimeEachAtItsOwn)
{
    clock.schedule_us(300, note("c"));
    clock.schedule_us(100, note("a"));
    clock.schedule_us(200, note("b"));
    clock.advance_us(250);
    EXPECT_EQ(happened, (Names{"a@100", "b@200"}));
    EXPECT_EQ(clock.now_us(), 250U);
    clock.advance_us(50);
    EXPECT_EQ(happened, (Names{"a@100", "b@200", "c@300"}));
}

TEST_F(ClockTest, EventsOfOneMomentHappenAsScheduled)
{
    for (const char *name : {"a", "b", "c"}) {
        clock.schedule_us(10, note(name));
    }
    clock.advance_us(10);
    EXPECT_EQ(happened, (Names{"a@10", "b@10", "c@10"}));
}

TEST_F(ClockTest, AnEventWithinASleepMayScheduleAnother)
{
    clock.schedule_us(10, [this] {
        note("a")();
        clock.schedule_us(20, note("b"));
        clock.schedule_us(200, note("late"));
    });
    clock.advance_us(100);
    EXPECT_EQ(happened, (Names{"a@10", "b@30"}));
    EXPECT_EQ(clock.now_us(), 100U);
}

TEST_F(ClockTest, AnEventThatIsDueNowWaitsForItsTurn)
{
    clock.schedule_us(0, note("a"));
    EXPECT_EQ(happened, Names{});
    clock.run_due();
    EXPECT_EQ(happened, Names{"a@0"});
    clock.run_due();
    EXPECT_EQ(happened, Names{"a@0"});
}

TEST_F(ClockTest, TimeNeverGoesBackward)
{
    clock.schedule_us(10, [this] { clock.advance_us(500); });
    clock.schedule_us(50, note("b"));
    clock.advance_us(100);
    EXPECT_EQ(happened, Names{"b@50"});
    EXPECT_EQ(clock.now_us(), 510U);
}

TEST(RealClockTest, RunsByItself)
{
    Clock clock(Clock::Mode::real_time);
    bool soon = false;
    bool later = false;
    clock.schedule_us(2000, [&soon] { soon = true; });
    const uint64_t due = clock.now_us() + 2000;
    clock.schedule_us(3600000000, [&later] { later = true; });
    clock.advance_us(7200000000); // the caller says that it slept; the machine knows better
    while (clock.now_us() < due) {
    }
    EXPECT_GE(clock.now_us(), due);
    clock.run_due();
    EXPECT_TRUE(soon);
    EXPECT_FALSE(later);
}

} // namespace
} // namespace board_test
