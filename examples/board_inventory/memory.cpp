// DIMMs, and where the memory controllers' registers lie.

#include <board_hal.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

constexpr uint8_t device_dimm = 1;

constexpr uint32_t controllers = 2;
constexpr uint32_t channels = 4;
constexpr uint32_t registers = 4;

using Lookup = int (*)(uint8_t cpu, uint32_t index, uint32_t *out);

Value looked_up(Lookup lookup, uint8_t cpu, uint32_t index)
{
    uint32_t value = 0;
    const int result = lookup(cpu, index, &value);
    return given(result, number(value));
}

Value row_of(Lookup lookup, Value (*show)(uint32_t), uint8_t cpu, uint32_t count)
{
    std::vector<Value> all;
    for (uint32_t index = 0; index < count; ++index) {
        uint32_t value = 0;
        const int result = lookup(cpu, index, &value);
        if (result != 0) {
            return error(result);
        }
        all.push_back(show(value));
    }
    return series(all);
}

Value plain(uint32_t value)
{
    return number(value);
}

Value register_offset(uint32_t value)
{
    return hex(value, 3);
}

int function_of_channel(uint8_t cpu, uint32_t channel, uint32_t *out)
{
    return get_dimm_function_number(cpu, 0, channel, out);
}

Value first_address(uint8_t cpu, uint32_t controller)
{
    uint32_t address = 0;
    const int result = get_mem_bdf_info(cpu, 0, controller, 0, 0, &address);
    return given(result, hex(address, 6));
}

} // namespace

// What the management application noted with set_dimm_presence: the board has
// no presence lines for DIMMs.
Table dimms()
{
    Table table{"dimms",
                "DIMMs",
                Table::Layout::ranges,
                {{"slot", "slot"}, {"cpu", "CPU"}, {"present", "noted present"}},
                {}};
    int32_t count = 0;
    get_device_max_num(device_dimm, &count);
    for (int32_t slot_number = 1; slot_number <= count; ++slot_number) {
        dimm_location location = {};
        const int located = get_dimm_location(slot_number, &location);
        uint8_t present = 0;
        const int result = get_dimm_presence(static_cast<int32_t>(location.dimm), &present);
        table.rows.push_back({number(slot_number), given(located, number(location.cpu)),
                              given(result, yes_no(present != 0))});
    }
    return table;
}

Table memory_controllers()
{
    Table table{"memory_controllers",
                "Memory controllers",
                Table::Layout::rows,
                {{"cpu", "CPU"},
                 {"controller", "controller"},
                 {"bus", "bus"},
                 {"device", "device"},
                 {"functions", "functions"},
                 {"registers", "registers"},
                 {"pcie_offset", "PCIe offset"}},
                {}};
    for (uint8_t cpu = 0; cpu < cpu_count; ++cpu) {
        for (uint32_t controller = 0; controller < controllers; ++controller) {
            table.rows.push_back({number(cpu), number(controller),
                                  looked_up(get_dimm_bus_number, cpu, 0),
                                  looked_up(get_dimm_device_number, cpu, controller),
                                  row_of(function_of_channel, plain, cpu, channels),
                                  row_of(get_dimm_register_addr, register_offset, cpu, registers),
                                  first_address(cpu, controller)});
        }
    }
    return table;
}

} // namespace board_inventory
