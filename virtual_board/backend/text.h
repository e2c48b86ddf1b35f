// Texts and checksums that answers contain.
#ifndef VIRTUAL_BOARD_BACKEND_TEXT_H
#define VIRTUAL_BOARD_BACKEND_TEXT_H

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>
#include <string_view>

namespace virtual_board {

// "18 01"
std::string hexadecimal(std::span<const uint8_t> bytes);
// "0x1F", with at least so many digits.
std::string hexadecimal(uint64_t value, int digits);
// What is no ASCII text is replaced, so that every answer can be JSON.
std::string printable(std::string_view text);
// As crc32(1) prints it.
std::string checksum(std::span<const uint8_t> bytes);

} // namespace virtual_board

#endif
