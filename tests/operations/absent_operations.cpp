// Operations of hardware that the board does not have.

#include "tests/operations/operation.h"

namespace board_test {

#define ABSENT(good, function)                                                                     \
    LibraryOperation                                                                               \
    {                                                                                              \
#function, Reach::nothing,                                                                 \
        {                                                                                          \
            {                                                                                      \
                "", with_plain_arguments(function), good                                           \
            }                                                                                      \
        }                                                                                          \
    }

Operations absent_operations()
{
    return {
        ABSENT(0, get_chassis_pcb_ver),
        ABSENT(0, get_pcie_slot_present),
        ABSENT(0, get_hdd_cpld_version),
        ABSENT(0, get_hp_riser_cpld_version),
        ABSENT(-1, get_card_type),
        ABSENT(-1, get_card_port),
        ABSENT(0, clear_ioh_thermaltrip),
        ABSENT(0, get_mch_status),
        ABSENT(0, get_fan_speed),
        ABSENT(0, set_fan_speed),
        ABSENT(0, get_fan_current_speed),
        ABSENT(0, get_desire_fan_speed),
        ABSENT(0, get_fan_status),
        ABSENT(-2, get_fan_power_statistic),
        ABSENT(0, set_caterr_flag),
        ABSENT(0, get_caterr_flag),
        ABSENT(0, set_led_dft_mode),
        ABSENT(0, gpio_port_config),
        ABSENT(0, dump_gpio_regester),
        ABSENT(0, get_pcmcia_input_port),
        ABSENT(0, get_neighbors_exist),
        ABSENT(0, reset_kvm_module),
        ABSENT(0, get_base_type),
        ABSENT(0, get_pm_present),
        ABSENT(0, set_fpga_reg_psu_addr),
        ABSENT(0, set_i2c_baud),
        ABSENT(0, get_i2c_baud),
        ABSENT(0, i2c_test),
        ABSENT(0, get_i2c_addr_config),
        ABSENT(0, set_i2c_addr_config),
        ABSENT(0, ipmb_l_read),
        ABSENT(0, ipmb_l_write),
        ABSENT(0, set_ipmb_baud),
        ABSENT(0, set_ipmb_l_baud),
        ABSENT(0, set_ipmb_sm_baud),
        ABSENT(0, get_ipmb_baud),
        ABSENT(0, get_ipmb_l_baud),
        ABSENT(0, get_ipmb_sm_baud),
        ABSENT(0, get_ipmb_l_enable),
        ABSENT(0, get_ipmb_sm_enable),
        ABSENT(0, set_ipmb_sm_enable),
        ABSENT(0, ipmb_test),
        ABSENT(0, get_nic_card_board_id),
        ABSENT(0, get_nic_card_pcb_ver),
        ABSENT(-1, pmbus_read_array),
        ABSENT(-1, pmbus_read_word),
        ABSENT(0, PMBusSlave_Crc8MakeBitwise),
        ABSENT(-1, get_pmbus_ps_power),
        ABSENT(-2, get_pmbus_ps_info),
        ABSENT(-2, get_pmbus_ps_healthe),
        ABSENT(0, get_psu_acok),
        ABSENT(0, get_psu_dcok),
        ABSENT(0, pmbus_fru_read_from_e2p),
        ABSENT(0, get_pmbus_psu_active_standby_mode),
        ABSENT(0, set_pmbus_psu_active_standby_mode),
        ABSENT(-1, read_ina220_12V),
        ABSENT(-1, read_temp_outlet),
        ABSENT(-1, read_sys_power),
        ABSENT(-1, get_gpu_temp),
        ABSENT(0, get_memory_health_status),
        ABSENT(0, get_mezz_presence),
        ABSENT(0, get_pcie_presence),
        ABSENT(0, restore_prochot_status),
        ABSENT(0, clear_nonsensor_dev_healthstatus),
        ABSENT(-1, get_pcie_riser_sub_dev_maximum),
        ABSENT(0, set_dev_all_healthstatus),
        ABSENT(-1, update_memory_availability),
        ABSENT(0, get_dimm_pre),
        ABSENT(0, get_device_all_availability),
        ABSENT(-1, set_device_availability),
        ABSENT(0, set_dimm_mode),
        ABSENT(0, get_disk_connect_support_type),
        ABSENT(-1, set_panel_led_status),
        ABSENT(-1, get_ex_board_cable_connect),
        ABSENT(0, get_led_dft_mode),
        ABSENT(0, clear_ps_aclost_status),
        ABSENT(0, get_32K_clock_state),
        ABSENT(-1, get_component_mix_status),
        ABSENT(0, rmc_rst_bmc_status),
        ABSENT(0, set_dimm_size),
        ABSENT(0, get_dimm_size),
        ABSENT(0, get_expander_power_on),
        ABSENT(0, get_expander_voltage_status),
        ABSENT(0, renew_panel_led_status),
        ABSENT(0, get_dev_slot),
        ABSENT(-1, set_dev_health_status),
        ABSENT(-1, get_dev_all_healthstatus),
        ABSENT(0, set_dev_event_type),
        ABSENT(0, restore_device_state),
        ABSENT(-1, set_tube_led_status),
        ABSENT(-1, get_max_active_mc_num),
        ABSENT(-2, check_id),
        ABSENT(-2, get_dimm_slot_by_location),
        ABSENT(-2, get_physical_node_num),
        ABSENT(-10, set_bios_print_flag),
        ABSENT(-10, get_bios_print_flag),
        ABSENT(0, set_uart_status),
        ABSENT(0, get_uart_status),
        ABSENT(-1, get_lcd_upgrade_state),
        ABSENT(0, check_spi_bios_guid),
    };
}

} // namespace board_test
