// FPGA registers, hardware watchdog, jiffies and the CPLD's JTAG reset.

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>

#include "board_hal.h"
#include "common/fpga_driver.h"
#include "support/byte_order.h"

namespace board_hal {

pthread_mutex_t fpga_register_lock = PTHREAD_MUTEX_INITIALIZER;

} // namespace board_hal

using namespace board_hal;

namespace {

constexpr int32_t max_register = 0xFFFF;

enum NamedRegister : int32_t {
    reg_me_addr = 316,
    reg_ina220_addr = 318,
    reg_read_power_enable = 448,
    reg_psu_presence = 449,
    reg_board_id = 450,
    reg_psu_active_standby = 468,
    reg_resistance_param = 499,
};

// Command code, 16-bit register address and 32-bit value, both little-endian;
// a read's answer lands on the first four bytes.
struct RegisterRecord {
    uint8_t bytes[7];

    RegisterRecord(int32_t addr, uint32_t value)
        : bytes{fpga_cmd_register, byte_of(static_cast<uint32_t>(addr), 0),
                byte_of(static_cast<uint32_t>(addr), 1)}
    {
        store_le32(bytes + 3, value);
    }
};
static_assert(sizeof(RegisterRecord) == 7);

// Signed: a negative address passes, and its low 16 bits reach the device.
bool register_refused(int32_t addr, const uint32_t *value)
{
    return addr > max_register || value == nullptr;
}

int set_named_register(NamedRegister reg, uint32_t value)
{
    return set_fpga_regester(reg, &value) == 0 ? 0 : -5;
}

// Requests that carry a zero word.
int send_zero_word(unsigned long request)
{
    const MutexGuard guard(fpga_register_lock);
    uint32_t word = 0;
    return ioctl(dev_handle, request, &word);
}

} // namespace

extern "C" {

int set_fpga_regester(int32_t addr, const uint32_t *value)
{
    if (register_refused(addr, value)) {
        return -2;
    }
    const MutexGuard guard(fpga_register_lock);
    const RegisterRecord record(addr, *value);
    // Any answer but 0 is success, -1 included; callers rely on this sense.
    return answered_zero(fpga_write(record.bytes, 1)) ? -5 : 0;
}

int get_fpga_regester(int32_t addr, uint32_t *value)
{
    if (register_refused(addr, value)) {
        return -2;
    }
    RegisterRecord record(addr, 0);
    const MutexGuard guard(fpga_register_lock);
    const int result = fpga_read(record.bytes, 1);
    // Stored also after a failed read: callers must look at the result.
    *value = load_le32(record.bytes);
    return took_bytes(result) ? 0 : -5;
}

int set_fpga_reg_board_id(uint32_t value)
{
    return set_named_register(reg_board_id, value);
}

int set_fpga_reg_psu_presenece(uint32_t value)
{
    return set_named_register(reg_psu_presence, value);
}

int set_fpga_reg_read_power_enable(uint32_t value)
{
    return set_named_register(reg_read_power_enable, value);
}

int set_fpga_reg_psu_active_standby(uint32_t value)
{
    // Deliberately best effort: callers rely on 0.
    set_named_register(reg_psu_active_standby, value);
    return 0;
}

int set_fpga_reg_me_addr(uint32_t value)
{
    return set_named_register(reg_me_addr, value);
}

int set_fpga_reg_ina220_addr(uint32_t value)
{
    return set_named_register(reg_ina220_addr, value);
}

int set_fpga_reg_resistance_param(uint32_t value)
{
    return set_named_register(reg_resistance_param, value);
}

// Not fitted on this board.
int set_fpga_reg_psu_addr(uint32_t)
{
    return 0;
}

int get_jiffies(uint32_t *out)
{
    if (out == nullptr) {
        puts("get_jiffies:invalid argument\r");
        return -2;
    }
    // No lock: the counter is one word that the driver keeps by itself.
    uint32_t counter = 0;
    const int result = ioctl(dev_handle, fpga_ioc_jiffies, &counter);
    if (answered_zero(result)) {
        *out = counter;
    }
    return result;
}

int clear_hardware_watchdog(void)
{
    return send_zero_word(fpga_ioc_watchdog_clear);
}

int stop_hardware_watchdog(void)
{
    return send_zero_word(fpga_ioc_watchdog_stop);
}

int reset_cpld_jtag(void)
{
    return send_zero_word(fpga_ioc_cpld_jtag_reset);
}

int get_sas_card_status(uint8_t *status)
{
    if (status == nullptr) {
        return -2;
    }
    *status = read_raid_err_status() != 0 ? 1 : 0;
    return 0;
}

} // extern "C"
