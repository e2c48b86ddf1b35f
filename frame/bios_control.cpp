// Who drives the host's BIOS flash, and its write protect.

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

// The two getters hold this lock and not the register lock, so that they answer
// at once while a button press sleeps under that one.
pthread_mutex_t bios_state_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr CpldBits owner_bit{CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER};
constexpr CpldBits write_protect{CPLD_REG_BIOS_FLASH, CPLD_BIOS_WRITE_PROTECT};
constexpr CpldBits switch_and_write_protect{CPLD_REG_BIOS_FLASH, CPLD_BIOS_SWITCH_AND_WP};

bool bios_refused(uint8_t bios)
{
    if (bios != 0) {
        printf("Invalid bios id = %d\r\n", bios);
        return true;
    }
    return false;
}

} // namespace

extern "C" {

int set_bios_wp(uint8_t bios, uint8_t protect)
{
    if (bios_refused(bios)) {
        return -2;
    }
    const MutexGuard guard(cpld_reg_lock);
    cpld_assign(write_protect, protect != 0);
    return 0;
}

int get_bios_wp(uint8_t bios, uint8_t *val)
{
    if (bios_refused(bios)) {
        return -2;
    }
    const MutexGuard guard(bios_state_lock);
    *val = cpld_test(write_protect) ? 1 : 0;
    return 0;
}

// The pair below is deliberately unlocked: the caller owns the BIOS flash.

void set_bios_sw_n_wp(void)
{
    cpld_set(switch_and_write_protect);
}

void clear_bios_sw_n_wp(void)
{
    cpld_clear(switch_and_write_protect);
}

int set_bios_owner(uint8_t owner)
{
    if (owner >= 2) {
        printf("Invalid bus val = %d\r\n", owner);
        return -2;
    }
    const MutexGuard guard(cpld_reg_lock);
    cpld_assign(owner_bit, owner == 1);
    return 0;
}

int get_bios_owner(uint8_t *owner)
{
    if (refused_null(owner, "get_bios_owner:val is a Invalid argument\r")) {
        return -2;
    }
    const MutexGuard guard(bios_state_lock);
    *owner = cpld_test(owner_bit) ? 1 : 0;
    return 0;
}

} // extern "C"
