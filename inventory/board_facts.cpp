// What is fixed on this board.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "support/null_check.h"

using namespace board_hal;

static_assert(sizeof(hdd_backplane) == 3);
static_assert(sizeof(g_HDD_backplane) == 30);

namespace {

// Number that marks the place of a message; applications match on the text
// around it.
constexpr int line_mem_board_null = 81;

struct FirmwareProperty {
    uint8_t kind;
    uint32_t value;
};

constexpr FirmwareProperty firmware_properties[] = {
    {0, 4478},
    {2, 4},
};

} // namespace

extern "C" {

// flag, backplane board code, disks
hdd_backplane g_HDD_backplane[10] = {
    {1, 0x45, 24}, {1, 0x46, 4},  {1, 0x48, 12}, {1, 0x49, 12}, {1, 0x4A, 8},
    {1, 0x4B, 8},  {1, 0x4D, 24}, {1, 0x4E, 2},  {1, 0x6D, 2},  {1, 0x6E, 4},
};
int32_t g_HDDbackplanesize = 10;

int get_firmware_info_property(uint8_t kind, uint32_t *out)
{
    *out = 0;
    for (const FirmwareProperty &row : firmware_properties) {
        if (row.kind == kind) {
            *out = row.value;
            return 0;
        }
    }
    return -2;
}

int switch_logical_num_to_physical_num(uint8_t, uint32_t logical, uint32_t *physical)
{
    *physical = logical;
    return 0;
}

int get_mem_board_present(uint32_t, uint8_t *out)
{
    if (out == nullptr) {
        printf("%s %d:the pointer is null.\r\n", "get_mem_board_present", line_mem_board_null);
        return -2;
    }
    *out = 1;
    return 0;
}

int get_power_capping_support(void)
{
    return 1;
}

int get_pcie_sensor_support(uint8_t *out)
{
    if (refused_null(out, "get_pcie_sensor_support:val pointer is null")) {
        return -2;
    }
    *out = 0;
    return 0;
}

int get_ps_aclost_status(uint32_t, uint8_t *out)
{
    if (refused_null(out, "get_ps_aclost_status: parameter invalid")) {
        return -1;
    }
    *out = 0;
    return 0;
}

} // extern "C"
