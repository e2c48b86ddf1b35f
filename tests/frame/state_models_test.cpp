// The virtual board's own state: personalities, CPUs, disks, LEDs, slot.

#include <unistd.h>

#include <algorithm>
#include <set>
#include <stdexcept>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

using virtual_board::CpuLine;
using virtual_board::DiskLines;
using virtual_board::find_personality;
using virtual_board::personalities;

class StateModelsTest : public StateTest {
protected:
    static bool odd(unsigned byte)
    {
        unsigned ones = 0;
        for (unsigned number = 0; number < 8; ++number) {
            ones += byte >> number & 1;
        }
        return ones % 2 != 0;
    }

    // A command as the driver's user gives it; the bytes that came back.
    static Bytes ask(uint8_t command, size_t count)
    {
        Bytes record(std::max<size_t>(count, 1), 0xEE);
        record[0] = command;
        const ssize_t moved = read(dev_handle, record.data(), count);
        EXPECT_GE(moved, 0);
        record.resize(static_cast<size_t>(std::max<ssize_t>(moved, 0)));
        return record;
    }
};

TEST_F(StateModelsTest, PersonalitiesByName)
{
    std::set<std::string> names;
    for (const Personality &one : personalities()) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(find_personality(one.name), &one);
        names.insert(one.name);
        Board made(one);
        EXPECT_EQ(made.cpld().get(0x02), one.bom_version);
    }
    EXPECT_EQ(names, (std::set<std::string>{"brava-0", "brava-1", "brava-2", "brava-3", "corvo-8",
                                            "corvo-9", "corvo-10", "corvo-11", "unknown-bom"}));
    EXPECT_EQ(find_personality("brava-4"), nullptr);
    EXPECT_EQ(find_personality(""), nullptr);
    // The board of most tests is the first of them.
    EXPECT_EQ(personalities().front().name, Personality{}.name);
}

TEST_F(StateModelsTest, PersonalityFitsCpusDisksAndSlot)
{
    for (const Personality &one : personalities()) {
        SCOPED_TRACE(one.name);
        Board made(one);
        for (unsigned socket = 0; socket < 2; ++socket) {
            EXPECT_EQ(made.cpus().fitted(socket), one.cpus_fitted[socket]);
        }
        for (unsigned bay = 0; bay < 4; ++bay) {
            EXPECT_EQ(made.disks().inserted(bay), one.disks_fitted[bay]);
        }
        EXPECT_EQ(made.slot().slot_byte() & 0x0F, one.slot_number);
        EXPECT_EQ(made.cpld().get(0xD5) >> 7, one.board_6_fitted ? 1 : 0);
    }
}

TEST_F(StateModelsTest, HeldLinesSurviveAStoreAndPulsesDoNot)
{
    auto &cpus = board.cpus();
    cpus.fit(0, 5);
    EXPECT_EQ(reg(0x2A), 0xD0);
    cpus.hold(0, CpuLine::thermal_trip);
    cpus.pulse(0, CpuLine::iio_error);
    EXPECT_EQ(reg(0x2A), 0xD9);
    EXPECT_EQ(set_cpld_reg(0x2A, 0xD0), 0);
    board.synchronise();
    EXPECT_EQ(reg(0x2A), 0xD1);
    cpus.remove(0);
    EXPECT_EQ(reg(0x2A), 0x00);
    cpus.fit(0, 1);
    EXPECT_EQ(reg(0x2A), 0x90) << "lines of the CPU that went";
}

TEST_F(StateModelsTest, LinesThatDoNotExistAreRefused)
{
    EXPECT_THROW(board.cpus().pulse(1, CpuLine::internal_error), std::invalid_argument);
    EXPECT_THROW(board.cpus().hold(2, CpuLine::hot_0), std::invalid_argument);
    EXPECT_THROW(board.cpus().fit(0, 8), std::invalid_argument);
    EXPECT_THROW(board.cpus().set_memory_event(1, 2, true), std::invalid_argument);
    EXPECT_THROW((void)board.cpus().hot_control(5), std::invalid_argument);
    EXPECT_THROW((void)board.leds().lit(1), std::invalid_argument);
    EXPECT_THROW((void)board.leds().sas_cable_lit(3), std::invalid_argument);
}

TEST_F(StateModelsTest, MemoryEventsReachTheirBits)
{
    for (const uint32_t group : {0U, 1U}) {
        for (unsigned item = 0; item < (group == 0 ? 8U : 2U); ++item) {
            for (const bool active : {true, false}) {
                board.cpus().set_memory_event(group, item, active);
                uint8_t seen = untouched;
                EXPECT_EQ(get_memory_event(group, item, &seen), 0);
                EXPECT_EQ(seen, active ? 1 : 0);
            }
        }
    }
}

