// Ids of the RAID card, read from the I/O expander on it.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"
#include "common/fpga_driver.h"
#include "support/not_fitted.h"

using namespace board_hal;

namespace {

constexpr int32_t expander_channel = 2;
constexpr uint8_t expander_address = 0x40;
constexpr int32_t expander_delay_ms = 10;

// Registers of the PCA9555.
constexpr uint8_t input_port_0 = 0x00;
constexpr uint8_t configuration_ports = 0x06; // two bytes, 1 = input

// All lines inputs, but for bit 2 of port 1.
constexpr uint8_t port_0_inputs = 0xFF;
constexpr uint8_t port_1_inputs = 0xFB;

// Fields of input port 0, at the same place in the CPLD's mirror register.
constexpr CpldBits mirrored_id{CPLD_REG_RAID_CARD, CPLD_SUBBOARD_ID};
constexpr CpldBits mirrored_pcb_version{CPLD_REG_RAID_CARD, CPLD_SUBBOARD_PCB_VERSION};

// 0 = not read yet, so a card whose number is 0 is read every time. Unguarded,
// like the mirror: two first readers find the same bytes.
uint8_t cached_id;
uint8_t cached_pcb_version;

bool configure_expander()
{
    const uint8_t configuration[] = {configuration_ports, port_0_inputs, port_1_inputs};
    const int written = i2c_write(expander_channel, expander_address, configuration,
                                  sizeof(configuration), expander_delay_ms);
    if (!took_bytes(written)) {
        puts("get_raid_pcb_ver:write 9555 configuration port error\r");
        return false;
    }
    return true;
}

bool read_expander(uint8_t reg, uint8_t *bytes, int32_t len)
{
    const int got =
        i2c_write_read(expander_channel, expander_address, &reg, 1, bytes, len, expander_delay_ms);
    if (!took_bytes(got)) {
        puts("get_raid_pcb_ver:read 9555 configuration port error\r");
        return false;
    }
    return true;
}

bool expander_is_configured()
{
    uint8_t ports[2] = {};
    if (!read_expander(configuration_ports, ports, sizeof(ports))) {
        return false;
    }
    if (ports[0] != port_0_inputs || ports[1] != port_1_inputs) {
        printf("get_raid_pcb_ver:configurate port error,0x%02x,0x%02x\r\n", ports[0], ports[1]);
        return false;
    }
    return true;
}

// The messages of both getters name get_raid_pcb_ver; callers match on them.
bool read_card(uint8_t *lines)
{
    return configure_expander() && expander_is_configured() &&
           read_expander(input_port_0, lines, 1);
}

constexpr uint8_t field_of(uint8_t lines, CpldBits field)
{
    return static_cast<uint8_t>((lines & field.mask) >> lowest_bit(field.mask));
}

// Reads one field from the card, mirrors it and remembers it. The mirror is
// written without the register lock: nothing but the two getters below writes
// that register.
int read_field(CpldBits field, uint8_t *val, uint8_t *cache)
{
    *val = 0;
    uint8_t lines = 0;
    if (!read_card(&lines)) {
        return -5;
    }
    *val = field_of(lines, field);
    cpld_field_put(field, *val);
    *cache = *val;
    return 0;
}

} // namespace

extern "C" {

int get_raid_board_id(uint8_t *id)
{
    if (id == nullptr) {
        return -2;
    }
    if (cached_id != 0) {
        *id = cached_id;
        // Puts the mirror right again, should anything have changed it; unlocked.
        cpld_field_put(mirrored_id, cached_id);
        return 0;
    }
    return read_field(mirrored_id, id, &cached_id);
}

int get_raid_pcb_ver(uint8_t *ver)
{
    if (ver == nullptr) {
        return -2;
    }
    if (cached_pcb_version != 0) {
        // Unlike the id, deliberately without a write to the mirror.
        *ver = cached_pcb_version;
        return 0;
    }
    return read_field(mirrored_pcb_version, ver, &cached_pcb_version);
}

BOARD_HAL_NOT_FITTED(0, get_nic_card_board_id, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_nic_card_pcb_ver, uint8_t *)

} // extern "C"
