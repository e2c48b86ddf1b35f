// Asks the board, table by table. The board is open.
#ifndef BOARD_INVENTORY_COLLECT_H
#define BOARD_INVENTORY_COLLECT_H

#include <board_hal.h>

#include "board_inventory/polls.h"
#include "board_inventory/report.h"

namespace board_inventory {

// The other board type is a Brava node.
inline bool is_corvo_node()
{
    return get_current_board_type() == 2;
}

Report collect(const Polls &polls);

Table identity();
Table slot();
Table cpus(const Polls &polls);
Table dimms();
Table memory_controllers();
Table disks(const Polls &polls);
Table backplane_ports();
Table leds();
Table serial_routing();
Table raid_card();
Table product_names();
Table pcie_map();
Table device_types();
Table containers();

} // namespace board_inventory

#endif
