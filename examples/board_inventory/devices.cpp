// How many devices of each type the board can hold, and how many are there.

#include <board_hal.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

struct DeviceType {
    uint8_t type;
    const char *name;
};

constexpr DeviceType types[] = {
    {0, "CPU"},
    {1, "DIMM"},
    {2, "hard disk"},
    {3, "power supply"},
    {4, "fan"},
    {6, "RAID card"},
    {7, "Ethernet card"},
    {8, "PCIe card"},
    {11, "mezzanine card"},
    {12, "on-board RAID"},
};

struct Container {
    uint8_t type;
    const char *name;
    uint8_t index;
};

constexpr Container known_containers[] = {
    {5, "HDD backplane", 0},
    {5, "HDD backplane", 1},
    {5, "HDD backplane", 2},
    {13, "NIC card", 0},
};

constexpr uint8_t device_pcie_card = 8;
constexpr uint8_t any_fru = 0;
constexpr uint8_t not_told = 0xFF;

// The board tells the presence of some types only: others are refused, or
// succeed without an answer.
Value present(uint8_t type, int32_t count)
{
    int32_t found = 0;
    for (int32_t index = 0; index < count; ++index) {
        uint8_t there = not_told;
        if (get_device_presence(any_fru, type, index, &there) != 0 || there == not_told) {
            return none();
        }
        found += there != 0 ? 1 : 0;
    }
    return number(found);
}

Value health(uint8_t type)
{
    if (type != device_pcie_card) {
        return none(); // no other has one
    }
    uint32_t value = 0;
    const int result = get_device_health_status(type, 0, &value);
    return given(result, number(value));
}

Value availability(uint8_t type)
{
    uint32_t value = 0;
    const int result = get_device_availability(type, 0, &value);
    return given(result, number(value));
}

Row row_of(const DeviceType &type)
{
    int32_t count = 0;
    const int result = get_device_max_num(type.type, &count);
    return {number(type.type),
            text(type.name),
            given(result, number(count)),
            result == 0 ? present(type.type, count) : none(),
            health(type.type),
            availability(type.type)};
}

} // namespace

Table device_types()
{
    Table table{"device_types",
                "Device types",
                Table::Layout::rows,
                {{"type", "type"},
                 {"device", "device"},
                 {"maximum", "maximum"},
                 {"present", "present"},
                 {"health", "health"},
                 {"availability", "availability"}},
                {}};
    for (const DeviceType &type : types) {
        table.rows.push_back(row_of(type));
    }
    return table;
}

Table containers()
{
    Table table{"containers",
                "Containers",
                Table::Layout::rows,
                {{"container", "container"}, {"index", "index"}, {"maximum", "devices at most"}},
                {}};
    for (const Container &container : known_containers) {
        int32_t count = 0;
        const int result = get_sub_device_max_num(container.type, container.index, &count);
        table.rows.push_back(
            {text(container.name), number(container.index), given(result, number(count))});
    }
    return table;
}

} // namespace board_inventory
