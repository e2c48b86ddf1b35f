#include "virtual_board/bios_switch.h"

#include "board_hal_cpld.h"

namespace virtual_board {

BiosSwitch::BiosSwitch(Cpld &cpld) : cpld_(cpld)
{
    cpld_.on_store(CPLD_REG_BIOS_FLASH, [this](uint8_t before, uint8_t after) {
        if (((before ^ after) & CPLD_BIOS_OWNER) != 0 && observer_) {
            observer_(owner());
        }
    });
}

BiosSwitch::Owner BiosSwitch::owner() const
{
    return (cpld_.get(CPLD_REG_BIOS_FLASH) & CPLD_BIOS_OWNER) != 0 ? Owner::controller
                                                                   : Owner::host;
}

bool BiosSwitch::write_protected() const
{
    return (cpld_.get(CPLD_REG_BIOS_FLASH) & CPLD_BIOS_WRITE_PROTECT) != 0;
}

} // namespace virtual_board
