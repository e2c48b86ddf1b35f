// The one way to touch a CPLD register.
//
// It lies here and not in frame/ because the FPGA services and the inventory
// mirror or test single register bits too; going through get_cpld_reg and
// set_cpld_reg would take the lock twice and lose updates in between.
#ifndef COMMON_CPLD_WINDOW_H
#define COMMON_CPLD_WINDOW_H

#include <pthread.h>
#include <stdint.h>

#include "board_hal.h"
#include "board_hal_cpld.h"
#include "support/mutex_guard.h"

namespace board_hal {

// Guards the register window; every read and every read-modify-write holds it,
// but for the few operations that say why they do not.
extern pthread_mutex_t cpld_reg_lock;

// One or more bits of one register.
struct CpldBits {
    uint8_t offset;
    uint8_t mask;

    constexpr bool operator==(const CpldBits &) const = default;
};

// The functions below access the window as it is mapped, without a lock: the
// caller holds cpld_reg_lock, or states why not. Each is one byte load, one
// byte store, or one of each in that order.

inline volatile uint8_t *cpld_reg_address(int32_t offset)
{
    return g_cpld_base_addr + offset;
}

inline uint8_t cpld_read(int32_t offset)
{
    return *cpld_reg_address(offset);
}

inline void cpld_write(int32_t offset, uint8_t value)
{
    *cpld_reg_address(offset) = value;
}

inline bool cpld_test(CpldBits bits)
{
    return (cpld_read(bits.offset) & bits.mask) != 0;
}

inline void cpld_set(CpldBits bits)
{
    cpld_write(bits.offset, static_cast<uint8_t>(cpld_read(bits.offset) | bits.mask));
}

inline void cpld_clear(CpldBits bits)
{
    cpld_write(bits.offset, static_cast<uint8_t>(cpld_read(bits.offset) & ~bits.mask));
}

inline void cpld_assign(CpldBits bits, bool set)
{
    set ? cpld_set(bits) : cpld_clear(bits);
}

constexpr unsigned lowest_bit(uint8_t mask)
{
    unsigned bit = 0;
    while (bit < 8 && (mask >> bit & 1) == 0) {
        ++bit;
    }
    return bit;
}

// The field's value, moved down to bit 0.
inline uint8_t cpld_field_get(CpldBits field)
{
    return static_cast<uint8_t>((cpld_read(field.offset) & field.mask) >> lowest_bit(field.mask));
}

// Replaces the field; the register's other bits keep what they held.
inline void cpld_field_put(CpldBits field, uint8_t value)
{
    const unsigned kept = cpld_read(field.offset) & ~static_cast<unsigned>(field.mask);
    const unsigned placed = static_cast<unsigned>(value) << lowest_bit(field.mask) & field.mask;
    cpld_write(field.offset, static_cast<uint8_t>(kept | placed));
}

} // namespace board_hal

#endif
