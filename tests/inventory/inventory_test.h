// Fixture of the inventory's tests: tables of calls and of what they must do.
#ifndef TESTS_INVENTORY_STATE_INVENTORY_TEST_H
#define TESTS_INVENTORY_STATE_INVENTORY_TEST_H

#include <array>
#include <functional>
#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "tests/frame/state_test.h"

namespace board_test {

constexpr int32_t untouched_number = -0x18181819;

// Every out argument that an operation of the inventory has. A call that must
// not write one leaves it as it is here.
struct Outs {
    uint8_t byte = untouched;
    uint32_t word = untouched_word;
    int32_t number = untouched_number;
    std::array<uint32_t, 2> place = {untouched_word, untouched_word};

    bool operator==(const Outs &) const = default;
    dimm_location *location() { return reinterpret_cast<dimm_location *>(place.data()); }
};

inline void PrintTo(const Outs &outs, std::ostream *out)
{
    *out << "byte " << int{outs.byte} << ", word " << outs.word << ", number " << outs.number
         << ", place " << outs.place[0] << ' ' << outs.place[1];
}

// A call, and all that it does.
struct Call {
    const char *name;
    std::function<int(Outs &)> make;
    int result;
    std::string text = {};
    Outs outs = {};
    Names steps = {};
};

// Some lines carry a number that marks their place in the library: "name 17:".
// The number is free, so it is shown as #.
inline std::string without_places(const std::string &text)
{
    static const std::regex place("(^|\n)(\\w+) \\d+:");
    return std::regex_replace(text, place, "$1$2 #:");
}

class InventoryTest : public StateTest {
protected:
    static inline const Names bom_read = {"lock cpld_reg_lock", "load 02", "unlock cpld_reg_lock"};
    static inline const Names no_register = {"lock cpld_reg_lock", "unlock cpld_reg_lock"};

    // Calls that change nothing on the board.
    void expect_calls(const std::vector<Call> &calls)
    {
        const Bytes before = registers();
        const Names held = held_locks();
        for (const Call &call : calls) {
            SCOPED_TRACE(call.name);
            Outs outs;
            EXPECT_EQ(call.make(outs), call.result);
            EXPECT_EQ(without_places(output()), call.text);
            EXPECT_EQ(outs, call.outs);
            expect_steps(call.steps);
            EXPECT_EQ(held_locks(), held);
        }
        EXPECT_EQ(registers(), before);
    }

    void be_bom(unsigned bom) { set_reg(0x02, static_cast<uint8_t>(bom)); }
};

} // namespace board_test

#endif
