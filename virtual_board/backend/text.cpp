#include "virtual_board/backend/text.h"

#include <stdio.h>

#include <algorithm>
#include <array>

namespace virtual_board {

namespace {

// Eight bytes at a time: flash chips are large, and the board stands still
// meanwhile.
using Table = std::array<std::array<uint32_t, 256>, 8>;

constexpr Table make_table()
{
    Table table = {};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
        }
        table[0][i] = crc;
    }
    for (size_t slice = 1; slice < table.size(); ++slice) {
        for (size_t i = 0; i < 256; ++i) {
            const uint32_t crc = table[slice - 1][i];
            table[slice][i] = (crc >> 8) ^ table[0][crc & 0xFF];
        }
    }
    return table;
}

constexpr Table table = make_table();

uint32_t crc_of_eight(uint32_t crc, const uint8_t *bytes)
{
    uint32_t next = 0;
    for (size_t i = 0; i < 4; ++i) {
        next ^= table[7 - i][bytes[i] ^ ((crc >> (8 * i)) & 0xFF)];
        next ^= table[3 - i][bytes[4 + i]];
    }
    return next;
}

} // namespace

std::string hexadecimal(std::span<const uint8_t> bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[4];
        snprintf(digits, sizeof(digits), "%02X", byte);
        text += (text.empty() ? "" : " ") + std::string(digits);
    }
    return text;
}

std::string hexadecimal(uint64_t value, int digits)
{
    char text[24];
    snprintf(text, sizeof(text), "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return text;
}

std::string printable(std::string_view text)
{
    std::string plain(text);
    std::replace_if(
        plain.begin(), plain.end(),
        [](unsigned char c) {
            return (c < 0x20 && c != '\n' && c != '\r' && c != '\t') || c >= 0x7F;
        },
        '?');
    return plain;
}

std::string checksum(std::span<const uint8_t> bytes)
{
    uint32_t crc = 0xFFFFFFFF;
    size_t at = 0;
    for (; bytes.size() - at >= 8; at += 8) {
        crc = crc_of_eight(crc, &bytes[at]);
    }
    for (; at < bytes.size(); ++at) {
        crc = (crc >> 8) ^ table[0][(crc ^ bytes[at]) & 0xFF];
    }
    char text[16];
    snprintf(text, sizeof(text), "%08x", ~crc);
    return text;
}

} // namespace virtual_board
