// Health and availability of devices.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "inventory/device_types.h"

using namespace board_hal;

namespace {

constexpr uint32_t health_of_pcie_card = 5;
constexpr uint32_t device_available = 1U << 0 | 1U << 1;

// Numbers that mark the place of a message; applications match on the text
// around them.
constexpr int line_no_such_type = 74;
constexpr int line_pcie_failed = 68;
constexpr int line_pcie_null = 92;

} // namespace

extern "C" {

int get_device_health_status(uint8_t type, uint32_t index, uint32_t *health)
{
    if (health == nullptr) {
        return -2;
    }
    if (type != device_pcie_card) {
        printf("%s %d:fail.DeviceTypeParameter = %d\r\n", "get_device_health_status",
               line_no_such_type, type);
        return -2;
    }
    if (get_pcie_health_status(index, health) != 0) {
        printf("%s %d: get_pcie_health_status fail.\r\n", "get_device_health_status",
               line_pcie_failed);
        return -2;
    }
    return 0;
}

int get_pcie_health_status(uint32_t, uint32_t *health)
{
    if (health == nullptr) {
        printf("%s %d: the para is null.\r\n", "get_pcie_health_status", line_pcie_null);
        return -2;
    }
    *health = health_of_pcie_card;
    return 0;
}

int get_device_availability(uint8_t, uint32_t, uint32_t *availability)
{
    if (availability == nullptr) {
        printf("%s: parameter invalid.\n", "get_device_availability");
        return -2;
    }
    *availability = device_available;
    return 0;
}

} // extern "C"
