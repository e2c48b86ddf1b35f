// The EEPROM's pages, address counter and write cycle.

#include "virtual_board/chips/eeprom_24c.h"

#include "tests/virtual_board/bus_master.h"

namespace board_test {
namespace {

using virtual_board::Clock;
using virtual_board::Eeprom24c;

class EepromTest : public ::testing::Test {
protected:
    void wait_for_write_cycle() { clock.advance_us(chip->geometry().write_cycle_us); }

    // Every byte tells where it is.
    void fill()
    {
        for (size_t i = 0; i < chip->memory().size(); ++i) {
            chip->memory()[i] = static_cast<uint8_t>(i * 7 + i / 256);
        }
    }

    Clock clock{Clock::Mode::virtual_time};
    std::shared_ptr<Eeprom24c> chip = std::make_shared<Eeprom24c>(clock);
    BusMaster master{chip};
};

TEST_F(EepromTest, ComesErased)
{
    EXPECT_EQ(chip->memory(), Bytes(8192, 0xFF));
    EXPECT_EQ(master.write_read({0x1F, 0xFF}, 1), Bytes{0xFF});
}

TEST_F(EepromTest, StopProgramsThePageAndNothingElse)
{
    fill();
    Bytes expected = chip->memory();
    expected[0x123] = 0x0A;
    expected[0x124] = 0x0B;
    EXPECT_EQ(master.write({0x01, 0x23, 0x0A, 0x0B}), 4U);
    EXPECT_EQ(chip->memory(), expected);
    EXPECT_EQ(chip->write_cycles(), 1U);
}

TEST_F(EepromTest, DoesNotAcknowledgeWhileItPrograms)
{
    master.write({0x00, 0x00, 0x55});
    EXPECT_TRUE(chip->programming());
    EXPECT_FALSE(master.acknowledges());
    clock.advance_us(4999);
    EXPECT_FALSE(master.acknowledges());
    Bytes bytes = {0xEE};
    EXPECT_FALSE(master.bus.read(BusMaster::address, bytes).addressed);
    master.bus.stop();
    EXPECT_EQ(bytes, Bytes{0xEE});
    clock.advance_us(1);
    EXPECT_FALSE(chip->programming());
    EXPECT_TRUE(master.acknowledges());
}

TEST_F(EepromTest, DataWrapsAroundWithinItsPage)
{
    Bytes expected(8192, 0xFF);
    expected[0x3E] = 1;
    expected[0x3F] = 2;
    expected[0x20] = 3;
    expected[0x21] = 4;
    master.write({0x00, 0x3E, 1, 2, 3, 4});
    EXPECT_EQ(chip->memory(), expected);
}

TEST_F(EepromTest, MoreThanAPageOverwritesItsOwnBeginning)
{
    Bytes record = {0x00, 0x00};
    for (uint8_t i = 0; i < 34; ++i) {
        record.push_back(i);
    }
    EXPECT_EQ(master.write(record), 36U);
    EXPECT_EQ(chip->memory()[0], 32);
    EXPECT_EQ(chip->memory()[1], 33);
    EXPECT_EQ(chip->memory()[2], 2);
    EXPECT_EQ(chip->memory()[31], 31);
    EXPECT_EQ(chip->memory()[32], 0xFF);
}

TEST_F(EepromTest, OffsetAloneStartsNoWriteCycle)
{
    EXPECT_EQ(master.write({0x00, 0x40}), 2U);
    EXPECT_EQ(chip->write_cycles(), 0U);
    EXPECT_TRUE(master.acknowledges());
}

TEST_F(EepromTest, RepeatedStartDropsTheData)
{
    master.write_on({0x00, 0x40, 0x55});
    EXPECT_EQ(master.read(1).size(), 1U);
    EXPECT_EQ(chip->write_cycles(), 0U);
    EXPECT_EQ(chip->memory()[0x40], 0xFF);
}

TEST_F(EepromTest, ReadsGoOnWhereTheLastTransferEnded)
{
    fill();
    const Bytes &memory = chip->memory();
    EXPECT_EQ(master.write_read({0x01, 0x00}, 2), (Bytes{memory[0x100], memory[0x101]}));
    EXPECT_EQ(master.read(1), Bytes{memory[0x102]});
    master.write({0x02, 0x00, 0x99});
    wait_for_write_cycle();
    EXPECT_EQ(master.read(1), Bytes{memory[0x201]}) << "behind the byte written last";
}

TEST_F(EepromTest, HalfAnOffsetLeavesTheCounter)
{
    fill();
    master.write({0x01, 0x00});
    master.write({0x02});
    EXPECT_EQ(master.read(1), Bytes{chip->memory()[0x100]});
}

TEST_F(EepromTest, ReadsWrapAroundAtTheEndOfTheMemory)
{
    fill();
    const Bytes &memory = chip->memory();
    EXPECT_EQ(master.write_read({0x1F, 0xFF}, 3), (Bytes{memory[8191], memory[0], memory[1]}));
    EXPECT_EQ(master.write_read({0xFF, 0xFF}, 1), Bytes{memory[8191]}) << "unused offset bits";
}

TEST_F(EepromTest, WriteProtectionRefusesData)
{
    chip->write_protect(true);
    EXPECT_EQ(master.write({0x00, 0x10, 0x55, 0x66}), 2U);
    EXPECT_EQ(chip->memory(), Bytes(8192, 0xFF));
    EXPECT_EQ(chip->write_cycles(), 0U);
    chip->write_protect(false);
    EXPECT_EQ(master.write({0x00, 0x10, 0x55}), 3U);
    EXPECT_EQ(chip->memory()[0x10], 0x55);
}

// 24C02: one offset byte, pages of 8, a slower write cycle.
TEST_F(EepromTest, SmallChipTakesOneOffsetByte)
{
    chip = std::make_shared<Eeprom24c>(clock, Eeprom24c::Geometry{256, 8, 1, 10000});
    master.bus.plug(BusMaster::address, chip);
    EXPECT_EQ(master.write({0xFE, 1, 2, 3}), 4U);
    EXPECT_EQ(chip->memory()[0xFE], 1);
    EXPECT_EQ(chip->memory()[0xFF], 2);
    EXPECT_EQ(chip->memory()[0xF8], 3);
    clock.advance_us(9999);
    EXPECT_FALSE(master.acknowledges());
    clock.advance_us(1);
    EXPECT_EQ(master.write_read({0xFF}, 2), (Bytes{2, 0xFF}));
}

} // namespace
} // namespace board_test
