// Fixture of the tests of what the CPLD tells about the board.
#ifndef TESTS_FRAME_STATE_STATE_TEST_H
#define TESTS_FRAME_STATE_STATE_TEST_H

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/board_test.h"
#include "virtual_board/shim/shim.h"

namespace board_test {

// What an out argument holds before a call that must not write it.
constexpr uint8_t untouched = 0xE7;
constexpr uint32_t untouched_word = 0xE7E7E7E7;

constexpr uint8_t patterns[] = {0x00, 0xFF, 0xA5, 0x5A};

// A call that is refused before it reaches the board.
struct Refusal {
    const char *call;
    int (*make)();
    int result;
    const char *text;
};

class StateTest : public BoardTest {
protected:
    using BoardTest::BoardTest;

    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // The trace since the last call; where single accesses are not seen, its
    // locks and device calls.
    void expect_steps(Names expected)
    {
        if (!sees_each_access()) {
            std::erase_if(expected, [](const std::string &step) {
                return step.starts_with("load ") || step.starts_with("store ");
            });
        }
        EXPECT_EQ(without_unseen(steps()), expected);
        clear_trace();
    }

    static Names locked(Names accesses, const std::string &lock = "cpld_reg_lock")
    {
        accesses.insert(accesses.begin(), "lock " + lock);
        accesses.push_back("unlock " + lock);
        return accesses;
    }

    void expect_refused(const std::vector<Refusal> &refusals)
    {
        const Bytes before = registers();
        for (const Refusal &refusal : refusals) {
            SCOPED_TRACE(refusal.call);
            EXPECT_EQ(refusal.make(), refusal.result);
            EXPECT_EQ(output(), refusal.text);
            expect_steps({});
        }
        EXPECT_EQ(registers(), before);
    }

    // For long runs, whose time the notes of each lock would take ten times over.
    // The open locks stay noted as held.
    void unwatch_locks()
    {
        virtual_board::shim::observe_mutexes(nullptr);
        leaves_held(held_locks());
    }

    // The registers as they must be after a change of one.
    static Bytes with(Bytes registers, uint32_t offset, unsigned value)
    {
        registers[offset] = static_cast<uint8_t>(value);
        return registers;
    }

private:
    // Elsewhere a store is noticed some time later.
    static Names without_unseen(Names steps)
    {
        if (!sees_each_access()) {
            std::erase_if(steps,
                          [](const std::string &step) { return step.starts_with("store "); });
        }
        return steps;
    }
};

} // namespace board_test

#endif
