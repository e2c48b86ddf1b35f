// The library's own CRC-32.
#ifndef BOOTENV_CRC32_H
#define BOOTENV_CRC32_H

#include <stdint.h>

namespace board_hal {

// What the exported crc32 computes. zlib exports a crc32 too, and in a process
// that has loaded it first a call by that name goes there; the library's own
// callers use this one.
uint32_t crc32_of(uint32_t crc, const uint8_t *buf, uint32_t len);

} // namespace board_hal

#endif
