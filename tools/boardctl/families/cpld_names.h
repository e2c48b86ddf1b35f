// Names of the CPLD's registers and bits.
#ifndef BOARDCTL_CPLD_NAMES_H
#define BOARDCTL_CPLD_NAMES_H

#include <stdint.h>

#include <string>
#include <vector>

namespace boardctl {

// A register, or some bits of it.
struct Place {
    uint8_t offset = 0;
    uint8_t mask = 0xFF;

    bool whole() const { return mask == 0xFF; }
    // The bits' value, moved down to bit 0, and back.
    uint8_t get(uint8_t value) const;
    uint8_t put(uint8_t value, uint8_t field) const;
    uint8_t max() const { return get(0xFF); }
};

// Understands POWER_STATE, 0x85, POWER_STATE.POWER_GOOD, 0x85.0x10, and
// POWER_GOOD alone where one register only has it; the header's prefixes CPLD_
// and CPLD_REG_ and small letters too. Answers a complaint, empty if it did.
std::string find_place(const std::string &word, Place &place);

// "POWER_STATE.POWER_GOOD", "0x07"
std::string place_name(const Place &place);

// Empty if the register has no name.
std::string register_name(uint8_t offset);

// Offsets with a name, in order.
std::vector<uint8_t> named_registers();

// The bits that are set, by name; fields of several bits with their value.
std::string set_bits(uint8_t offset, uint8_t value);

// The bits that differ: "POWER_GOOD 0 -> 1".
std::string changed_bits(uint8_t offset, uint8_t before, uint8_t after);

// All that find_place understands by name.
std::vector<std::string> place_names();

} // namespace boardctl

#endif
