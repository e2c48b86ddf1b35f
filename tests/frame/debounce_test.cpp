// The memories of polled lines, by themselves.

#include "frame/debounce.h"

#include <gtest/gtest.h>
#include <string.h>

#include <deque>
#include <random>
#include <type_traits>

namespace board_test {
namespace {

using board_hal::EventCount;
using board_hal::LevelHistory;
using board_hal::RisingEdge;
using board_hal::ShiftHistory;
using board_hal::StableCount;

constexpr unsigned polls = 100000;

// The history of a line as a list, newest last.
struct Recorded {
    std::deque<bool> seen;

    void push(bool level)
    {
        seen.push_back(level);
        if (seen.size() > 64) {
            seen.pop_front();
        }
    }
    // Polls in a row, up to the newest, that saw the level.
    unsigned run_of(bool level) const
    {
        unsigned run = 0;
        for (auto poll = seen.rbegin(); poll != seen.rend() && *poll == level; ++poll) {
            ++run;
        }
        return run;
    }
};

// A line that stays as it is for a while, so that long runs occur.
class LazyLine {
public:
    explicit LazyLine(unsigned seed) : random_(seed) {}
    bool poll()
    {
        if (random_() % changes_[random_() % 3] == 0) {
            level_ = !level_;
        }
        return level_;
    }

private:
    static constexpr unsigned changes_[] = {3, 10, 30};
    std::minstd_rand random_;
    bool level_ = false;
};

// The board's memories must be plain zero bytes when the library is loaded.
template <typename Memory> void expect_zero_at_load()
{
    static constinit Memory memory;
    static_assert(std::is_trivially_destructible_v<Memory>);
    static_assert(std::is_trivially_copyable_v<Memory>);
    const uint8_t zeros[sizeof(Memory)] = {};
    EXPECT_EQ(memcmp(&memory, zeros, sizeof(memory)), 0);
}

TEST(DebounceTest, MemoriesAreZeroBytesAtLoad)
{
    expect_zero_at_load<ShiftHistory<uint8_t>>();
    expect_zero_at_load<StableCount>();
    expect_zero_at_load<LevelHistory>();
    expect_zero_at_load<RisingEdge>();
    expect_zero_at_load<EventCount>();
    EXPECT_EQ(sizeof(ShiftHistory<uint8_t>), 1U);
}

TEST(DebounceTest, ShiftHistoryRemembersEightPolls)
{
    ShiftHistory<uint8_t> history;
    EXPECT_FALSE(history.any_set());
    EXPECT_TRUE(history.newest_all_clear(4));
    history.push(true);
    for (unsigned poll = 1; poll < 8; ++poll) {
        EXPECT_TRUE(history.any_set()) << poll;
        history.push(false);
        EXPECT_EQ(history.newest_all_clear(4), poll >= 4);
    }
    EXPECT_EQ(history.bits, 0x80);
    history.push(false);
    EXPECT_FALSE(history.any_set());
}

TEST(DebounceTest, ShiftHistoryAgreesWithAListOfPolls)
{
    ShiftHistory<uint8_t> history;
    Recorded recorded;
    for (unsigned poll = 0; poll < 64; ++poll) {
        recorded.push(false);
    }
    LazyLine line(11);
    for (unsigned poll = 0; poll < polls; ++poll) {
        const bool level = line.poll();
        history.push(level);
        recorded.push(level);
        ASSERT_EQ(history.newest_all_set(4), recorded.run_of(true) >= 4);
        ASSERT_EQ(history.newest_all_clear(4), recorded.run_of(false) >= 4);
        ASSERT_EQ(history.any_set(), recorded.run_of(false) < 8);
    }
}

TEST(DebounceTest, StableCountBelievesTheTenthPollInARow)
{
    StableCount count;
    for (const uint32_t value : {1U, 0U, 1U}) {
        for (unsigned poll = 1; poll <= 9; ++poll) {
            EXPECT_FALSE(count.settled(value)) << poll;
        }
        for (unsigned poll = 10; poll <= 1000; ++poll) {
            ASSERT_TRUE(count.settled(value)) << poll;
        }
        EXPECT_EQ(count.count, 10U);
    }
}

TEST(DebounceTest, StableCountNeverBelievesAFlicker)
{
    StableCount count;
    for (unsigned poll = 0; poll < 1000; ++poll) {
        ASSERT_FALSE(count.settled(poll % 2));
    }
}

TEST(DebounceTest, StableCountStartsAnewAfterOneOtherPoll)
{
    StableCount count;
    for (unsigned poll = 1; poll <= 9; ++poll) {
        EXPECT_FALSE(count.settled(1));
    }
    EXPECT_FALSE(count.settled(0));
    for (unsigned poll = 1; poll <= 9; ++poll) {
        EXPECT_FALSE(count.settled(1));
    }
    EXPECT_TRUE(count.settled(1));
}

TEST(DebounceTest, StableCountAgreesWithAListOfPolls)
{
    StableCount count;
    Recorded recorded;
    LazyLine line(12);
    for (unsigned poll = 0; poll < polls; ++poll) {
        const bool level = line.poll();
        recorded.push(level);
        ASSERT_EQ(count.settled(level ? 1 : 0), recorded.run_of(level) >= 10) << poll;
    }
}

TEST(DebounceTest, LevelRisesAfterTenGoodPollsAndFallsAfterTenBad)
{
    LevelHistory history;
    for (unsigned round = 0; round < 3; ++round) {
        for (unsigned poll = 1; poll <= 20; ++poll) {
            EXPECT_EQ(history.push(true), poll >= 10 ? 1U : 0U) << poll;
        }
        for (unsigned poll = 1; poll <= 20; ++poll) {
            EXPECT_EQ(history.push(false), poll >= 10 ? 0U : 1U) << poll;
        }
    }
}

TEST(DebounceTest, LevelHistoryDropsItsOldBitsAtABadPollOnly)
{
    LevelHistory history;
    for (unsigned poll = 0; poll < 20; ++poll) {
        history.push(true);
    }
    EXPECT_EQ(history.history.bits, 0xFFFFFU);
    history.push(false);
    EXPECT_EQ(history.history.bits, 0xFFFEU);
    history.push(true);
    EXPECT_EQ(history.history.bits, 0x1FFFDU);
    for (unsigned poll = 0; poll < 40; ++poll) {
        history.push(true);
    }
    EXPECT_EQ(history.history.bits, 0xFFFFFFFFU);
}

TEST(DebounceTest, LevelAgreesWithAListOfPolls)
{
    LevelHistory history;
    Recorded recorded;
    LazyLine line(13);
    uint32_t level = 0;
    for (unsigned poll = 0; poll < polls; ++poll) {
        const bool good = line.poll();
        recorded.push(good);
        if (recorded.run_of(good) >= 10) {
            level = good ? 1 : 0;
        }
        ASSERT_EQ(history.push(good), level) << poll;
    }
}

TEST(DebounceTest, EdgeIsARiseFromOnePollToTheNext)
{
    RisingEdge edge;
    LazyLine line(14);
    bool last = false;
    for (unsigned poll = 0; poll < polls; ++poll) {
        const bool level = line.poll();
        ASSERT_EQ(edge.rose(level), level && !last) << poll;
        last = level;
    }
}

TEST(DebounceTest, EventCountTellsEveryNth)
{
    EventCount count;
    for (unsigned event = 1; event <= 1000; ++event) {
        ASSERT_EQ(count.reached(4), event % 4 == 0) << event;
    }
}

} // namespace
} // namespace board_test
