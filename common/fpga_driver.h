// What every user of the FPGA driver shares: its locks, command codes, ioctl
// numbers and result senses.
//
// It lies here and not in fpga/ because the device-handle requests (bringup/)
// and the UART (uart/) talk to the same driver under the same locks.
#ifndef COMMON_FPGA_DRIVER_H
#define COMMON_FPGA_DRIVER_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <unistd.h>

#include "board_hal.h"
#include "support/mutex_guard.h"

namespace board_hal {

// One-shot commands: status, reset, address, slot, port 80, reserved RAM,
// version, tests.
extern pthread_mutex_t fpga_request_lock;
// The register pair and the watchdog and JTAG requests.
extern pthread_mutex_t fpga_register_lock;

// First byte of a command record.
enum FpgaCommand : uint8_t {
    fpga_cmd_ipmb_data = 0x11,
    fpga_cmd_ipmb_status = 0x12,
    fpga_cmd_ipmb_address = 0x13,
    fpga_cmd_ipmb_reset = 0x14,
    fpga_cmd_ipmb_enable = 0x15,
    fpga_cmd_ipmb_sm_data = 0x16,
    fpga_cmd_ipmb_sm_address = 0x17,
    fpga_cmd_ipmb_sm_reset = 0x18,
    fpga_cmd_i2c_transfer = 0x21,
    fpga_cmd_i2c_status = 0x22,
    fpga_cmd_i2c_reset = 0x23,
    fpga_cmd_i2c_bus_status = 0x24,
    fpga_cmd_kcs_data = 0x31,
    fpga_cmd_kcs_status_get = 0x32,
    fpga_cmd_kcs_status_set = 0x33,
    fpga_cmd_port80_offset = 0x41,
    fpga_cmd_port80_data = 0x42,
    fpga_cmd_reserved_ram = 0x51,
    fpga_cmd_base_board_id = 0x53,
    fpga_cmd_blade_pcb_version = 0x54,
    fpga_cmd_hdd_card_type = 0x55,
    fpga_cmd_hdd_led_test = 0x58,
    fpga_cmd_register = 0x61,
    fpga_cmd_bt_data = 0x71,
    fpga_cmd_bt_status_get = 0x72,
    fpga_cmd_bt_status_set = 0x73,
    fpga_cmd_com_state = 0x80,
    fpga_cmd_slot_id = 0x82,
    fpga_cmd_board_insert = 0x83,
};

// ioctl requests; each takes the address of one 32-bit word. The numbers are
// _IOR('k', n, 4) and _IOW('k', n, 4), spelt out because they are the driver's
// ABI.
constexpr unsigned long fpga_ioc_selftest = 0x80046B00;
constexpr unsigned long fpga_ioc_version = 0x80046B01;
constexpr unsigned long fpga_ioc_ddr_test_start = 0x80046B02;
constexpr unsigned long fpga_ioc_ddr_state = 0x80046B03;
constexpr unsigned long fpga_ioc_start = 0x80046B04;
constexpr unsigned long fpga_ioc_baud_divisor = 0x80046B05;
constexpr unsigned long fpga_ioc_jiffies = 0x80046B06;
constexpr unsigned long fpga_ioc_watchdog_clear = 0x40046B07;
constexpr unsigned long fpga_ioc_watchdog_stop = 0x40046B08;
constexpr unsigned long fpga_ioc_cpld_jtag_reset = 0x40046B09;

// One call to the driver. A read passes the record in and takes the answer out
// of the same buffer. The count is the one each command prescribes, often less
// than the record: the driver knows a record's length from its command code.
inline int fpga_read(void *record, size_t count)
{
    return static_cast<int>(read(dev_handle, record, count));
}

inline int fpga_write(const void *record, size_t count)
{
    return static_cast<int>(write(dev_handle, record, count));
}

// Data-moving calls: the driver reports its errors as numbers above 9999.
constexpr int driver_error_negated(int result)
{
    return result > 9999 ? -result : result;
}

// What counts as success differs from command to command; each operation
// names its own sense.
constexpr bool took_bytes(int result)
{
    return result >= 1;
}
constexpr bool answered_zero(int result)
{
    return result == 0;
}
constexpr bool not_negative(int result)
{
    return result >= 0;
}

} // namespace board_hal

#endif
