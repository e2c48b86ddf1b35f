// Tables that lead from a caller's selector to bits of the CPLD.
#ifndef FRAME_SELECTED_BITS_H
#define FRAME_SELECTED_BITS_H

#include <stddef.h>
#include <stdint.h>

#include "common/cpld_window.h"

namespace board_hal {

// A selector of the caller's and the bits that it names.
struct Selected {
    uint32_t selector;
    CpldBits bits;
};

// The bits of a selector, null if the table has none.
template <size_t N> const CpldBits *find(const Selected (&table)[N], uint32_t selector)
{
    for (const Selected &row : table) {
        if (row.selector == selector) {
            return &row.bits;
        }
    }
    return nullptr;
}

constexpr bool bit_0(uint8_t value)
{
    return (value & 1) != 0;
}

inline int read_bit(CpldBits bits, uint8_t *val)
{
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_test(bits) ? 1 : 0;
    return 0;
}

// In the two below the lock is taken before the selector is judged, so that a
// refused call too waits for a button press or release in progress.

template <size_t N> int read_selected(const Selected (&table)[N], uint32_t selector, uint8_t *val)
{
    const MutexGuard guard(cpld_reg_lock);
    const CpldBits *bits = find(table, selector);
    if (bits == nullptr) {
        return -2;
    }
    *val = cpld_test(*bits) ? 1 : 0;
    return 0;
}

// Assigns bit 0 of the value; refused is the answer to an unknown selector.
template <size_t N>
int write_selected(const Selected (&table)[N], uint32_t selector, uint8_t val, int refused = -2)
{
    const MutexGuard guard(cpld_reg_lock);
    const CpldBits *bits = find(table, selector);
    if (bits == nullptr) {
        return refused;
    }
    cpld_assign(*bits, bit_0(val));
    return 0;
}

} // namespace board_hal

#endif
