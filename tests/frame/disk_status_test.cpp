// Disk status and its debouncing.

#include <limits.h>
#include <unistd.h>

#include <array>
#include <random>

#include "tests/frame/state_test.h"
#include "tests/support/machine.h"

namespace board_test {
namespace {

using virtual_board::DiskLines;

constexpr uint32_t items[] = {0, 1, 2, 3, 6, 7};

// What the board's documents say of the items, step by step.
class ReferenceDisk {
public:
    DiskLines lines;

    // The result; the value goes to `value` if there is one.
    int poll(uint32_t item, unsigned &value)
    {
        switch (item) {
        case 0:
            value = lines.p;
            return 0;
        case 1:
            value = lines.f;
            return 0;
        case 2:
            return lines.p && !lines.r ? debounce(count_2_, last_2_, value) : -3;
        case 3:
            value = lines.r;
            return 0;
        case 6:
            return !lines.p && !lines.r ? debounce(count_6_, last_6_, value) : -3;
        case 7:
            value = shift();
            return 0;
        default:
            return -2;
        }
    }

private:
    int debounce(uint32_t &count, uint32_t &last, unsigned &value)
    {
        const uint32_t v = lines.v ? 1 : 0;
        if (count == 0) {
            last = v;
        } else if (v != last) {
            count = 1;
            last = v;
            return -14;
        }
        ++count;
        if (count <= 9) {
            return -14;
        }
        count = 10;
        value = v;
        return 0;
    }

    unsigned shift()
    {
        if (lines.p && lines.r && lines.v) {
            history_7_ = history_7_ << 1 | 1;
        } else {
            history_7_ = (history_7_ << 1) & 0xFFFF;
        }
        if ((history_7_ & 0x3FF) == 0) {
            state_7_ = 0;
        } else if ((history_7_ & 0x3FF) == 0x3FF) {
            state_7_ = 1;
        }
        return state_7_;
    }

    uint32_t count_2_ = 0, last_2_ = 0;
    uint32_t count_6_ = 0, last_6_ = 0;
    uint32_t history_7_ = 0, state_7_ = 0;
};

struct Answer {
    int result;
    uint8_t value = untouched;

    bool operator==(const Answer &) const = default;
};

constexpr Answer not_yet{-14};
constexpr Answer not_applicable{-3};

class DiskStatusTest : public StateTest {
protected:
    void SetUp() override
    {
        StateTest::SetUp();
        for (unsigned bay = 0; bay < 4; ++bay) {
            board.disks().pull(bay);
        }
    }

