// The black box: a record of the host's last moments, held in the FPGA and
// fetched word by word.
//
// Each register access is atomic, a sequence of them is not: one fetch at a
// time.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"

namespace {

enum BlackBoxRegister : int32_t {
    reg_control = 292,
    reg_fetch_strobe = 416,
    reg_fetch_second = 417,
    reg_fetch_first = 418,
    reg_data_ready = 419,
    reg_done_strobe = 420,
    reg_data_word = 421,
};

constexpr uint32_t control_enable = 0x03; // both bits set or both clear
constexpr uint32_t control_data_present = 0x10;

bool write_register(BlackBoxRegister reg, uint32_t value)
{
    return set_fpga_regester(reg, &value) == 0;
}

bool read_register(BlackBoxRegister reg, uint32_t *value)
{
    return get_fpga_regester(reg, value) == 0;
}

bool strobe(BlackBoxRegister reg)
{
    return write_register(reg, 1) && write_register(reg, 0);
}

// Stores whether any of the control bits is set.
int control_test(uint32_t mask, uint32_t *set)
{
    uint32_t control = 0;
    if (!read_register(reg_control, &control)) {
        return -5;
    }
    *set = (control & mask) != 0 ? 1 : 0;
    return 0;
}

} // namespace

extern "C" {

int get_blackbox_data_prepare(uint32_t first, uint32_t second)
{
    if (!write_register(reg_fetch_first, first) || !write_register(reg_fetch_second, second) ||
        !strobe(reg_fetch_strobe)) {
        return -5;
    }
    uint32_t ready = 0;
    if (read_register(reg_data_ready, &ready) && ready != 0) {
        return 0;
    }
    puts("Get from FPGA not ready!");
    return -5;
}

int get_blackbox_data(uint32_t *word)
{
    return read_register(reg_data_word, word) ? 0 : -5;
}

int set_blackbox_data_done(void)
{
    return strobe(reg_done_strobe) ? 0 : -5;
}

int get_blackbox_data_lenth(uint32_t *present)
{
    return control_test(control_data_present, present);
}

int set_blackbox_status(uint32_t enable)
{
    uint32_t control = 0;
    if (!read_register(reg_control, &control)) {
        return -5;
    }
    // Only 1 enables; every other value disables, as callers rely on.
    control = enable == 1 ? control | control_enable : control & ~control_enable;
    return write_register(reg_control, control) ? 0 : -5;
}

int get_blackbox_status(uint32_t *enabled)
{
    return control_test(control_enable, enabled);
}

} // extern "C"
