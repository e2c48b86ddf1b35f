#include "board_chassis.h"

#include <board_hal.h>
#include <unistd.h>

#include "log.h"

namespace chassis_controller {

namespace {

constexpr unsigned press_ms = 200;
constexpr unsigned reset_ms = 100;
constexpr unsigned power_poll_ms = 20;
constexpr unsigned power_patience_ms = 5000;

constexpr int32_t host_reset_line = 0;

void pause_ms(unsigned duration)
{
    usleep(duration * 1000);
}

// The FPGA driver answers a transfer with its count, with or without the
// command byte; any other result is an error.
bool moved_one_byte(int result)
{
    return result == 1 || result == 2;
}

} // namespace

bool BoardChassis::identify(Identity &identity)
{
    return get_product_id(&identity.product) == 0 && get_cpld_reg(1, &identity.pcb_version) == 0 &&
           get_cpld_version(&identity.cpld_version) == 0 &&
           get_fpga_version(&identity.fpga_version) == 0;
}

bool BoardChassis::read_power(bool &on)
{
    uint8_t power = 0;
    if (get_power_status(0, &power) != 0) {
        return false;
    }
    on = power == 1;
    return true;
}

bool BoardChassis::read_button_lock(bool &locked)
{
    uint8_t lock = 0;
    if (get_power_button_lock_state(&lock) != 0) {
        return false;
    }
    locked = lock == 1;
    return true;
}

bool BoardChassis::press_power_button()
{
    bool locked = false;
    read_button_lock(locked);
    say("presses the power button for %u ms%s", press_ms,
        locked ? "; it is locked, so the library frees it for that time" : "");
    if (set_pwr_button(1) != 0) {
        return false;
    }
    pause_ms(press_ms);
    return set_pwr_button(0) == 0;
}

bool BoardChassis::wait_for_power(bool on)
{
    say("waits for the power to go %s", on ? "on" : "off");
    for (unsigned waited = 0; waited < power_patience_ms; waited += power_poll_ms) {
        bool now = !on;
        if (read_power(now) && now == on) {
            return true;
        }
        pause_ms(power_poll_ms);
    }
    return false;
}

bool BoardChassis::reset()
{
    say("holds the host's reset line for %u ms", reset_ms);
    if (set_component_reset(host_reset_line, 1) != 0) {
        return false;
    }
    pause_ms(reset_ms);
    return set_component_reset(host_reset_line, 0) == 0;
}

bool BoardChassis::interrupt()
{
    say("raises the host's NMI line and drops it again");
    const bool raised = set_NMI_interrupt(1) == 0;
    const bool dropped = set_NMI_interrupt(0) == 0;
    return raised && dropped;
}

bool BoardChassis::read_ram(uint16_t offset, uint8_t &value)
{
    return moved_one_byte(reserved_ram_read(offset, &value, 1));
}

bool BoardChassis::write_ram(uint16_t offset, uint8_t value)
{
    return moved_one_byte(reserved_ram_write(offset, &value, 1));
}

} // namespace chassis_controller
