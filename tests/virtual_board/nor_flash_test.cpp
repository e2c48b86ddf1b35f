// The NOR flash chip.

#include "virtual_board/nor_flash.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

using virtual_board::Clock;
using virtual_board::NorFlash;
using Bytes = std::vector<uint8_t>;

class NorFlashTest : public ::testing::Test {
protected:
    Clock clock{Clock::Mode::virtual_time};
    NorFlash flash{clock, {.size = 0x4000, .erase_size = 0x1000}};

    long program(uint32_t offset, const Bytes &bytes)
    {
        return flash.program(offset, bytes.data(), bytes.size());
    }
    Bytes read(uint32_t offset, size_t count)
    {
        Bytes bytes(count);
        EXPECT_EQ(flash.read(offset, bytes.data(), count), static_cast<long>(count));
        return bytes;
    }
};

TEST_F(NorFlashTest, IsErasedWhenNew)
{
    EXPECT_EQ(read(0, 0x4000), Bytes(0x4000, 0xFF));
}

TEST_F(NorFlashTest, ProgrammingClearsBitsOnly)
{
    EXPECT_EQ(program(0x10, {0xF0, 0xAA}), 2);
    EXPECT_EQ(read(0x0F, 4), (Bytes{0xFF, 0xF0, 0xAA, 0xFF}));
    EXPECT_EQ(program(0x10, {0x3C, 0xFF}), 2);
    EXPECT_EQ(read(0x10, 2), (Bytes{0x30, 0xAA}));
}

TEST_F(NorFlashTest, ErasesWholeBlocksAndCountsThem)
{
    flash.put(0, Bytes(0x4000, 0x00));
    EXPECT_EQ(flash.erase(0x1000, 0x2000), 0);
    EXPECT_EQ(read(0x0FFF, 2), (Bytes{0x00, 0xFF}));
    EXPECT_EQ(read(0x2FFF, 2), (Bytes{0xFF, 0x00}));
    EXPECT_EQ(flash.erase(0x1000, 0x1000), 0);
    EXPECT_EQ(flash.wear(0), 0U);
    EXPECT_EQ(flash.wear(1), 2U);
    EXPECT_EQ(flash.wear(2), 1U);
}

TEST_F(NorFlashTest, RefusesWorkWhileProtected)
{
    flash.put(0, {0x12});
    flash.protect(true);
    EXPECT_EQ(program(0, {0x00}), -EIO);
    EXPECT_EQ(flash.erase(0, 0x1000), -EIO);
    EXPECT_EQ(read(0, 1), Bytes{0x12});
    flash.protect(false);
    EXPECT_EQ(flash.erase(0, 0x1000), 0);
    EXPECT_EQ(read(0, 1), Bytes{0xFF});
}

TEST_F(NorFlashTest, LocksSingleBlocks)
{
    EXPECT_EQ(flash.lock(0x1000, 0x1000, true), 0);
    EXPECT_EQ(program(0x0FFF, {0x00}), 1);
    EXPECT_EQ(program(0x0FFF, {0x00, 0x00}), -EIO) << "reaches into the locked block";
    EXPECT_EQ(program(0x1FFF, {0x00}), -EIO);
    EXPECT_EQ(program(0x2000, {0x00}), 1);
    EXPECT_EQ(flash.erase(0, 0x2000), -EIO);
    EXPECT_EQ(read(0x0FFF, 2), (Bytes{0x00, 0xFF})) << "nothing was erased";
    EXPECT_EQ(flash.lock(0x1000, 0x1000, false), 0);
    EXPECT_EQ(flash.erase(0, 0x2000), 0);
}

TEST_F(NorFlashTest, TakesTimeOnlyIfAsked)
{
    flash.erase(0, 0x4000);
    program(0, Bytes(0x4000, 0));
    EXPECT_EQ(clock.now_us(), 0U);
    flash.set_timing({.erase_block_us = 500000, .program_kib_us = 3000});
    flash.erase(0, 0x2000);
    EXPECT_EQ(clock.now_us(), 1000000U);
    program(0, Bytes(1025, 0));
    EXPECT_EQ(clock.now_us(), 1006000U) << "a started kilobyte counts whole";
    read(0, 0x4000);
    EXPECT_EQ(clock.now_us(), 1006000U);
}

// In real mode the caller is held up, so that people see an update take its time.
TEST(NorFlashTimeTest, HoldsItsCallerUpInRealTime)
{
    virtual_board::Clock clock(virtual_board::Clock::Mode::real_time);
    NorFlash flash(clock, {.size = 0x4000, .erase_size = 0x1000});
    flash.set_timing({.erase_block_us = 2000, .program_kib_us = 3000});
    const uint64_t start = clock.now_us();
    flash.erase(0, 0x2000);
    EXPECT_GE(clock.now_us() - start, 4000U);
    flash.program(0, Bytes(1024, 0).data(), 1024);
    EXPECT_GE(clock.now_us() - start, 7000U);
}

TEST_F(NorFlashTest, PowerCutStopsProgrammingInTheMiddle)
{
    flash.cut_power_after(3);
    EXPECT_EQ(program(0, {1, 2}), 2);
    EXPECT_EQ(program(2, {3, 4, 5}), -EIO);
    EXPECT_FALSE(flash.powered());
    uint8_t byte = 0xEE;
    EXPECT_EQ(flash.read(0, &byte, 1), -EIO);
    EXPECT_EQ(byte, 0xEE);
    EXPECT_EQ(flash.erase(0, 0x1000), -EIO);
    EXPECT_EQ(flash.lock(0, 0x1000, true), -EIO);
    flash.restore_power();
    EXPECT_EQ(read(0, 5), (Bytes{1, 2, 3, 0xFF, 0xFF}));
    EXPECT_EQ(program(3, {4}), 1);
}

TEST_F(NorFlashTest, PowerCutStopsAnEraseInTheMiddle)
{
    flash.put(0, Bytes(0x4000, 0x55));
    flash.cut_power_after(0x1800);
    EXPECT_EQ(flash.erase(0, 0x3000), -EIO);
    flash.restore_power();
    EXPECT_EQ(read(0x17FF, 2), (Bytes{0xFF, 0x55}));
    EXPECT_EQ(flash.wear(1), 1U) << "half an erase wears too";
    EXPECT_EQ(flash.wear(2), 0U);
}

TEST_F(NorFlashTest, PowerThatLastsExactlyIsNoCut)
{
    flash.cut_power_after(2);
    EXPECT_EQ(program(0, {1, 2}), 2);
    EXPECT_TRUE(flash.powered());
    EXPECT_EQ(program(2, {3}), -EIO);
}

TEST_F(NorFlashTest, BackendPutsAndFlips)
{
    flash.put(0x3FFE, {0x00, 0xFF});
    flash.flip_bit(0x3FFE, 7);
    flash.flip_bit(0x3FFF, 0);
    EXPECT_EQ(read(0x3FFE, 2), (Bytes{0x80, 0xFE}));
    EXPECT_EQ(flash.contents()[0x3FFE], 0x80);
    EXPECT_THROW(flash.put(0x3FFF, {1, 2}), std::out_of_range);
    EXPECT_EQ(flash.wear(3), 0U);
}

TEST_F(NorFlashTest, ConsistsOfWholeBlocks)
{
    EXPECT_THROW(NorFlash(clock, {.size = 0x1800, .erase_size = 0x1000}), std::invalid_argument);
}

} // namespace
