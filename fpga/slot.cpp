// Slot number, board insertion, base board, port 80 and the HDD card controls.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/fpga_driver.h"
#include "support/byte_count.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

constexpr uint8_t slot_id_mask = 0x0F;
// Slot id, bit 4 and the parity bit itself; together they are odd.
constexpr uint8_t slot_parity_mask = 0x9F;
// Presence signals, low when the board is seated.
constexpr uint8_t not_seated_mask = 0x60;

constexpr int32_t port80_max = 512;

int read_slot_byte(uint8_t *byte)
{
    *byte = fpga_cmd_slot_id;
    const MutexGuard guard(fpga_request_lock);
    return fpga_read(byte, 1);
}

int read_byte(FpgaCommand command, uint8_t *val)
{
    if (val == nullptr) {
        return -2;
    }
    uint8_t record = command;
    const MutexGuard guard(fpga_request_lock);
    if (!took_bytes(fpga_read(&record, 1))) {
        return -5;
    }
    *val = record;
    return 0;
}

int write_byte(FpgaCommand command, uint8_t val)
{
    const uint8_t record[] = {command, val};
    const MutexGuard guard(fpga_request_lock);
    return answered_zero(fpga_write(record, 1)) ? 0 : -5;
}

// Whether the number of ones among bits 0 to 7 is odd. By hand: the compiler's
// own bit count would pull in its runtime library.
constexpr bool odd_parity(unsigned bits)
{
    bits ^= bits >> 4;
    bits ^= bits >> 2;
    bits ^= bits >> 1;
    return (bits & 1) != 0;
}
static_assert(odd_parity(0x83) && !odd_parity(0x03));

} // namespace

extern "C" {

int get_slot_id(uint8_t *slot)
{
    if (refused_null(slot, "get slot id argument invalid")) {
        return -2;
    }
    uint8_t byte = 0;
    if (!not_negative(read_slot_byte(&byte))) {
        return -5;
    }
    *slot = byte & slot_id_mask;
    return 0;
}

int get_slot_id_checksum(void)
{
    uint8_t byte = 0;
    if (!not_negative(read_slot_byte(&byte))) {
        return -5;
    }
    return odd_parity(byte & slot_parity_mask) ? 0 : -1;
}

int get_board_insert(uint8_t *inserted)
{
    if (refused_null(inserted, "get boad insert argument invalid")) {
        return -2;
    }
    const MutexGuard guard(fpga_request_lock);
    *inserted = fpga_cmd_board_insert;
    const int result = fpga_read(inserted, 1);
    // Also after a failed read: the caller's byte is 0 or 1 in any case.
    *inserted = (*inserted & not_seated_mask) == 0 ? 1 : 0;
    return not_negative(result) ? 0 : -5;
}

int get_base_board_id(uint8_t *id)
{
    return read_byte(fpga_cmd_base_board_id, id);
}

int get_blade_pcb_ver(uint8_t *ver)
{
    return read_byte(fpga_cmd_blade_pcb_version, ver);
}

int get_port80_offset(uint8_t *offset)
{
    return read_byte(fpga_cmd_port80_offset, offset);
}

int get_port80_data(int32_t len, uint8_t *buf)
{
    if (refused_null(buf, "value is not a valid pointer,please allocate memory!!")) {
        return -2;
    }
    if (len > port80_max) {
        puts("len is a invalid argument \r");
        return -2;
    }
    const MutexGuard guard(fpga_request_lock);
    buf[0] = fpga_cmd_port80_data;
    const int result = fpga_read(buf, count_of(len));
    return took_bytes(result) ? result : -5;
}

int set_hdd_card_type(uint8_t type)
{
    return write_byte(fpga_cmd_hdd_card_type, type);
}

int hdd_led_test(uint8_t value)
{
    return write_byte(fpga_cmd_hdd_led_test, value);
}

} // extern "C"
