// Numbers of the device types, as the inventory operations take them.
#ifndef INVENTORY_DEVICE_TYPES_H
#define INVENTORY_DEVICE_TYPES_H

#include <stdint.h>

namespace board_hal {

enum DeviceType : uint8_t {
    device_cpu = 0,
    device_dimm = 1,
    device_disk = 2,
    device_power_supply = 3,
    device_fan = 4,
    device_hdd_backplane = 5,
    device_raid_card = 6,
    device_ethernet_card = 7,
    device_pcie_card = 8,
    device_mezzanine_card = 11,
    device_onboard_raid = 12,
    device_nic_card = 13, // as a container only
};

} // namespace board_hal

#endif
