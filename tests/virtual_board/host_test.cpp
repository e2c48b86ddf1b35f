// The host's power state as the CPLD's registers steer and show it.

#include "virtual_board/host.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board_hal_cpld.h"

namespace board_test {
namespace {

using virtual_board::Clock;
using virtual_board::Cpld;
using virtual_board::Fpga;
using virtual_board::Host;
using Names = std::vector<std::string>;

class HostModelTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        cpld.set(0x83, CPLD_POWER_BUTTON_ENABLE);
        host.on_change([this](const char *change) { changes.push_back(change); });
    }

    // A program's stores to one register.
    void store(uint32_t offset, uint8_t value)
    {
        const uint8_t before = cpld.get(offset);
        cpld.set(offset, value);
        cpld.stored(offset, before);
    }
    void set(uint32_t offset, uint8_t mask)
    {
        store(offset, static_cast<uint8_t>(cpld.get(offset) | mask));
    }
    void clear(uint32_t offset, uint8_t mask)
    {
        store(offset, static_cast<uint8_t>(cpld.get(offset) & ~mask));
    }
    void press_for(uint64_t hold_us)
    {
        set(0x83, 0x80);
        clock.advance_us(hold_us);
        clear(0x83, 0x80);
    }
    bool power_good() { return (cpld.get(CPLD_REG_POWER_STATE) & CPLD_POWER_GOOD) != 0; }
    bool chipset_runs() { return (cpld.get(0x84) & CPLD_CHIPSET_STATUS) != 0; }

    Clock clock{Clock::Mode::virtual_time};
    Cpld cpld;
    Fpga fpga{clock};
    Host host{clock, cpld, fpga};
    Names changes;
};

TEST_F(HostModelTest, APressTogglesPowerADelayAfterItsRelease)
{
    press_for(30000);
    EXPECT_FALSE(host.powered());
    EXPECT_EQ(host.last_press_us(), 30000U);
    clock.advance_us(host.power_delay_us - 1);
    EXPECT_FALSE(power_good());
    clock.advance_us(1);
    EXPECT_TRUE(power_good());
    EXPECT_TRUE(chipset_runs());
    EXPECT_TRUE(host.powered());

    press_for(30000);
    clock.advance_us(host.power_delay_us);
    EXPECT_FALSE(power_good());
    EXPECT_FALSE(chipset_runs());
    EXPECT_EQ(host.counters().power_ons, 1U);
    EXPECT_EQ(host.counters().power_offs, 1U);
    EXPECT_EQ(host.counters().forced_offs, 0U);
    EXPECT_EQ(changes, (Names{"button pressed", "button released", "power on", "button pressed",
                              "button released", "power off"}));
}

TEST_F(HostModelTest, ALockedButtonDoesNothing)
{
    cpld.set(0x83, 0);
    press_for(30000);
    clock.advance_us(host.power_delay_us);
    EXPECT_FALSE(host.powered());
    EXPECT_FALSE(host.press_front_panel(30000));
    EXPECT_EQ(changes, Names{});
}

TEST_F(HostModelTest, HoldingTheButtonCutsThePowerAtOnce)
{
    host.set_power(true);
    changes.clear();
    set(0x83, 0x80);
    clock.advance_us(host.force_off_us - 1);
    EXPECT_TRUE(host.powered());
    clock.advance_us(1);
    EXPECT_FALSE(host.powered());
    clear(0x83, 0x80);
    clock.advance_us(10 * host.power_delay_us);
    EXPECT_FALSE(host.powered()) << "the release toggles nothing";
    EXPECT_EQ(host.counters().forced_offs, 1U);
    EXPECT_EQ(changes, (Names{"button pressed", "forced power off", "power off"}));
}

TEST_F(HostModelTest, AnEarlierPressDoesNotCutALaterOneShort)
{
    host.set_power(true);
    press_for(1000);
    clock.advance_us(host.power_delay_us); // off
    press_for(1000);
    clock.advance_us(host.power_delay_us); // on
    set(0x83, 0x80);
    clock.advance_us(host.force_off_us - 1);
    EXPECT_TRUE(host.powered());
    clock.advance_us(1);
    EXPECT_FALSE(host.powered());
}

TEST_F(HostModelTest, AHostThatIsOffIsNotCutButStartsAfterTheRelease)
{
    press_for(2 * host.force_off_us);
    clock.advance_us(host.power_delay_us);
    EXPECT_TRUE(host.powered());
    EXPECT_EQ(host.counters().forced_offs, 0U);
}

TEST_F(HostModelTest, TheFrontPanelsButtonLatchesItsEvent)
{
    EXPECT_TRUE(host.press_front_panel(200000));
    EXPECT_NE(cpld.get(0x83) & CPLD_BUTTON_EVENT_0, 0);
    clock.advance_us(200000 + host.power_delay_us);
    EXPECT_TRUE(host.powered());
    EXPECT_EQ(host.last_press_us(), 200000U);
}

TEST_F(HostModelTest, PowerThatChangesLatchesItsEvent)
{
    host.set_power(false);
    EXPECT_EQ(cpld.get(0x83) & CPLD_POWER_EVENT_0, 0);
    host.set_power(true);
    EXPECT_NE(cpld.get(0x83) & CPLD_POWER_EVENT_0, 0);
    EXPECT_EQ(changes, Names{"power on"});
}

TEST_F(HostModelTest, ResetHappensWhenTheLineIsReleasedUnderPower)
{
    set(0x83, CPLD_COMPONENT_RESET_0);
    clear(0x83, CPLD_COMPONENT_RESET_0);
    EXPECT_EQ(host.counters().resets, 0U);
    host.set_power(true);
    set(0x83, CPLD_COMPONENT_RESET_0);
    EXPECT_EQ(host.counters().resets, 0U);
    clear(0x83, CPLD_COMPONENT_RESET_0);
    EXPECT_EQ(host.counters().resets, 1U);
    EXPECT_EQ(changes, (Names{"power on", "reset"}));
}

TEST_F(HostModelTest, NmiReachesAHostThatRuns)
{
    set(0x84, CPLD_NMI_REQUEST);
    EXPECT_EQ(host.counters().nmis, 0U);
    clear(0x84, CPLD_NMI_REQUEST);
    host.set_power(true);
    set(0x84, CPLD_NMI_REQUEST);
    set(0x84, CPLD_NMI_REQUEST);
    EXPECT_EQ(host.counters().nmis, 1U) << "on the rising edge";
}

TEST_F(HostModelTest, CmosIsClearedOnTheRisingEdge)
{
    set(0x84, CPLD_CLEAR_CMOS);
    set(0x84, CPLD_CLEAR_CMOS);
    clear(0x84, CPLD_CLEAR_CMOS);
    EXPECT_EQ(host.counters().cmos_clears, 1U);
    EXPECT_EQ(changes, Names{"clear cmos"});
}

TEST_F(HostModelTest, KcsAndBtHaveTheirOwnCommands)
{
    virtual_board::OpenFile file;
    const uint8_t kcs[] = {0x31, 1, 0xAA};
    const uint8_t bt[] = {0x71, 1, 0xBB};
    EXPECT_EQ(fpga.write(file, kcs, 3), 3);
    EXPECT_EQ(fpga.write(file, bt, 3), 3);
    EXPECT_EQ(host.kcs.answers(), std::vector<virtual_board::Message>{{0xAA}});
    EXPECT_EQ(host.bt.answers(), std::vector<virtual_board::Message>{{0xBB}});
}

} // namespace
} // namespace board_test
