#include "boardctl/families/families.h"

namespace boardctl {

const std::vector<Family> &families()
{
    static const std::vector<Family> all = {
        info_family(),      cpld_family(), power_family(),     reset_family(),  button_family(),
        nmi_family(),       cmos_family(), led_family(),       faults_family(), disk_family(),
        serial_family(),    slot_family(), inventory_family(), i2c_family(),    ipmb_family(),
        kcs_family(),       bt_family(),   ram_family(),       sol_family(),    blackbox_family(),
        peci_family(),      rtc_family(),  adc_family(),       temp_family(),   env_family(),
        uart_family(),      gpio_family(), fpga_family(),      flash_family(),  bios_family(),
        cpld_load_family(), lan_family(),  version_family(),   watch_family(),
    };
    return all;
}

} // namespace boardctl