    static Answer poll(uint32_t disk, uint32_t item)
    {
        Answer answer{99};
        answer.result = get_disk_status(disk, item, &answer.value);
        return answer;
    }
};

TEST_F(DiskStatusTest, LinesOfEveryDiskFromItsNibble)
{
    for (unsigned disk = 0; disk < 4; ++disk) {
        const uint32_t offset = disk < 2 ? 0x65 : 0x66;
        const unsigned shift = disk % 2 == 0 ? 4 : 0;
        for (unsigned value = 0; value < 256; ++value) {
            set_reg(0x65, static_cast<uint8_t>(~value));
            set_reg(0x66, static_cast<uint8_t>(~value));
            set_reg(offset, static_cast<uint8_t>(value));
            const unsigned nibble = value >> shift & 0xF;
            EXPECT_EQ(poll(disk, 0), (Answer{0, static_cast<uint8_t>(nibble >> 3 & 1)}));
            EXPECT_EQ(poll(disk, 1), (Answer{0, static_cast<uint8_t>(nibble >> 2 & 1)}));
            EXPECT_EQ(poll(disk, 3), (Answer{0, static_cast<uint8_t>(nibble >> 1 & 1)}));
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(DiskStatusTest, RegisterIsReadOnceUnderTheLock)
{
    for (const uint32_t item : items) {
        poll(1, item);
        expect_steps(locked({"load 65"}));
        poll(2, item);
        expect_steps(locked({"load 66"}));
    }
}

TEST_F(DiskStatusTest, NullIsRefusedFirstAndTheRestUnderTheLock)
{
    expect_refused({
        {"null", [] { return get_disk_status(0, 0, nullptr); }, -1,
         "get_disk_status val pointer is null\n"},
        {"null of disk 4", [] { return get_disk_status(4, 4, nullptr); }, -1,
         "get_disk_status val pointer is null\n"},
    });
    for (const uint32_t disk : {4U, 5U, 255U, 256U, 0x80000000U, UINT_MAX}) {
        EXPECT_EQ(poll(disk, 0), (Answer{-2})) << disk;
        expect_steps(locked({}));
    }
    for (const uint32_t item : {4U, 5U, 8U, 9U, 255U, 256U, 0x80000002U, UINT_MAX}) {
        EXPECT_EQ(poll(0, item), (Answer{-2})) << item;
        EXPECT_EQ(board.trace.count(Operation::lock, "cpld_reg_lock"), 1U);
        clear_trace();
    }
    EXPECT_EQ(output(), "");
}

// Items 2 and 6 debounce V for a disk that is in its bay, or not.
TEST_F(DiskStatusTest, DebouncedItemsApplyToTheirDisksAlone)
{
    for (unsigned nibble = 0; nibble < 16; ++nibble) {
        const bool p = (nibble & 8) != 0;
        const bool r = (nibble & 2) != 0;
        set_reg(0x65, static_cast<uint8_t>(nibble << 4));
        EXPECT_EQ(poll(0, 2), p && !r ? not_yet : not_applicable);
        EXPECT_EQ(poll(0, 6), !p && !r ? not_yet : not_applicable);
    }
}

TEST_F(DiskStatusTest, DebouncedValueComesWithTheTenthPoll)
{
    for (const uint32_t item : {2U, 6U}) {
        for (unsigned disk = 0; disk < 4; ++disk) {
            SCOPED_TRACE(disk);
            for (const bool v : {true, false, true}) {
                board.disks().set_lines(disk, {.p = item == 2, .f = disk == 1, .v = v});
                for (unsigned number = 1; number <= 9; ++number) {
                    EXPECT_EQ(poll(disk, item), not_yet) << number;
                }
                for (unsigned number = 10; number <= 30; ++number) {
                    EXPECT_EQ(poll(disk, item), (Answer{0, static_cast<uint8_t>(v)})) << number;
                }
            }
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(DiskStatusTest, DisksAndItemsCountForThemselves)
{
    board.disks().set_lines(0, {.p = true, .v = true});
    board.disks().set_lines(1, {.p = true, .v = true});
    for (unsigned number = 1; number <= 9; ++number) {
        poll(0, 2);
    }
    EXPECT_EQ(poll(1, 2), not_yet);
    board.disks().set_lines(0, {.v = true});
    EXPECT_EQ(poll(0, 6), not_yet);
    // A poll that does not apply leaves the count as it was.
    EXPECT_EQ(poll(0, 2), not_applicable);
    board.disks().set_lines(0, {.p = true, .v = true});
    EXPECT_EQ(poll(0, 2), (Answer{0, 1}));
}

TEST_F(DiskStatusTest, FlickeringLineIsNeverReported)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single loads are not seen on this machine";
    }
    board.disks().insert(3);
    board.disks().flicker_by_load(3, true);
    for (unsigned number = 0; number < 200; ++number) {
        ASSERT_EQ(poll(3, 2), not_yet);
    }
    board.disks().flicker_by_load(3, false);
    unsigned more = 1;
    while (poll(3, 2) == not_yet) {
        ++more;
    }
    EXPECT_EQ(more, 10U);
}

TEST_F(DiskStatusTest, SlowFlickerIsReportedBetweenItsChanges)
{
    board.disks().insert(2);
    board.disks().flicker_by_time(2, 1500000);
    unsigned reported = 0;
    unsigned ones = 0;
    // A poller that asks every 100 ms sees runs of 15.
    for (unsigned number = 0; number < 150; ++number) {
        const Answer answer = poll(2, 2);
        reported += answer.result == 0 ? 1 : 0;
        ones += answer == Answer{0, 1} ? 1 : 0;
        usleep(100000);
    }
    EXPECT_EQ(reported, 60U);
    EXPECT_EQ(ones, 30U);
}

TEST_F(DiskStatusTest, Item7RisesAfterTenGoodPollsAndFallsAfterTenBad)
{
    for (unsigned disk = 0; disk < 4; ++disk) {
        SCOPED_TRACE(disk);
        const auto expect_level = [disk](unsigned level, unsigned number) {
            EXPECT_EQ(poll(disk, 7), (Answer{0, static_cast<uint8_t>(level)})) << number;
        };
        for (unsigned round = 0; round < 2; ++round) {
            board.disks().set_lines(disk, {.p = true, .r = true, .v = true});
            for (unsigned number = 1; number <= 40; ++number) {
                expect_level(number >= 10 ? 1 : 0, number);
            }
            for (unsigned number = 1; number <= 20; ++number) {
                // Each line that is missing makes a bad poll.
                board.disks().set_lines(
                    disk,
                    {.p = number % 3 != 0, .f = true, .r = number % 3 != 1, .v = number % 3 != 2});
                expect_level(number >= 10 ? 0 : 1, number);
            }
        }
    }
}

TEST_F(DiskStatusTest, PulledAndInsertedDiskIsSeenAtOnceAndBelievedLater)
{
    board.disks().insert(0);
    board.disks().fail(0);
    EXPECT_EQ(poll(0, 0), (Answer{0, 1}));
    EXPECT_EQ(poll(0, 1), (Answer{0, 1}));
    for (unsigned number = 1; number <= 9; ++number) {
        EXPECT_EQ(poll(0, 2), not_yet);
    }
    EXPECT_EQ(poll(0, 2), (Answer{0, 1}));
    board.disks().pull(0);
    EXPECT_EQ(poll(0, 0), (Answer{0, 0}));
    EXPECT_EQ(poll(0, 2), not_applicable);
    for (unsigned number = 1; number <= 9; ++number) {
        EXPECT_EQ(poll(0, 6), not_yet);
    }
    EXPECT_EQ(poll(0, 6), (Answer{0, 0}));
}

// Lines change now and then, each disk at its own pace.
void step(std::minstd_rand &random, std::array<ReferenceDisk, 4> &disks)
{
    const size_t disk = random() / 7 % 4;
    DiskLines &lines = disks[disk].lines;
    // P and R are mostly as items 2, 6 or 7 need them for a long time.
    switch (random() / 7 % 64) {
    case 0:
        lines.p = !lines.p;
        break;
    case 1:
    case 2:
        lines.r = random() / 7 % 2 == 0;
        break;
    case 3:
    case 4:
        lines.f = !lines.f;
        break;
    case 5:
    case 6:
        lines.v = !lines.v;
        break;
    default:
        break;
    }
}

uint8_t nibble_of(const DiskLines &lines)
{
    return static_cast<uint8_t>(lines.p * 8 + lines.f * 4 + lines.r * 2 + lines.v);
}

TEST_F(DiskStatusTest, LongRandomPollingAgreesWithTheReference)
{
    // Plain memory in place of the window: watching each load takes microseconds.
    static std::array<uint8_t, CPLD_WINDOW_SIZE> window{};
    uint8_t *const mapped = g_cpld_base_addr;
    g_cpld_base_addr = window.data();
    board.trace.keep(false);
    unwatch_locks();
    std::minstd_rand random(20240918);
    std::array<ReferenceDisk, 4> disks;
    unsigned polls[std::size(items)][4] = {};
    std::array<unsigned, 4> answers[std::size(items)] = {}; // value 0, value 1, -14, -3
    size_t unfinished = std::size(items) * 4;
    for (unsigned long number = 0; unfinished != 0; ++number) {
        step(random, disks);
        window[0x65] =
            static_cast<uint8_t>(nibble_of(disks[0].lines) << 4 | nibble_of(disks[1].lines));
        window[0x66] =
            static_cast<uint8_t>(nibble_of(disks[2].lines) << 4 | nibble_of(disks[3].lines));
        const size_t at = random() / 7 % std::size(items);
        const uint32_t disk = random() / 7 % 4;
        unsigned value = untouched;
        const int result = disks[disk].poll(items[at], value);
        const Answer answer = poll(disk, items[at]);
        if (answer != Answer{result, static_cast<uint8_t>(value)}) {
            ADD_FAILURE() << "poll " << number << " disk " << disk << " item " << items[at] << ": "
                          << answer.result << ' ' << int{answer.value} << ", not " << result << ' '
                          << value;
            break;
        }
        ++answers[at][result == 0 ? value : (result == -14 ? 2 : 3)];
        unfinished -= ++polls[at][disk] == long_run_polls ? 1 : 0;
    }
    g_cpld_base_addr = mapped;
    // The sequence is worth its length only if every answer was common.
    for (size_t at = 0; at < std::size(items); ++at) {
        const bool debounced = items[at] == 2 || items[at] == 6;
        for (size_t kind = 0; kind < 4; ++kind) {
            EXPECT_EQ(answers[at][kind] > 500, kind < 2 || debounced)
                << "item " << items[at] << " kind " << kind << ": " << answers[at][kind];
        }
    }
    EXPECT_EQ(output(), "");
}

// The same through the board's own registers.
TEST_F(DiskStatusTest, RandomPollingOfTheBoardAgreesWithTheReference)
{
    board.trace.keep(false);
    std::minstd_rand random(17);
    std::array<ReferenceDisk, 4> disks;
    for (unsigned number = 0; number < 20000; ++number) {
        step(random, disks);
        for (unsigned bay = 0; bay < 4; ++bay) {
            board.disks().set_lines(bay, disks[bay].lines);
        }
        const uint32_t item = items[random() / 7 % std::size(items)];
        const uint32_t disk = random() / 7 % 4;
        unsigned value = untouched;
        const int result = disks[disk].poll(item, value);
        ASSERT_EQ(poll(disk, item), (Answer{result, static_cast<uint8_t>(value)}))
            << number << " disk " << disk << " item " << item;
    }
}

} // namespace
} // namespace board_test
