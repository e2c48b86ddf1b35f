// What the commands do to the board, and what they tell of it.

#include "boardctl/framework/failure.h"
#include "tests/tools/boardctl/command_test.h"

namespace boardctl {

namespace {

using virtual_board::CpuLine;
class BoardctlFamilies : public CommandTest {};

TEST_F(BoardctlFamilies, CpldSelfTestAndHeartbeat)
{
    EXPECT_EQ(field(run("cpld self-test"), "passed"), "yes");
    EXPECT_EQ(reg(CPLD_REG_TEST), 0xAA);
    board.cpld().on_store(CPLD_REG_TEST,
                          [this](uint8_t, uint8_t) { board.cpld().set(CPLD_REG_TEST, 0x33); });
    EXPECT_THROW(run("cpld self-test"), Failed);
    run("cpld heartbeat");
    EXPECT_EQ(reg(CPLD_REG_RESET_D) & CPLD_HEARTBEAT, CPLD_HEARTBEAT);
}

// ---- Power, reset, button, NMI, CMOS -------------------------------------------

TEST_F(BoardctlFamilies, PowerOnPressesTheButtonOnce)
{
    const Result first = run("power on");
    EXPECT_EQ(field(first, "power"), "on");
    EXPECT_EQ(field(first, "changed"), "yes");
    EXPECT_TRUE(board.host().powered());
    EXPECT_NEAR(static_cast<double>(board.host().last_press_us()), 230000, 40000);
    EXPECT_EQ(field(run("power on"), "changed"), "no");
    EXPECT_EQ(board.host().counters().power_ons, 1U);
}

TEST_F(BoardctlFamilies, PowerOnGivesUpInTime)
{
    board.host().power_delay_us = 5000000;
    EXPECT_THROW(run("power on --timeout 2"), Trouble);
    EXPECT_EQ(field(run("power on --timeout 4"), "power"), "on");
}

TEST_F(BoardctlFamilies, PowerOffAsksTheHost)
{
    board.host().set_power(true);
    const Result result = run("power off");
    EXPECT_EQ(field(result, "power"), "off");
    EXPECT_EQ(field(result, "changed"), "yes");
    EXPECT_EQ(board.host().counters().power_offs, 1U);
    EXPECT_EQ(board.host().counters().forced_offs, 0U);
    EXPECT_EQ(field(run("power off"), "changed"), "no");
}

TEST_F(BoardctlFamilies, PowerOffByForceHoldsTheButton)
{
    board.host().set_power(true);
    EXPECT_EQ(field(run("power off --force"), "power"), "off");
    EXPECT_EQ(board.host().counters().forced_offs, 1U);
    EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON) & CPLD_POWER_BUTTON_PRESSED, 0);
}

TEST_F(BoardctlFamilies, PowerCycle)
{
    board.host().set_power(true);
    EXPECT_EQ(field(run("power cycle"), "power"), "on");
    EXPECT_EQ(board.host().counters().forced_offs, 1U);
    EXPECT_EQ(board.host().counters().power_ons, 2U);
}

TEST_F(BoardctlFamilies, PowerStatusTellsEachBit)
{
    set_reg(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD | CPLD_ACPI_S4);
    set_reg(CPLD_REG_CHIPSET, CPLD_CHIPSET_STATUS);
    set_reg(CPLD_REG_POWER_BUTTON, CPLD_SYSTEM_RESET_FLAG | CPLD_POWER_EVENT_2);
    set_reg(CPLD_REG_AC_LOSS, CPLD_POWER_EVENT_1 | CPLD_POWER_BEFORE_AC_LOST);
    const Result result = run("power status");
    EXPECT_EQ(field(result, "power"), "on");
    EXPECT_EQ(field(result, "acpi_state"), "0");
    EXPECT_EQ(field(result, "acpi_s4"), "yes");
    EXPECT_EQ(field(result, "chipset"), "1");
    EXPECT_EQ(field(result, "reset_flag"), "yes");
    EXPECT_EQ(field(result, "on_before_ac_loss"), "yes");
    EXPECT_EQ(field(result, "events"), "0 1 1");
}

