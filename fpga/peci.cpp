// The PECI bridge 6618 on I2C channel 1: CPU registers over a two-wire bus.

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "board_hal.h"

namespace {

constexpr int32_t bridge_channel = 1;
constexpr uint8_t bridge_addr = 0x54; // 8-bit form
constexpr int32_t read_delay_ms = 20;
constexpr uint8_t register_count = 20;

// Answers in this range are the bridge's error reports.
constexpr uint32_t error_first = 0x8000;
constexpr uint32_t error_last = 0x81FF;

struct SetupStep {
    uint8_t reg;
    uint8_t value[2];
    int32_t delay_ms;
    uint8_t read_back[2];
};

// The third register reads back the bridge's own setting, not what was written.
constexpr SetupStep setup_steps[] = {
    {0x0C, {0x55, 0x05}, 200, {0x55, 0x05}},
    {0x0D, {0x02, 0x03}, 100, {0x02, 0x03}},
    {0x0E, {0x55, 0x00}, 100, {0x40, 0x15}},
    {0x0F, {0x00, 0x00}, 100, {0x00, 0x00}},
};

// Low byte first.
bool read_pair(uint8_t reg, uint8_t (&pair)[2])
{
    return i2c_write_read(bridge_channel, bridge_addr, &reg, 1, pair, 2, read_delay_ms) == 2;
}

int run_step(const SetupStep &step)
{
    const uint8_t message[] = {step.reg, step.value[0], step.value[1]};
    if (i2c_write(bridge_channel, bridge_addr, message, 3, step.delay_ms) != 3) {
        return -5;
    }
    uint8_t pair[2] = {};
    if (!read_pair(step.reg, pair)) {
        return -5;
    }
    return memcmp(pair, step.read_back, sizeof(pair)) == 0 ? 0 : -13;
}

} // namespace

extern "C" {

int peci_init(void)
{
    for (const SetupStep &step : setup_steps) {
        const int result = run_step(step);
        if (result != 0) {
            return result;
        }
    }
    return 0;
}

int peci_read(uint8_t reg, uint8_t *value)
{
    if (value == nullptr) {
        puts("obuffer is empty,please allocate memory!!");
        return -2;
    }
    if (reg >= register_count) {
        puts("6618 command out of range\r");
        return -2;
    }
    uint8_t pair[2] = {};
    if (!read_pair(reg, pair)) {
        return -5;
    }
    const uint32_t answer = pair[0] + 256u * pair[1];
    if (answer >= error_first && answer <= error_last) {
        return -5;
    }
    *value = pair[0];
    return 1;
}

} // extern "C"
