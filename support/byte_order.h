// Little-endian fields of driver records.
#ifndef SUPPORT_BYTE_ORDER_H
#define SUPPORT_BYTE_ORDER_H

#include <stdint.h>

namespace board_hal {

constexpr uint8_t byte_of(uint32_t value, unsigned index)
{
    return static_cast<uint8_t>(value >> (8 * index));
}

constexpr void store_le32(uint8_t *to, uint32_t value)
{
    for (unsigned i = 0; i < 4; ++i) {
        to[i] = byte_of(value, i);
    }
}

constexpr uint32_t load_le32(const uint8_t *from)
{
    uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i) {
        value |= static_cast<uint32_t>(from[i]) << (8 * i);
    }
    return value;
}

} // namespace board_hal

#endif