TEST_F(BoardctlFamilies, LatchedBitsAreWritten)
{
    const struct {
        const char *line;
        uint32_t offset;
        uint8_t before;
        uint8_t after;
    } cases[] = {
        {"power clear-event", CPLD_REG_POWER_BUTTON, 0xFF, 0xDF},
        {"power ac-loss on", CPLD_REG_AC_LOSS, 0x80, 0x81},
        {"power ac-loss off", CPLD_REG_AC_LOSS, 0xFF, 0xFE},
        {"reset flag 1", CPLD_REG_POWER_BUTTON, 0x10, 0x18},
        {"reset flag 0", CPLD_REG_POWER_BUTTON, 0x7F, 0x77},
        {"reset assert 3", CPLD_REG_RESET_D, 0x00, 0x80},
        {"reset release 3", CPLD_REG_RESET_D, 0xFB, 0x7B},
        {"reset assert 14", CPLD_REG_RESET_C, 0x00, 0x01},
        {"button clear-event 0", CPLD_REG_POWER_BUTTON, 0x7F, 0x3F},
        {"button clear-event 1", CPLD_REG_BUTTON_EVENT_B, 0xFF, 0x7F},
        {"button lock", CPLD_REG_POWER_BUTTON, 0x10, 0x00},
        {"button unlock", CPLD_REG_POWER_BUTTON, 0x00, 0x10},
        {"nmi raise", CPLD_REG_CHIPSET, 0x80, 0xA0},
        {"nmi drop", CPLD_REG_CHIPSET, 0xBF, 0x9F},
        {"faults clear-machine-check", CPLD_REG_CPU0_ERROR, 0x20, 0x00},
        {"led set-sas 0 on", CPLD_REG_PANEL_LED, 0x80, 0x84},
        {"led set-sas 2 off", CPLD_REG_PANEL_LED, 0xFF, 0xFE},
        {"led set 5 off", CPLD_REG_BOARD_LED_B, 0x00, 0x80},
        {"led set 5 on", CPLD_REG_BOARD_LED_B, 0xFF, 0x7F},
        {"serial set-code 3", CPLD_REG_SERIAL_ROUTING, 0x22, 0x23},
        {"cpld write POWER_BUTTON.POWER_BUTTON_ENABLE 0", CPLD_REG_POWER_BUTTON, 0x7F, 0x6F},
        {"cpld write 0x2A.0x70 5", CPLD_REG_CPU0_STATUS, 0x8F, 0xDF},
        {"cpld write TEST 0x5A", CPLD_REG_TEST, 0xFF, 0x5A},
    };
    for (const auto &one : cases) {
        set_reg(one.offset, one.before);
        run(one.line);
        EXPECT_EQ(reg(one.offset), one.after) << one.line;
    }
}

TEST_F(BoardctlFamilies, ResetPulseReachesTheHost)
{
    board.host().set_power(true);
    clear_trace();
    run("reset pulse host --hold 70");
    EXPECT_EQ(board.host().counters().resets, 1U);
    const board_test::Names all = steps();
    EXPECT_EQ(std::count(all.begin(), all.end(), "sleep 70000"), 1);
}

TEST_F(BoardctlFamilies, ButtonPressLastsAsLongAsAsked)
{
    run("button press --hold 1000");
    EXPECT_NEAR(static_cast<double>(board.host().last_press_us()), 1030000, 40000);
}

TEST_F(BoardctlFamilies, ALockedButtonIsLockedAgain)
{
    run("button lock");
    run("button press");
    EXPECT_GT(board.host().last_press_us(), 0U);
    const Result result = run("button status");
    EXPECT_EQ(field(result, "locked"), "yes");
    EXPECT_EQ(field(result, "pressed"), "no");
}

