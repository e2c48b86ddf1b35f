// Names of the CPLD's registers and bits, as the register header gives them.
#ifndef VIRTUAL_BOARD_REGISTER_NAMES_H
#define VIRTUAL_BOARD_REGISTER_NAMES_H

#include <stdint.h>

#include <string>
#include <vector>

namespace virtual_board {

// A field of a register: one bit, or several in a row.
struct NamedBits {
    std::string name;
    uint8_t mask;
};

// "POWER_BUTTON"; empty if the register has no name.
std::string register_name(uint32_t offset);
std::vector<NamedBits> named_bits(uint32_t offset);

// The bits of a register that differ, each with its old and new value:
// "POWER_BUTTON_PRESSED 0 -> 1, COMPONENT_RESET_0 1 -> 0". Differing bits that
// have no name are given by number; nothing for a register without named bits.
std::string changed_bits(uint32_t offset, uint8_t before, uint8_t after);

} // namespace virtual_board

#endif