TEST_F(StateModelsTest, TimedFlickerTogglesOnTheBoardsClockUntilStopped)
{
    board.disks().insert(1);
    const auto v = [this] { return board.disks().lines(1).v; };
    board.disks().flicker_by_time(1, 1000);
    for (unsigned period = 0; period < 6; ++period) {
        EXPECT_EQ(v(), period % 2 == 0) << period;
        usleep(1000);
    }
    board.disks().flicker_by_time(1, 0);
    const bool stays = v();
    usleep(1000);
    EXPECT_EQ(v(), stays);
    board.disks().flicker_by_time(1, 500);
    board.disks().flicker_by_time(1, 2000);
    usleep(1999);
    EXPECT_EQ(v(), stays) << "the first flicker ended when the second began";
}

TEST_F(StateModelsTest, SlotByteHasOddParityUnlessToldOtherwise)
{
    for (uint8_t number = 0; number < 16; ++number) {
        for (unsigned pins = 0; pins < 0x80; pins += 0x10) {
            board.slot().set_number(number);
            board.slot().set_other_pins(static_cast<uint8_t>(pins));
            for (const bool bad : {false, true}) {
                board.slot().set_bad_parity(bad);
                const uint8_t byte = board.slot().slot_byte();
                EXPECT_EQ(byte & 0x7F, number | pins);
                EXPECT_EQ(odd(byte & 0x9F), !bad) << int{byte};
                EXPECT_EQ(ask(0x82, 1), Bytes{byte});
                EXPECT_EQ(get_slot_id_checksum(), bad ? -1 : 0);
            }
        }
    }
}

TEST_F(StateModelsTest, FpgaTellsWhatTheSlotIs)
{
    board.slot().set_seated(true);
    EXPECT_EQ(ask(0x83, 1), Bytes{0x00});
    board.slot().set_seated(false);
    EXPECT_EQ(ask(0x83, 1), Bytes{0x60});
    board.slot().set_insertion_byte(0x9F);
    EXPECT_EQ(ask(0x83, 1), Bytes{0x9F});
    board.slot().base_board_id = 0x37;
    board.slot().blade_pcb_version = 0x03;
    EXPECT_EQ(ask(0x53, 1), Bytes{0x37});
    EXPECT_EQ(ask(0x54, 1), Bytes{0x03});
}

TEST_F(StateModelsTest, HddCardControlsAreTaken)
{
    EXPECT_EQ(board.slot().hdd_card_type(), std::nullopt);
    EXPECT_EQ(board.slot().hdd_led_test(), std::nullopt);
    EXPECT_EQ(set_hdd_card_type(0x21), 0);
    EXPECT_EQ(hdd_led_test(0x01), 0);
    EXPECT_EQ(board.slot().hdd_card_type(), 0x21);
    EXPECT_EQ(board.slot().hdd_led_test(), 0x01);
    EXPECT_EQ(board.trace.of(Operation::write, "fpga")[0].bytes, (Bytes{0x55, 0x21}));
    EXPECT_EQ(board.trace.of(Operation::write, "fpga")[1].bytes, (Bytes{0x58, 0x01}));
}

TEST_F(StateModelsTest, PostCodesFillTheirBufferAndWrap)
{
    EXPECT_EQ(ask(0x42, 16), Bytes{});
    EXPECT_EQ(ask(0x41, 1), Bytes{0});
    for (const uint8_t code : Bytes{0x10, 0x11, 0x2A}) {
        board.slot().post(code);
    }
    EXPECT_EQ(ask(0x42, 16), (Bytes{0x10, 0x11, 0x2A}));
    EXPECT_EQ(ask(0x42, 2), (Bytes{0x10, 0x11}));
    EXPECT_EQ(ask(0x41, 1), Bytes{1});
    for (unsigned code = 3; code < 514; ++code) {
        board.slot().post(static_cast<uint8_t>(code));
    }
    const Bytes all = ask(0x42, 512);
    ASSERT_EQ(all.size(), 512U);
    EXPECT_EQ(all[0], 0x00) << "code 512 took the place of the first";
    EXPECT_EQ(all[1], 0x01);
    EXPECT_EQ(all[2], 0x2A);
    EXPECT_EQ(ask(0x41, 1), Bytes{1});
}

} // namespace
} // namespace board_test