TEST_F(BoardctlFamilies, NmiAndCmosReachTheHost)
{
    board.host().set_power(true);
    run("nmi send");
    EXPECT_EQ(board.host().counters().nmis, 1U);
    EXPECT_EQ(reg(CPLD_REG_CHIPSET) & CPLD_NMI_REQUEST, 0);
    run("cmos clear");
    EXPECT_EQ(board.host().counters().cmos_clears, 1U);
}

// ---- LEDs, faults, disks -----------------------------------------------------------

TEST_F(BoardctlFamilies, LedsTellWhetherTheyAreLit)
{
    for (const char *line : {"led set 0 off", "led set 5 off", "led set 192 off"}) {
        run(line);
    }
    const Result result = run("led list");
    EXPECT_EQ(row(result, "leds", 0), "0 | 1 | 1 | no");
    EXPECT_EQ(row(result, "leds", 2), "4 | 1 | 1 | no");
    EXPECT_EQ(row(result, "leds", 3), "5 | 0 | 1 | no");
    EXPECT_EQ(row(result, "leds", 4), "192 | 0 | 0 | no");
}

TEST_F(BoardctlFamilies, HeartbeatLedFollows)
{
    run("led set-heartbeat on");
    EXPECT_EQ(board.gpio().line(95).level, 1);
    run("led set-heartbeat off");
    EXPECT_EQ(board.gpio().line(95).level, 0);
}

TEST_F(BoardctlFamilies, FaultsOfEachCpu)
{
    board.cpus().hold(0, CpuLine::thermal_trip);
    board.cpus().hold(1, CpuLine::hot_0);
    board.cpus().hold(1, CpuLine::error);
    board.cpus().hold(0, CpuLine::iio_error);
    board.cpus().hold(0, CpuLine::machine_check);
    board.cpus().set_memory_event(0, 5, true);
    set_reg(CPLD_REG_RAID_STATUS, 0x10);
    const Result result = run("faults show");
    EXPECT_EQ(row(result, "cpus", 0), "0 | yes | yes | no | no | yes | no");
    EXPECT_EQ(row(result, "cpus", 1), "1 | yes | no | yes | yes | yes | no");
    EXPECT_EQ(field(result, "machine_check", "other"), "yes");
    EXPECT_EQ(field(result, "memory_events", "other"), "0.5");
    EXPECT_EQ(field(result, "raid_card", "other"), "yes");
}

TEST_F(BoardctlFamilies, LookingAtFaultsClearsNone)
{
    board.cpus().pulse(0, CpuLine::internal_error);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(row(run("faults show"), "cpus", 0), "0 | yes | no | no | no | no | yes");
    }
    EXPECT_TRUE(board.cpus().seen(0, CpuLine::internal_error));
}

TEST_F(BoardctlFamilies, ThermalTripAndHotControl)
{
    board.cpus().pulse(1, CpuLine::thermal_trip);
    run("faults clear-thermal-trip 1");
    EXPECT_FALSE(board.cpus().seen(1, CpuLine::thermal_trip));
    run("faults hot-control 3 on");
    EXPECT_TRUE(board.cpus().hot_control(3));
    run("faults hot-control 3 off");
    EXPECT_FALSE(board.cpus().hot_control(3));
}

TEST_F(BoardctlFamilies, DisksAreBelievedAfterTenPolls)
{
    board.disks().set_lines(0, {.p = true, .r = true, .v = true});
    board.disks().fail(1);
    board.disks().insert(2);
    const Result result = run("disk list --polls 11");
    EXPECT_EQ(row(result, "disks", 0), "0 | yes | no | yes | n.a. | n.a. | yes");
    EXPECT_EQ(row(result, "disks", 1).substr(0, 14), "1 | yes | yes ");
    EXPECT_EQ(row(result, "disks", 2).substr(0, 8), "2 | yes ");
    EXPECT_EQ(row(result, "disks", 3).substr(0, 7), "3 | no ");
}

// ---- Ids, cards, network -------------------------------------------------------------

