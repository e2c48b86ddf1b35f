// The families of commands, one source file each. How to add one is in the
// README beside this folder.
#ifndef BOARDCTL_FAMILIES_H
#define BOARDCTL_FAMILIES_H

#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

Family info_family();
Family cpld_family();
Family power_family();
Family reset_family();
Family button_family();
Family nmi_family();
Family cmos_family();
Family led_family();
Family faults_family();
Family disk_family();
Family serial_family();
Family slot_family();
Family inventory_family();
Family i2c_family();
Family ipmb_family();
Family kcs_family();
Family bt_family();
Family ram_family();
Family sol_family();
Family blackbox_family();
Family peci_family();
Family rtc_family();
Family adc_family();
Family temp_family();
Family env_family();
Family uart_family();
Family gpio_family();
Family fpga_family();
Family flash_family();
Family bios_family();
Family cpld_load_family();
Family lan_family();
Family version_family();
Family watch_family();

// All of them, in the order of the help.
const std::vector<Family> &families();

} // namespace boardctl

#endif
