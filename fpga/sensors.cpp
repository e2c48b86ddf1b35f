// EEPROM pass-through, the inlet temperature, and the PMBus entry points of
// other boards.

#include <stddef.h>
#include <stdint.h>

#include "board_hal.h"
#include "support/not_fitted.h"

static_assert(sizeof(inlet_temp_sensor) == 8);
static_assert(offsetof(inlet_temp_sensor, addr) == 4);

namespace {

constexpr uint8_t temperature_register = 0x00;
constexpr int32_t temperature_delay_ms = 100;
constexpr uint8_t inlet_sensor_count = 1;

} // namespace

extern "C" {

inlet_temp_sensor inlet_temp_addr[inlet_sensor_count] = {
    {2, 0x90},
};

int read_eeprom_data(int32_t chan, uint8_t addr, const uint8_t *tx, int32_t tx_len, uint8_t *rx,
                     int32_t rx_len, int32_t delay_ms)
{
    return i2c_write_read(chan, addr, tx, tx_len, rx, rx_len, delay_ms);
}

int write_eeprom_data(int32_t chan, uint8_t addr, const uint8_t *buf, int32_t len, int32_t delay_ms)
{
    return i2c_write(chan, addr, buf, len, delay_ms);
}

int read_temp_inlet(uint8_t sensor, uint32_t *temp)
{
    // Sensors count from 1.
    if (temp == nullptr || sensor == 0 || sensor > inlet_sensor_count) {
        return -2;
    }
    const inlet_temp_sensor &row = inlet_temp_addr[sensor - 1];
    uint8_t answer[2] = {};
    const int result =
        i2c_write_read(static_cast<int32_t>(row.chan), static_cast<uint8_t>(row.addr),
                       &temperature_register, 1, answer, sizeof(answer), temperature_delay_ms);
    if (result <= 0) {
        return -1;
    }
    // Whole degrees; the second byte is the fraction.
    *temp = answer[0];
    return 0;
}

int get_temp_rise(uint32_t, uint8_t *rise)
{
    *rise = 0;
    return 0;
}

// Not fitted on this board.

BOARD_HAL_NOT_FITTED(-1, pmbus_read_array, uint32_t, uint32_t, uint8_t, uint8_t)
BOARD_HAL_NOT_FITTED(-1, pmbus_read_word, uint32_t, uint32_t, uint8_t)
BOARD_HAL_NOT_FITTED(0, PMBusSlave_Crc8MakeBitwise, uint16_t, uint16_t, const uint8_t *, uint16_t)
BOARD_HAL_NOT_FITTED(-1, get_pmbus_ps_power, uint32_t, uint32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(-2, get_pmbus_ps_info, uint32_t, uint32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(-2, get_pmbus_ps_healthe, uint32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_psu_acok, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_psu_dcok, uint32_t)
BOARD_HAL_NOT_FITTED(0, pmbus_fru_read_from_e2p, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_pmbus_psu_active_standby_mode, uint32_t, uint32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, set_pmbus_psu_active_standby_mode, uint32_t, uint32_t, uint8_t)
BOARD_HAL_NOT_FITTED(-1, read_ina220_12V, uint32_t *)
BOARD_HAL_NOT_FITTED(-1, read_temp_outlet, uint32_t *)
BOARD_HAL_NOT_FITTED(-1, read_sys_power, uint32_t *)
BOARD_HAL_NOT_FITTED(-1, get_gpu_temp, uint32_t, uint32_t, uint32_t, uint8_t *)

} // extern "C"