TEST_F(BoardctlFamilies, SlotTellsBadParityAndPostCodes)
{
    board.slot().set_number(6);
    board.slot().set_bad_parity(true);
    board.slot().set_seated(false);
    for (const int code : {0x01, 0x30, 0xA5}) {
        board.slot().post(static_cast<uint8_t>(code));
    }
    const Result result = run("slot show");
    EXPECT_EQ(field(result, "slot"), "6");
    EXPECT_EQ(field(result, "parity_good"), "no");
    EXPECT_EQ(field(result, "seated"), "no");
    EXPECT_EQ(field(run("slot post-codes --count 3"), "codes"), "01 30 A5");
}

TEST_F(BoardctlFamilies, RefusalsOfTheFpgaAreShown)
{
    board.faults.add({.name = "fpga", .device = "fpga", .value = EIO});
    EXPECT_EQ(field(run("slot show"), "slot"), "error -5");
}

TEST_F(BoardctlFamilies, LanFollowsTheLink)
{
    EXPECT_EQ(field(run("lan"), "link"), "down");
    board.network().set_link(1);
    EXPECT_EQ(field(run("lan"), "link"), "up");
    board.network().answers_link_query(false);
    try {
        run("lan");
        ADD_FAILURE();
    } catch (const Failed &failed) {
        EXPECT_EQ(failed.code, -1);
        EXPECT_STREQ(failed.what(), "the network driver does not tell the link");
    }
}

TEST_F(BoardctlFamilies, AbsentCpusHaveNoGeneration)
{
    board.cpus().remove(1);
    const Result result = run("inventory cpus");
    EXPECT_EQ(row(result, "cpus", 0), "0 | yes | 3");
    EXPECT_EQ(row(result, "cpus", 1), "1 | no | n.a.");
    EXPECT_EQ(field(run("info"), "cpus"), "1");
}

// ---- Live views -----------------------------------------------------------------------

TEST_F(BoardctlFamilies, CpldWatchTellsChanges)
{
    board.clock.schedule_us(500000, [this] {
        board.cpld().set_bits(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
        board.cpld().set(0x07, 0x12);
    });
    run("cpld watch --count 5 --interval 200");
    EXPECT_EQ(output(), "0x07  0x07  0x00 -> 0x12\n"
                        "0x85  POWER_STATE  0x00 -> 0x10  POWER_GOOD 0 -> 1\n");
}

TEST_F(BoardctlFamilies, CpldWatchOfOneBitTellsNoOthers)
{
    board.clock.schedule_us(500000, [this] { board.cpld().set(CPLD_REG_POWER_STATE, 0x40); });
    board.clock.schedule_us(700000, [this] { board.cpld().set(CPLD_REG_POWER_STATE, 0x50); });
    run("cpld watch POWER_GOOD --count 5 --interval 200");
    EXPECT_EQ(output(), "0x85  POWER_STATE  0x40 -> 0x50  POWER_GOOD 0 -> 1\n");
}

TEST_F(BoardctlFamilies, WatchShowsTheBoardAgainWhenItChanged)
{
    // Between two views: reading the temperature takes 100 ms of each 300.
    board.clock.schedule_us(4100000, [this] {
        board.host().set_power(true);
        board.inlet_sensor().set_celsius(61);
        board.cpus().hold(1, CpuLine::thermal_trip);
        set_upgrade_status(42, 1);
    });
    run("watch --count 30 --interval 200");
    const std::string text = output();
    const size_t change = text.find("  host            on\n");
    ASSERT_NE(change, std::string::npos);
    EXPECT_EQ(text.find("inlet temperature  25 C", change), std::string::npos);
    for (const char *part : {"inlet temperature  61 C", "1  yes      thermal trip",
                             "upgrade progress   42", "upgrade state      1"}) {
        EXPECT_NE(text.find(part, change), std::string::npos) << part;
        EXPECT_EQ(text.find(part), text.find(part, change)) << part;
    }
    // At the start, when the disks are believed, when it changed.
    size_t views = 0;
    for (size_t at = 0; (at = text.find("Power\n", at)) != std::string::npos; ++at) {
        ++views;
    }
    EXPECT_EQ(views, 3U);
}

} // namespace

} // namespace boardctl
