// Which devices are there.

#include <limits.h>

#include <map>

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

class PresenceTest : public InventoryTest {
protected:
    void SetUp() override
    {
        InventoryTest::SetUp();
        std::fill(std::begin(g_dimm_present), std::end(g_dimm_present), 0);
    }

    static Call device(const char *name, uint8_t type, int32_t index, int result,
                       const std::string &text = {}, const Outs &outs = {}, const Names &steps = {})
    {
        const auto make = [type, index](Outs &o) {
            return get_device_presence(0x5A, type, index, &o.byte);
        };
        return {name, make, result, text, outs, steps};
    }

    static std::string failed(const char *what)
    {
        return std::string("get_device_presence #: ") + what + "\r\n";
    }
};

constexpr const char *disk_failed = "get_disk_status_by_fruid #: get_disk_status is error\r\n";
constexpr const char *raid_failed = "get_raidcard_presence #: get_board_id err .\r\n";

// ---- By type ----

TEST_F(PresenceTest, EveryTypeIsAskedOrRefused)
{
    g_dimm_present[0] = 0x101; // the low byte counts
    const Outs present = {.byte = 1};
    const std::map<int, Call> served = {
        {0, device("CPU", 0, 0, 0, "", present, locked({"load 2a"}))},
        {1, device("DIMM", 1, 0, 0, "", present)},
        {2, device("disk", 2, 0, 0, "", present, locked({"load 65"}))},
        {3, device("power supply", 3, 0, 0, "", {}, no_register)},
        {4, device("fan", 4, 0, 0)},
        {5, device("backplane", 5, 0, 0, "", present)},
        {6, device("RAID card", 6, 0, -1, raid_failed + failed("get_disk_status is error"), {},
                   no_register)},
        {8, device("PCIe card", 8, 0, 0)},
        {11, device("mezzanine card", 11, 0, 0)},
    };
    for (int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        const auto row = served.find(type);
        expect_calls(
            {row != served.end()
                 ? row->second
                 : device("none", static_cast<uint8_t>(type), 0, -1,
                          failed(("The devicetype is wrong,devicetype is " + std::to_string(type))
                                     .c_str()))});
    }
}

TEST_F(PresenceTest, NullIsRefusedBeforeTheType)
{
    for (int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        expect_calls({{"null",
                       [type](Outs &) {
                           return get_device_presence(0, static_cast<uint8_t>(type), 0, nullptr);
                       },
                       -1, failed("The para is null")}});
    }
}

TEST_F(PresenceTest, CpuGoesByItsPresenceLine)
{
    board.cpus().remove(1);
    expect_calls({
        device("CPU 0", 0, 0, 0, "", {.byte = 1}, locked({"load 2a"})),
        device("CPU 1", 0, 1, 0, "", {.byte = 0}, locked({"load 2c"})),
        device("no such CPU", 0, 4, -1,
               "Invalid cpu_id = 4\r\n" + failed("get_cpu_status is error")),
    });
}

TEST_F(PresenceTest, DiskGoesByItsBay)
{
    board.disks().pull(0);
    board.disks().insert(3);
    expect_calls({
        device("pulled", 2, 0, 0, "", {.byte = 0}, locked({"load 65"})),
        device("fitted", 2, 1, 0, "", {.byte = 1}, locked({"load 65"})),
        device("empty", 2, 2, 0, "", {.byte = 0}, locked({"load 66"})),
        device("inserted", 2, 3, 0, "", {.byte = 1}, locked({"load 66"})),
        device("no such bay", 2, 4, -1, disk_failed + failed("get_disk_status is error"), {},
               no_register),
        device("negative", 2, -1, -1, disk_failed + failed("get_disk_status is error"), {},
               no_register),
    });
}

TEST_F(PresenceTest, DimmGoesByItsEntry)
{
    std::fill(std::begin(g_dimm_present), std::end(g_dimm_present), 0);
    g_dimm_present[15] = 1;
    expect_calls({
        device("absent", 1, 0, 0, "", {.byte = 0}),
        device("last", 1, 15, 0, "", {.byte = 1}),
        device("beyond", 1, 16, -1,
               "get_dimm_presence #: the para is err,sign:16 .\r\n" +
                   failed("get_dimm_presence_status fail.")),
    });
}

TEST_F(PresenceTest, OtherTypesByIndex)
{
    const std::string raid = raid_failed + failed("get_disk_status is error");
    const std::string supply = "PS Index Error\n" + failed("get_powersupply_presence is error");
    expect_calls({
        device("power supply 1", 3, 1, 0, "", {}, no_register),
        device("power supply 2", 3, 2, -1, supply),
        device("power supply -1", 3, -1, -1, supply),
        device("fan 5", 4, 5, 0),
        device("fan 99", 4, 99, 0),
        device("backplane 7", 5, 7, 0, "", {.byte = 1}),
        device("backplane -1", 5, -1, 0, "", {.byte = 1}),
        device("RAID card 1", 6, 1, -1, raid, {}, no_register),
        device("RAID card, last", 6, INT_MAX, -1, raid, {}, no_register),
        device("PCIe card 3", 8, 3, 0),
        device("mezzanine card 3", 11, 3, 0),
    });
}

