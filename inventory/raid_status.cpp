// Error lines of the RAID card.

#include "board_hal.h"
#include "common/cpld_window.h"

using namespace board_hal;

extern "C" {

int read_raid_err_status(void)
{
    // Unlocked: one load of a register that nothing here writes.
    const uint8_t lines = cpld_read(CPLD_REG_RAID_STATUS) & CPLD_RAID_NO_ERROR;
    return lines == CPLD_RAID_NO_ERROR ? 0 : 1;
}

} // extern "C"
