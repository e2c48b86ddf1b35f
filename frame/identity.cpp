// Which board this is.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"

using namespace board_hal;

extern "C" {

uint32_t g_exbomid;

int get_product_id(uint8_t *val)
{
    if (val == nullptr) {
        puts("get_product_id val pointer is null");
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_read(CPLD_REG_PRODUCT_ID);
    return 0;
}

int get_chassis_id(uint8_t *)
{
    return 0;
}

} // extern "C"
