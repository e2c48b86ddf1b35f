#include "board_inventory/collect.h"

namespace board_inventory {

Report collect(const Polls &polls)
{
    return {
        identity(),           slot(),       cpus(polls),       dimms(),
        memory_controllers(), disks(polls), backplane_ports(), leds(),
        serial_routing(),     raid_card(),  product_names(),   pcie_map(),
        device_types(),       containers(),
    };
}

} // namespace board_inventory
