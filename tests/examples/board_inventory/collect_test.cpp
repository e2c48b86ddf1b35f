// What the inventory makes of boards that are not all well.

#include <errno.h>

#include "tests/examples/board_inventory/inventory_board_test.h"

namespace board_test {
namespace {

namespace inventory = board_inventory;
using inventory::Polls;

class CollectTest : public InventoryBoardTest {
protected:
    using InventoryBoardTest::InventoryBoardTest;

    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // A disk's cell after so many polls.
    std::string disk(size_t bay, const char *key, unsigned polls = Polls::enough)
    {
        Polls all;
        all.run(polls);
        return cell(inventory::disks(all), key, bay);
    }
    std::string cpu(size_t number, const char *key, unsigned polls = Polls::enough)
    {
        Polls all;
        all.run(polls);
        return cell(inventory::cpus(all), key, number);
    }
};

// ---- Debounced statuses ----

TEST_F(CollectTest, TenPollsSettleADisk)
{
    Polls polls;
    for (unsigned count = 1; count <= 12; ++count) {
        SCOPED_TRACE(count);
        polls.run(1);
        const inventory::Table table = inventory::disks(polls);
        EXPECT_EQ(cell(table, "v_with_p", 0), count < 10 ? "settling" : "yes");
        EXPECT_EQ(cell(table, "v_without_p", 3), count < 10 ? "settling" : "no");
        EXPECT_EQ(cell(table, "good", 0), count < 10 ? "settling" : "no");
    }
}

TEST_F(CollectTest, PollsHaveAPauseInBetween)
{
    Polls polls;
    polls.run(10);
    const std::vector<Event> sleeps = board.trace.of(Operation::sleep);
    ASSERT_EQ(sleeps.size(), 9U);
    for (const Event &sleep : sleeps) {
        EXPECT_EQ(sleep.count, 50000U);
    }
}

TEST_F(CollectTest, FlickeringDiskNeverSettles)
{
    board.disks().flicker_by_time(0, 50000);
    EXPECT_EQ(disk(0, "v_with_p", 30), "settling");
    EXPECT_EQ(disk(1, "v_with_p"), "yes");
}

TEST_F(CollectTest, DiskStatusThatDoesNotApply)
{
    EXPECT_EQ(disk(0, "v_without_p"), "n.a.");
    EXPECT_EQ(disk(2, "v_with_p"), "n.a.");
    board.disks().set_lines(0, {.p = true, .f = false, .r = true, .v = true});
    EXPECT_EQ(disk(0, "v_with_p"), "n.a.");
    EXPECT_EQ(disk(0, "good"), "yes");
}

TEST_F(CollectTest, FailedAndPulledDisks)
{
    board.disks().fail(0);
    board.disks().pull(1);
    EXPECT_EQ(disk(0, "f"), "yes");
    EXPECT_EQ(disk(1, "p"), "no");
}

TEST_F(CollectTest, CpuFaults)
{
    board.cpus().hold(0, virtual_board::CpuLine::hot_0);
    board.cpus().hold(0, virtual_board::CpuLine::thermal_trip);
    board.cpus().hold(0, virtual_board::CpuLine::internal_error);
    board.cpus().hold(1, virtual_board::CpuLine::error);
    EXPECT_EQ(cpu(0, "hot", 3), "settling");
    EXPECT_EQ(cpu(0, "hot", 4), "yes");
    EXPECT_EQ(cpu(0, "thermal_trip"), "yes");
    EXPECT_EQ(cpu(0, "internal_error"), "yes");
    EXPECT_EQ(cpu(1, "hot"), "no");
    EXPECT_EQ(cpu(1, "thermal_trip"), "no");
    EXPECT_EQ(cpu(0, "error"), "no");
    EXPECT_EQ(cpu(1, "error"), "yes");
}

// ---- What is not there, or does not answer ----

TEST_F(CollectTest, AbsentCpuHasNoStatus)
{
    board.cpus().remove(1);
    EXPECT_EQ(cpu(0, "slot"), "1");
    EXPECT_EQ(cpu(1, "present"), "no");
    for (const char *key :
         {"slot", "generation", "thermal_trip", "hot", "error", "internal_error"}) {
        EXPECT_EQ(cpu(1, key), "n.a.") << key;
    }
}

TEST_F(CollectTest, SilentFpgaIsAnError)
{
    board.faults.add({.name = "no answer", .device = "fpga", .value = EIO, .times = 0});
    const inventory::Table slot = inventory::slot();
    for (const char *key : {"slot", "parity", "seated", "base_board_id", "blade_pcb_version"}) {
        EXPECT_EQ(cell(slot, key), "error -5") << key;
    }
    EXPECT_EQ(cell(inventory::pcie_map(), "chassis_slot", 0), "0");
    EXPECT_EQ(output(), "get_pcie_slotid_by_BDF,get slot id fail!\r\n");
}

TEST_F(CollectTest, SlotByteWithBadParity)
{
    EXPECT_EQ(cell(inventory::slot(), "parity"), "good");
    board.slot().set_bad_parity(true);
    EXPECT_EQ(cell(inventory::slot(), "parity"), "bad");
    EXPECT_EQ(cell(inventory::slot(), "slot"), "1");
}

TEST_F(CollectTest, PulledRaidCard)
{
    board.i2c(2).unplug(0x20);
    set_reg(CPLD_REG_RAID_STATUS, 0);
    const inventory::Table card = inventory::raid_card();
    EXPECT_EQ(cell(card, "board_id"), "error -5");
    EXPECT_EQ(cell(card, "pcb_version"), "error -5");
    EXPECT_EQ(cell(card, "error"), "yes");
}

TEST_F(CollectTest, NotedDimmsArePresent)
{
    EXPECT_EQ(set_dimm_presence(1, 2, 1, 1), 0);
    const inventory::Table table = inventory::dimms();
    ASSERT_EQ(table.rows.size(), 16U);
    for (size_t row = 0; row < 16; ++row) {
        EXPECT_EQ(cell(table, "slot", row), std::to_string(row + 1));
        EXPECT_EQ(cell(table, "cpu", row), "0");
        EXPECT_EQ(cell(table, "present", row), row == 11 ? "yes" : "no");
    }
    EXPECT_EQ(cell(inventory::device_types(), "present", 1), "1");
}

// ---- What the library answers in its own way ----

TEST_F(CollectTest, EveryLedIsLitOrNot)
{
    for (const bool on : {true, false}) {
        for (const int id : virtual_board::Leds::ids) {
            EXPECT_EQ(set_led_status(0, id, 2, on ? 1 : 0), 0);
        }
        const inventory::Table table = inventory::leds();
        ASSERT_EQ(table.rows.size(), virtual_board::Leds::ids.size());
        for (size_t row = 0; row < table.rows.size(); ++row) {
            const int id = virtual_board::Leds::ids[row];
            EXPECT_EQ(cell(table, "led", row), std::to_string(id));
            EXPECT_EQ(cell(table, "lit", row), on ? "yes" : "no") << id;
            EXPECT_EQ(board.leds().lit(id), on) << id;
        }
    }
}

TEST_F(CollectTest, UnknownSerialRoute)
{
    set_reg(0xF7, 0x5F);
    const inventory::Table routing = inventory::serial_routing();
    EXPECT_EQ(cell(routing, "code"), "15");
    for (const char *side : {"host", "panel", "sol", "auxiliary"}) {
        EXPECT_EQ(cell(routing, side), "n.a.") << side;
    }
}

TEST_F(CollectTest, BoardOfAnUnknownBom)
{
    set_reg(0x02, 5);
    const inventory::Table types = inventory::device_types();
    EXPECT_EQ(cell(types, "maximum", 2), "error -2");
    EXPECT_EQ(cell(types, "present", 2), "n.a.");
    Polls polls;
    EXPECT_EQ(inventory::disks(polls).rows.size(), 4U);
    EXPECT_EQ(cell(inventory::containers(), "maximum", 0), "0");
}

// ---- Taking an inventory changes nothing ----

TEST_F(CollectTest, BoardStaysAsItWas)
{
    Bytes before = registers();
    before[0xD4] = 0x13; // the mirror of the RAID card's ids
    take();
    EXPECT_EQ(registers(), before);
}

class NoRaidCard : public CollectTest {
protected:
    NoRaidCard() : CollectTest(*virtual_board::find_personality("brava-1")) {}
};

TEST_F(NoRaidCard, IsNotAsked)
{
    const inventory::Table card = inventory::raid_card();
    for (const char *key : {"board_id", "pcb_version", "error"}) {
        EXPECT_EQ(cell(card, key), "n.a.") << key;
    }
    EXPECT_EQ(board.trace.count(Operation::ioctl, "i2c-0"), 0U);
    uint8_t id = 0;
    EXPECT_EQ(get_raid_board_id(&id), -5);
}

} // namespace
} // namespace board_test
