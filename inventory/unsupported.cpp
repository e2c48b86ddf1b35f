// Inventory operations of hardware that this board does not have: answer, name,
// arguments.

#include <stdint.h>

#include "board_hal.h"
#include "support/not_fitted.h"

extern "C" {

BOARD_HAL_NOT_FITTED(0, get_memory_health_status, uint32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(0, get_mezz_presence, int32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_pcie_presence, int32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, restore_prochot_status, void)
BOARD_HAL_NOT_FITTED(0, clear_nonsensor_dev_healthstatus, void)
BOARD_HAL_NOT_FITTED(-1, get_pcie_riser_sub_dev_maximum, uint8_t, int32_t *)
BOARD_HAL_NOT_FITTED(0, set_dev_all_healthstatus, uint32_t)
BOARD_HAL_NOT_FITTED(-1, update_memory_availability, uint32_t, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_dimm_pre, int32_t, int32_t, int32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_device_all_availability, uint8_t, uint32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(-1, set_device_availability, uint32_t)
BOARD_HAL_NOT_FITTED(0, set_dimm_mode, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_disk_connect_support_type, void)
BOARD_HAL_NOT_FITTED(-1, set_panel_led_status, uint32_t, uint8_t)
BOARD_HAL_NOT_FITTED(-1, get_ex_board_cable_connect, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_led_dft_mode, void)
BOARD_HAL_NOT_FITTED(0, clear_ps_aclost_status, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_32K_clock_state, uint8_t *)
BOARD_HAL_NOT_FITTED(-1, get_component_mix_status, uint8_t *)
BOARD_HAL_NOT_FITTED(0, rmc_rst_bmc_status, void)
BOARD_HAL_NOT_FITTED(0, set_dimm_size, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_dimm_size, uint32_t *)
BOARD_HAL_NOT_FITTED(0, get_expander_power_on, void)
BOARD_HAL_NOT_FITTED(0, get_expander_voltage_status, uint8_t *)
BOARD_HAL_NOT_FITTED(0, renew_panel_led_status, uint8_t)
BOARD_HAL_NOT_FITTED(0, get_dev_slot, uint8_t, uint32_t, uint32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(-1, set_dev_health_status, uint8_t, uint32_t, uint32_t)
BOARD_HAL_NOT_FITTED(-1, get_dev_all_healthstatus, uint8_t, uint32_t, uint32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(0, set_dev_event_type, void)

void restore_device_state(uint32_t) {}

BOARD_HAL_NOT_FITTED(-1, set_tube_led_status, uint32_t, uint8_t)
BOARD_HAL_NOT_FITTED(-1, get_max_active_mc_num, uint32_t *)
BOARD_HAL_NOT_FITTED(-2, check_id, uint32_t, uint32_t, uint32_t)
BOARD_HAL_NOT_FITTED(-2, get_dimm_slot_by_location, void)
BOARD_HAL_NOT_FITTED(-2, get_physical_node_num, uint32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(-10, set_bios_print_flag, uint8_t)
BOARD_HAL_NOT_FITTED(-10, get_bios_print_flag, void)

} // extern "C"
