#include "virtual_board/register_names.h"

#include <stdio.h>

#include <bit>

namespace virtual_board {

namespace {

struct RegisterName {
    uint32_t offset;
    const char *name;
};

struct BitsName {
    uint32_t offset;
    uint8_t mask;
    const char *name;
};

#include "cpld_names.inc"

void append_change(std::string &list, const std::string &name, uint8_t mask, uint8_t before,
                   uint8_t after)
{
    const int shift = std::countr_zero(mask);
    char values[32];
    snprintf(values, sizeof(values), " %X -> %X", (before & mask) >> shift,
             (after & mask) >> shift);
    list += (list.empty() ? "" : ", ") + name + values;
}

} // namespace

std::string register_name(uint32_t offset)
{
    for (const RegisterName &entry : register_table) {
        if (entry.offset == offset) {
            return entry.name;
        }
    }
    return {};
}

std::vector<NamedBits> named_bits(uint32_t offset)
{
    std::vector<NamedBits> bits;
    for (const BitsName &entry : bits_table) {
        if (entry.offset == offset) {
            bits.push_back({entry.name, entry.mask});
        }
    }
    return bits;
}

std::string changed_bits(uint32_t offset, uint8_t before, uint8_t after)
{
    const auto changed = static_cast<uint8_t>(before ^ after);
    std::string list;
    unsigned named = 0;
    bool has_names = false;
    for (const BitsName &entry : bits_table) {
        if (entry.offset != offset) {
            continue;
        }
        has_names = true;
        named |= entry.mask;
        if ((changed & entry.mask) != 0) {
            append_change(list, entry.name, entry.mask, before, after);
        }
    }
    for (int bit = 7; bit >= 0 && has_names; --bit) {
        const auto mask = static_cast<uint8_t>(1U << bit);
        if ((changed & mask & ~named) != 0) {
            append_change(list, "bit " + std::to_string(bit), mask, before, after);
        }
    }
    return list;
}

} // namespace virtual_board
