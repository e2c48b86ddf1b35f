// Serial-over-LAN data: what the host writes to its serial port, fetched from
// the FPGA's LPC side word by word.
//
// Each register access is atomic, a sequence of them is not: one fetch at a
// time.

#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "board_hal.h"

namespace {

enum SolRegister : int32_t {
    reg_data_offset = 320,
    reg_data_word = 322,
    reg_data_ready = 323,
    reg_data_done = 324,
    reg_data_enable = 328,
    reg_fetch_offset = 329,
    reg_data_length = 332,
};

constexpr useconds_t fetch_settle_us = 10;

bool write_register(SolRegister reg, uint32_t value)
{
    return set_fpga_regester(reg, &value) == 0;
}

bool read_register(SolRegister reg, uint32_t *value)
{
    return get_fpga_regester(reg, value) == 0;
}

int step_failed(const char *text)
{
    puts(text);
    return -5;
}

// The FPGA needs a moment between the enable and its ready flag.
int await_ready()
{
    usleep(fetch_settle_us);
    uint32_t ready = 0;
    const int result = get_fpga_regester(reg_data_ready, &ready);
    if (result == 0 && ready != 0) {
        return 0;
    }
    printf("\nret=%d ready=%d Get lpc data not ready.\n", result, static_cast<int32_t>(ready));
    return -5;
}

} // namespace

extern "C" {

int get_sol_data_length(uint32_t *len)
{
    if (!write_register(reg_data_done, 1) || !read_register(reg_data_length, len)) {
        return -5;
    }
    return *len != 0 ? 0 : -9;
}

int get_sol_data_prepare(uint32_t *len, uint32_t *offset)
{
    // The clear also releases a fetch that was never finished.
    if (!write_register(reg_data_done, 1)) {
        return step_failed("Set lpc clear failed.");
    }
    if (!read_register(reg_data_length, len)) {
        return step_failed("Get lpc data length failed.");
    }
    if (*len == 0) {
        return -9;
    }
    if (!read_register(reg_data_offset, offset)) {
        return step_failed("Get lpc data offset failed.");
    }
    if (!write_register(reg_fetch_offset, *offset)) {
        return step_failed("Set lpc data offset failed.");
    }
    if (!write_register(reg_data_enable, 1)) {
        return step_failed("Set lpc data enable failed.");
    }
    return await_ready();
}

int get_sol_data(uint32_t *word)
{
    return read_register(reg_data_word, word) ? 0 : -5;
}

int set_sol_data_done(void)
{
    return write_register(reg_data_done, 1) ? 0 : -5;
}

} // extern "C"
