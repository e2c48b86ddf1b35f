// Disks and what they are plugged into.

#include <board_hal.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

// Items of get_disk_status that are told at once.
constexpr uint32_t disk_p = 0;
constexpr uint32_t disk_f = 1;
constexpr uint32_t disk_r = 3;

constexpr uint8_t backplane_port_count = 3;

Value line(unsigned bay, uint32_t item)
{
    uint8_t value = 0;
    const int result = get_disk_status(bay, item, &value);
    return given(result, yes_no(value == 1));
}

// A count is told also for a board with an unknown BOM id.
unsigned bay_count()
{
    int32_t count = 0;
    get_disk_maximum(&count);
    return static_cast<unsigned>(count);
}

} // namespace

Table disks(const Polls &polls)
{
    Table table{"disks",
                "Disks",
                Table::Layout::rows,
                {{"bay", "bay"},
                 {"p", "P"},
                 {"f", "F"},
                 {"r", "R"},
                 {"v_with_p", "V with P"},
                 {"v_without_p", "V without P"},
                 {"good", "good"}},
                {}};
    for (unsigned bay = 0; bay < bay_count() && bay < disk_count_max; ++bay) {
        table.rows.push_back({number(bay), line(bay, disk_p), line(bay, disk_f), line(bay, disk_r),
                              polls.disk(bay, disk_v_in_bay), polls.disk(bay, disk_v_empty),
                              polls.disk(bay, disk_good)});
    }
    return table;
}

Table backplane_ports()
{
    Table table{"backplane_ports",
                "HDD backplane ports",
                Table::Layout::rows,
                {{"port", "port"}, {"connection", "connection"}},
                {}};
    for (uint8_t port = 0; port < backplane_port_count; ++port) {
        uint8_t connection = 0;
        const int result = get_HDD_backplane_port_connection(port, &connection);
        table.rows.push_back({number(port), given(result, number(connection))});
    }
    return table;
}

} // namespace board_inventory
