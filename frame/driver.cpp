// Library start-up and teardown.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"

namespace {

// Deliberately never set: every start-up runs the whole sequence, and callers
// rely on a second one being refused by the devices that are still open.
int driver_inited;

} // namespace

extern "C" {

int32_t dev_handle_adc;
int32_t serial_handle[1];
uint8_t g_caterr_flag;
uint8_t g_ucserial_direction;
uint32_t g_slot_of_pcie_riser = 2;
uint32_t g_pcie_riser_fru_id = 5;
const char c_str_Pass[23] = "[  \033[0;32mPass\033[0m   ]";
const char c_str_Fail[23] = "[  \033[0;31mFail\033[0m   ]";

int ipmc_driver_init(void)
{
    if (driver_inited == 1) {
        printf("%s: have inited\r\n", "ipmc_driver_init");
        return 0;
    }
    if (cpld_init() != 0) {
        puts("ipmc_driver_init:cpld_init fail\r");
        // Also when the device was already open: this closes it.
        cpld_clean();
        return -1;
    }
    if (gpio_init() != 0) {
        puts("ipmc_driver_init:gpio_init fail\r");
        gpio_clean();
        cpld_clean();
        return -4;
    }
    if (fpga_Init() != 0) {
        puts("ipmc_driver_init:fpga_init fail\r");
        fpga_clean();
        cpld_clean();
        gpio_clean();
        return -5;
    }
    return 0;
}

int ipmc_driver_clean(void)
{
    cpld_clean();
    gpio_clean();
    const int result = fpga_clean();
    driver_inited = 0;
    return result;
}

void __delay(uint32_t count)
{
    for (uint32_t counter = 0; counter < count; ++counter) {
        __asm__ volatile("nop");
    }
}

} // extern "C"
