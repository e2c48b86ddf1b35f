// DIMMs: presence, location and the PCI addresses of their registers.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "support/null_check.h"

using namespace board_hal;

static_assert(sizeof(dimm_bdf_info) == 32);
static_assert(offsetof(dimm_bdf_info, bus) == 4);
static_assert(offsetof(dimm_bdf_info, device) == 8);
static_assert(offsetof(dimm_bdf_info, function) == 10);
static_assert(offsetof(dimm_bdf_info, reg) == 16);
static_assert(sizeof(dimm_location) == 8);

extern "C" {

uint32_t g_dimm_present[16];

// CPU, bus, device, function, {reserved}, register offset
dimm_bdf_info g_dimm_bdf_info[2] = {
    // The last offset of CPU 0 is deliberately 0, unlike CPU 1's.
    {0, {1, 1, 1, 1}, {15, 29}, {2, 3, 4, 5}, {0, 0}, {0x80, 0x84, 0x88, 0}},
    {1, {1, 1, 1, 1}, {16, 30}, {6, 7, 2, 3}, {0, 0}, {0x104, 0x108, 0x10C, 0x110}},
};
int32_t g_dimm_bdf_info_size = 2;

} // extern "C"

namespace {

constexpr int32_t cpu_count = 2;
constexpr int32_t channel_count = 3;
constexpr int32_t slot_count = 2;
constexpr int32_t dimm_count = 16;
static_assert(cpu_count * channel_count * slot_count <= dimm_count);

constexpr uint32_t bus_shift = 20;
constexpr uint32_t device_shift = 15;
constexpr uint32_t function_shift = 12;

// Numbers that mark the place of a message; applications match on the text
// around them.
constexpr int line_presence_null = 118;
constexpr int line_presence_index = 124;
constexpr int line_bus_null = 163;
constexpr int line_device_null = 186;
constexpr int line_device_controller = 192;
constexpr int line_function_null = 215;
constexpr int line_register_null = 238;
constexpr int line_info_null = 262;
constexpr int line_info_bus = 268;
constexpr int line_info_device = 274;
constexpr int line_info_function = 280;
constexpr int line_info_register = 286;

bool null_point(const uint32_t *out, const char *function, int line)
{
    if (out == nullptr) {
        printf("%s %d:point is null\r\n", function, line);
        return true;
    }
    return false;
}

// Writes one column of every record of a CPU; a CPU without a record writes
// nothing and is no error.
template <typename Column, size_t N>
int look_up(uint8_t cpu, Column (dimm_bdf_info::*columns)[N], uint32_t index, uint32_t *out)
{
    if (index >= N) {
        return -2;
    }
    constexpr int32_t rows = sizeof(g_dimm_bdf_info) / sizeof(g_dimm_bdf_info[0]);
    for (int32_t row = 0; row < rows && row < g_dimm_bdf_info_size; ++row) {
        const dimm_bdf_info &info = g_dimm_bdf_info[row];
        if (info.cpu == cpu) {
            *out = (info.*columns)[index];
        }
    }
    return 0;
}

bool within(int32_t value, int32_t count)
{
    return value >= 0 && value < count;
}

int lookup_failed(const char *lookup, int line)
{
    printf("%s %d:%s\r\n", "get_mem_bdf_info", line, lookup);
    return -2;
}

} // namespace

extern "C" {

int get_dimm_presence(int32_t index, uint8_t *out)
{
    if (out == nullptr) {
        printf("%s %d: para is null .\r\n", "get_dimm_presence", line_presence_null);
        return -2;
    }
    if (!within(index, dimm_count)) {
        printf("%s %d: the para is err,sign:%d .\r\n", "get_dimm_presence", line_presence_index,
               index);
        return -2;
    }
    *out = static_cast<uint8_t>(g_dimm_present[index]);
    return 0;
}

int set_dimm_presence(int32_t cpu, int32_t channel, int32_t slot, uint32_t present)
{
    if (!within(cpu, cpu_count) || !within(channel, channel_count) || !within(slot, slot_count)) {
        return -2;
    }
    g_dimm_present[(cpu * channel_count + channel) * slot_count + slot] = present;
    return 0;
}

int get_dimm_bus_number(uint8_t cpu, uint32_t index, uint32_t *out)
{
    if (null_point(out, "get_dimm_bus_number", line_bus_null)) {
        return -2;
    }
    return look_up(cpu, &dimm_bdf_info::bus, index, out);
}

int get_dimm_device_number(uint8_t cpu, uint32_t controller, uint32_t *out)
{
    constexpr uint32_t controller_count = 2;
    if (null_point(out, "get_dimm_device_number", line_device_null)) {
        return -2;
    }
    if (controller >= controller_count) {
        printf("%s %d:invalid imc\r\n", "get_dimm_device_number", line_device_controller);
        return -2;
    }
    return look_up(cpu, &dimm_bdf_info::device, controller, out);
}

int get_dimm_function_number(uint8_t cpu, uint32_t, uint32_t channel, uint32_t *out)
{
    if (null_point(out, "get_dimm_function_number", line_function_null)) {
        return -2;
    }
    return look_up(cpu, &dimm_bdf_info::function, channel, out);
}

int get_dimm_register_addr(uint8_t cpu, uint32_t index, uint32_t *out)
{
    if (null_point(out, "get_dimm_register_addr", line_register_null)) {
        return -2;
    }
    return look_up(cpu, &dimm_bdf_info::reg, index, out);
}

int get_mem_bdf_info(uint8_t cpu, uint32_t bus_index, uint32_t controller, uint32_t channel,
                     uint32_t reg_index, uint32_t *out)
{
    if (null_point(out, "get_mem_bdf_info", line_info_null)) {
        return -2;
    }
    // All stay 0 for a CPU without a record, and so does the answer.
    uint32_t bus = 0;
    uint32_t device = 0;
    uint32_t function = 0;
    uint32_t reg = 0;
    if (get_dimm_bus_number(cpu, bus_index, &bus) != 0) {
        return lookup_failed("get_dimm_bus_number", line_info_bus);
    }
    if (get_dimm_device_number(cpu, controller, &device) != 0) {
        return lookup_failed("get_dimm_device_number", line_info_device);
    }
    if (get_dimm_function_number(cpu, controller, channel, &function) != 0) {
        return lookup_failed("get_dimm_function_number", line_info_function);
    }
    if (get_dimm_register_addr(cpu, reg_index, &reg) != 0) {
        return lookup_failed("get_dimm_register_addr", line_info_register);
    }
    *out = bus << bus_shift | device << device_shift | function << function_shift | reg;
    return 0;
}

int get_dimm_location(int32_t slot, dimm_location *location)
{
    if (refused_null(location, "get_dimm_location: parameter invalid")) {
        return -1;
    }
    if (slot < 1 || slot > dimm_count) {
        printf("get_dimm_location:the slot_num%d of dimm is illegal.\n", slot);
        return -2;
    }
    location->cpu = 0;
    location->dimm = static_cast<uint32_t>(slot - 1);
    return 0;
}

} // extern "C"
