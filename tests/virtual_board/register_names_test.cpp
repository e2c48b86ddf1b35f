// Names of the CPLD's registers and bits.

#include "virtual_board/register_names.h"

#include <gtest/gtest.h>

#include "board_hal_cpld.h"

namespace virtual_board {
namespace {

TEST(RegisterNames, NamesRegistersByTheirOffset)
{
    EXPECT_EQ(register_name(CPLD_REG_BOARD_ID), "BOARD_ID");
    EXPECT_EQ(register_name(CPLD_REG_POWER_BUTTON), "POWER_BUTTON");
    EXPECT_EQ(register_name(CPLD_REG_RAID_STATUS), "RAID_STATUS");
    EXPECT_EQ(register_name(0x04), "");
    EXPECT_EQ(register_name(256), "");
}

struct Change {
    uint32_t offset;
    uint8_t before;
    uint8_t after;
    const char *text;
};

TEST(RegisterNames, TellsEachChangedBitWithBothValues)
{
    const Change changes[] = {
        {CPLD_REG_POWER_BUTTON, 0x00, 0x00, ""},
        {CPLD_REG_POWER_BUTTON, 0x00, 0x80, "POWER_BUTTON_PRESSED 0 -> 1"},
        {CPLD_REG_POWER_BUTTON, 0x91, 0x10,
         "POWER_BUTTON_PRESSED 1 -> 0, COMPONENT_RESET_0 1 -> 0"},
        // Unnamed bits of a register that has named ones.
        {CPLD_REG_POWER_BUTTON, 0x02, 0x20, "POWER_EVENT_0 0 -> 1, bit 1 1 -> 0"},
        // Fields of more than one bit.
        {CPLD_REG_SERIAL_ROUTING, 0x21, 0x26, "SERIAL_ROUTE 1 -> 6"},
        {CPLD_REG_DISK_STATUS_01, 0x0F, 0xA3, "DISK_EVEN 0 -> A, DISK_ODD F -> 3"},
        // Masks that two registers share.
        {CPLD_REG_CPU0_STATUS, 0x80, 0x00, "CPU_PRESENT 1 -> 0"},
        {CPLD_REG_CPU1_STATUS, 0x80, 0x00, "CPU_PRESENT 1 -> 0"},
        {CPLD_REG_RAID_CARD, 0x00, 0x34, "SUBBOARD_PCB_VERSION 0 -> 3, SUBBOARD_ID 0 -> 4"},
        {CPLD_REG_MEMORY_EVENT_LOW, 0x00, 0x01, "MEMORY_EVENT_FOURTH 0 -> 1"},
        // A number, not bits; and no register of the map.
        {CPLD_REG_RESERVED_0, 0x00, 0xFF, ""},
        {0x04, 0x00, 0xFF, ""},
    };
    for (const Change &change : changes) {
        EXPECT_EQ(changed_bits(change.offset, change.before, change.after), change.text)
            << "register " << change.offset;
    }
}

} // namespace
} // namespace virtual_board
