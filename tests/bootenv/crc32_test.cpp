// The exported crc32 against the polynomial, bit by bit.

#include "board_hal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace {

uint32_t shift_out(uint32_t reg)
{
    return (reg & 1) != 0 ? reg >> 1 ^ 0xEDB88320U : reg >> 1;
}

uint32_t bitwise_crc(uint32_t crc, std::span<const uint8_t> bytes)
{
    uint32_t reg = ~crc;
    for (const uint8_t byte : bytes) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const uint32_t data = byte >> bit & 1U;
            reg = shift_out(reg ^ data);
        }
    }
    return ~reg;
}

std::vector<uint8_t> random_bytes(std::size_t count, uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<uint8_t> bytes(count);
    for (uint8_t &byte : bytes) {
        byte = static_cast<uint8_t>(random());
    }
    return bytes;
}

uint32_t crc_of(uint32_t crc, std::span<const uint8_t> bytes)
{
    return crc32(crc, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

TEST(Crc32, KnownValue)
{
    const std::vector<uint8_t> digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(crc_of(0, digits), 0xCBF43926U);
}

TEST(Crc32, NoBytesLeaveTheRunningValue)
{
    EXPECT_EQ(crc32(0, nullptr, 0), 0U);
    EXPECT_EQ(crc32(0x12345678, nullptr, 0), 0x12345678U);
}

TEST(Crc32, EveryLengthAlignmentAndSeed)
{
    constexpr std::size_t longest = 300;
    constexpr std::size_t alignments = 16;
    const std::vector<uint8_t> bytes = random_bytes(longest + alignments, 1);
    for (const uint32_t seed : {0U, 1U, 0x80000000U, 0xCBF43926U, 0xFFFFFFFFU}) {
        for (std::size_t start = 0; start < alignments; ++start) {
            for (std::size_t length = 0; length <= longest; ++length) {
                const auto part = std::span(bytes).subspan(start, length);
                ASSERT_EQ(crc_of(seed, part), bitwise_crc(seed, part))
                    << "seed " << seed << " start " << start << " length " << length;
            }
        }
    }
}

TEST(Crc32, TheDataOfAWholeBlock)
{
    for (uint32_t seed = 0; seed < 8; ++seed) {
        const std::vector<uint8_t> bytes = random_bytes(8188, seed);
        EXPECT_EQ(crc_of(0, bytes), bitwise_crc(0, bytes));
    }
}

TEST(Crc32, ResultSeedsTheNextBytes)
{
    const std::vector<uint8_t> bytes = random_bytes(512, 2);
    const uint32_t whole = crc_of(0, bytes);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        const auto all = std::span<const uint8_t>(bytes);
        ASSERT_EQ(crc_of(crc_of(0, all.first(cut)), all.subspan(cut)), whole) << "cut " << cut;
    }
}

TEST(CrcTable, HoldsTheRegisterAfterEachByte)
{
    EXPECT_EQ(crc_table[1], 0x77073096U);
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t reg = n;
        for (int bit = 0; bit < 8; ++bit) {
            reg = shift_out(reg);
        }
        ASSERT_EQ(crc_table[n], reg) << "entry " << n;
    }
}

} // namespace