// ---- Each on its own ----

TEST_F(PresenceTest, DiskStatusPassesEveryItemOn)
{
    // A good disk: P, R and V.
    board.disks().set_lines(1, {.p = true, .f = false, .r = true, .v = true});
    const Names bay_1 = locked({"load 65"});
    const auto call = [](const char *name, uint32_t index, uint32_t kind, int result,
                         const Outs &outs, const Names &steps) {
        return Call{
            name,   [=](Outs &o) { return get_disk_status_by_fruid(9, index, kind, &o.byte); },
            result, result == 0 ? "" : disk_failed,
            outs,   steps};
    };
    expect_calls({
        call("P", 1, 0, 0, {.byte = 1}, bay_1),
        call("F", 1, 1, 0, {.byte = 0}, bay_1),
        call("R", 1, 3, 0, {.byte = 1}, bay_1),
        call("not applicable", 1, 2, -1, {}, bay_1), // -3
        call("first good poll", 1, 7, 0, {.byte = 0}, bay_1),
        call("no such item", 1, 4, -1, {}, bay_1),
        call("no such disk", 4, 0, -1, {}, no_register),
        {"null", [](Outs &) { return get_disk_status_by_fruid(0, 0, 0, nullptr); }, -1,
         std::string("get_disk_status val pointer is null\n") + disk_failed},
    });
}

TEST_F(PresenceTest, SettlingDiskIsAnErrorUntilItsTenthPoll)
{
    board.disks().set_lines(2, {.p = true, .f = false, .r = false, .v = true});
    for (int poll = 1; poll <= 11; ++poll) {
        SCOPED_TRACE(poll);
        uint8_t out = untouched;
        const bool settled = poll >= 10;
        EXPECT_EQ(get_disk_status_by_fruid(0, 2, 2, &out), settled ? 0 : -1);
        EXPECT_EQ(out, settled ? 1 : untouched);
        EXPECT_EQ(without_places(output()), settled ? "" : disk_failed);
    }
}

TEST_F(PresenceTest, PowerSuppliesAreNotTold)
{
    fill_registers(0xFF);
    for (const int32_t index : {0, 1}) {
        expect_calls({
            {"served",
             [=](Outs &o) { return get_powersupply_presence(index, &o.byte); },
             0,
             "",
             {},
             no_register},
            {"null", [=](Outs &) { return get_powersupply_presence(index, nullptr); }, 0,
             "get_board_present:val pointer is null\n"},
        });
    }
    for (const int32_t index : {2, -1, INT_MAX, INT_MIN}) {
        expect_calls({{"index", [=](Outs &o) { return get_powersupply_presence(index, &o.byte); },
                       -2, "PS Index Error\n"}});
    }
}

// Selectors are 10 and up; nothing there. Negative indices reach the boards
// that are.
TEST_F(PresenceTest, RaidCardAsksTheBoardsFromTen)
{
    set_reg(0xD5, 0x80);
    const auto raid = [](int32_t index, int result, const Outs &outs, const Names &steps) {
        return Call{"RAID card", [=](Outs &o) { return get_raidcard_presence(index, &o.byte); },
                    result,      result == 0 ? "" : raid_failed,
                    outs,        steps};
    };
    expect_calls({
        raid(0, -9, {}, no_register),
        raid(1, -9, {}, no_register),
        raid(INT_MAX, -9, {}, no_register),
        raid(INT_MIN, -9, {}, no_register),
        raid(-1, -9, {}, no_register),
        raid(-4, 0, {.byte = 1}, locked({"load d5"})),
        raid(-10, 0, {.byte = 1}, no_register),
        {"null", [](Outs &) { return get_raidcard_presence(0, nullptr); }, -9,
         std::string("get_board_present:val pointer is null\n") + raid_failed},
    });
}

TEST_F(PresenceTest, FixedAnswers)
{
    expect_calls({
        {"backplane",
         [](Outs &o) { return get_hdd_backplane_presence(0, &o.byte); },
         0,
         "",
         {.byte = 1}},
        {"any backplane",
         [](Outs &o) { return get_hdd_backplane_presence(INT_MIN, &o.byte); },
         0,
         "",
         {.byte = 1}},
        {"backplane, null", [](Outs &) { return get_hdd_backplane_presence(0, nullptr); }, -2},
        {"LCD", [](Outs &o) { return get_lcd_presence(&o.byte); }, 0, "", {.byte = 0}},
        {"PCIe card", [](Outs &o) { return get_pcie_presence_by_fruid(1, 2, &o.byte); }, 0},
        {"PCIe card, null", [](Outs &) { return get_pcie_presence_by_fruid(1, 2, nullptr); }, 0},
    });
}

} // namespace
} // namespace board_test
