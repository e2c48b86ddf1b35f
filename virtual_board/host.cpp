#include "virtual_board/host.h"

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

constexpr HostInterface::Commands kcs_commands{0x31, 0x32, 0x33};
constexpr HostInterface::Commands bt_commands{0x71, 0x72, 0x73};

bool rises(uint8_t before, uint8_t after, uint8_t mask)
{
    return (before & mask) == 0 && (after & mask) != 0;
}

bool falls(uint8_t before, uint8_t after, uint8_t mask)
{
    return rises(after, before, mask);
}

} // namespace

Host::Host(Clock &clock, Cpld &cpld, Fpga &fpga)
    : kcs(fpga, kcs_commands), bt(fpga, bt_commands), clock_(clock), cpld_(cpld)
{
    cpld.on_store(CPLD_REG_POWER_BUTTON,
                  [this](uint8_t before, uint8_t after) { watch_button(before, after); });
    cpld.on_store(CPLD_REG_CHIPSET,
                  [this](uint8_t before, uint8_t after) { watch_chipset(before, after); });
}

bool Host::powered() const
{
    return (cpld_.get(CPLD_REG_POWER_STATE) & CPLD_POWER_GOOD) != 0;
}

void Host::set_power(bool on)
{
    if (on == powered()) {
        return;
    }
    if (on) {
        cpld_.set_bits(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
        cpld_.set_bits(CPLD_REG_CHIPSET, CPLD_CHIPSET_STATUS);
        ++counters_.power_ons;
    } else {
        cpld_.clear_bits(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
        cpld_.clear_bits(CPLD_REG_CHIPSET, CPLD_CHIPSET_STATUS);
        ++counters_.power_offs;
    }
    cpld_.set_bits(CPLD_REG_POWER_BUTTON, CPLD_POWER_EVENT_0);
    tell(on ? "power on" : "power off");
}

bool Host::press_front_panel(uint64_t hold_us)
{
    if ((cpld_.get(CPLD_REG_POWER_BUTTON) & CPLD_POWER_BUTTON_ENABLE) == 0) {
        return false;
    }
    cpld_.set_bits(CPLD_REG_POWER_BUTTON, CPLD_BUTTON_EVENT_0);
    press();
    clock_.schedule_us(hold_us, [this] { release(); });
    return true;
}

void Host::watch_button(uint8_t before, uint8_t after)
{
    if (rises(before, after, CPLD_POWER_BUTTON_PRESSED) &&
        (after & CPLD_POWER_BUTTON_ENABLE) != 0) {
        press();
    }
    if (falls(before, after, CPLD_POWER_BUTTON_PRESSED)) {
        release();
    }
    // The host leaves reset when its line is released.
    if (falls(before, after, CPLD_COMPONENT_RESET_0)) {
        reset();
    }
}

bool Host::reset()
{
    if (!powered()) {
        return false;
    }
    ++counters_.resets;
    tell("reset");
    return true;
}

void Host::watch_chipset(uint8_t before, uint8_t after)
{
    if (rises(before, after, CPLD_NMI_REQUEST) && powered()) {
        ++counters_.nmis;
        tell("nmi");
    }
    if (rises(before, after, CPLD_CLEAR_CMOS)) {
        ++counters_.cmos_clears;
        tell("clear cmos");
    }
}

void Host::press()
{
    pressed_ = true;
    pressed_at_us_ = clock_.now_us();
    const unsigned number = ++press_number_;
    tell("button pressed");
    clock_.schedule_us(force_off_us, [this, number] {
        if (pressed_ && press_number_ == number && powered()) {
            ++counters_.forced_offs;
            pressed_ = false;
            tell("forced power off");
            set_power(false);
        }
    });
}

void Host::release()
{
    if (!pressed_) {
        return;
    }
    pressed_ = false;
    last_press_us_ = clock_.now_us() - pressed_at_us_;
    tell("button released");
    clock_.schedule_us(power_delay_us, [this] { set_power(!powered()); });
}

void Host::tell(const char *change)
{
    if (observer_) {
        observer_(change);
    }
}

} // namespace virtual_board
