// What the board can hold, and what is there.

#include <board_hal.h>
#include <stdio.h>

#include "boardctl/families/families.h"
#include "boardctl/families/polls.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr struct {
    uint8_t type;
    const char *name;
} device_types[] = {
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

constexpr uint8_t dimm_type = 1;
constexpr uint8_t pcie_card_type = 8;
constexpr uint8_t any_fru = 0;
constexpr uint8_t not_told = 0xFF;
constexpr uint32_t corvo_node = 2;
constexpr uint32_t pcie_slot_kind = 0;

// The board tells the presence of some types only: others are refused, or
// succeed without an answer.
Value present(uint8_t type, int32_t count)
{
    int64_t found = 0;
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
    if (type != pcie_card_type) {
        return none(); // no other has one
    }
    uint32_t value = 0;
    const int result = get_device_health_status(type, 0, &value);
    return given(result, number(value));
}

Result devices(Context &)
{
    Result result;
    for (const auto &device : device_types) {
        int32_t count = 0;
        const int counted = get_device_max_num(device.type, &count);
        result.row("devices",
                   {number(device.type), text(device.name), given(counted, number(count)),
                    counted == 0 ? present(device.type, count) : none(), health(device.type)});
    }
    return result;
}

Result cpus(Context &)
{
    Result result;
    for (int32_t cpu = 0; cpu < static_cast<int32_t>(cpu_count); ++cpu) {
        uint8_t there = 0;
        const int told = get_cpu_status(cpu, cpu_present, &there);
        result.row("cpus", {number(cpu), given(told, yes_no(there == 1)),
                            there == 1 ? read_value(get_cpu_generation, cpu, as_number) : none()});
    }
    return result;
}

Result dimms(Context &context)
{
    int32_t count = 0;
    context.check("get_device_max_num", get_device_max_num(dimm_type, &count));
    Result result;
    for (int32_t slot = 1; slot <= count; ++slot) {
        dimm_location location = {};
        context.check("get_dimm_location", get_dimm_location(slot, &location));
        result.row("dimms", {number(slot), number(location.cpu), number(location.dimm)});
    }
    return result;
}

Value pcie_offset(uint8_t cpu, uint32_t controller, uint32_t channel)
{
    uint32_t offset = 0;
    const int result = get_mem_bdf_info(cpu, 0, controller, channel, 0, &offset);
    return given(result, hex(offset, 6));
}

Value pci_function(uint8_t cpu, uint32_t channel)
{
    uint32_t function = 0;
    const int result = get_dimm_function_number(cpu, 0, channel, &function);
    return given(result, number(function));
}

template <typename Lookup> Value looked_up(Lookup lookup, uint8_t cpu, uint32_t index)
{
    uint32_t value = 0;
    const int result = lookup(cpu, index, &value);
    return given(result, number(value));
}

Result memory(Context &)
{
    Result result;
    for (uint8_t cpu = 0; cpu < cpu_count; ++cpu) {
        for (uint32_t controller = 0; controller < 2; ++controller) {
            for (uint32_t channel = 0; channel < 4; ++channel) {
                result.row("channels",
                           {number(cpu), number(controller), number(channel),
                            looked_up(get_dimm_bus_number, cpu, 0),
                            looked_up(get_dimm_device_number, cpu, controller),
                            pci_function(cpu, channel), pcie_offset(cpu, controller, channel)});
            }
        }
    }
    return result;
}

Value product_name(uint16_t card_code)
{
    char name[sizeof(raidcard_boardid_info::name)] = "";
    const int result = get_raidcard_productname(card_code, name, sizeof(name));
    return given(result, text(name));
}

// A card that the board cannot hold is not asked.
Result cards(Context &)
{
    const bool possible = get_raid_maximum() > 0;
    Result result;
    result
        .set("raid_card", "board_id", possible ? read_value(get_raid_board_id, as_number) : none())
        .set("raid_card", "pcb_version",
             possible ? read_value(get_raid_pcb_ver, as_number) : none())
        .set("raid_card", "error", possible ? as_fault(read_raid_err_status() != 0) : none());
    for (const raidcard_boardid_info &card : g_raidcard_boardid_info) {
        result.row("names", {hex(card.card_code, 4), product_name(card.card_code)});
    }
    return result;
}

void add_address(Result &result, const pcie_bdf_slot &of)
{
    char address[16];
    snprintf(address, sizeof(address), "%02x:%02x.%u", of.bus & 0xFF, of.device & 0xFF,
             of.function & 0xF);
    uint32_t kind = 0;
    const int kinded = get_pcie_type_by_BDF(of.bus, of.device, of.function, &kind);
    // Riser and chassis slot are written for the riser's slot alone.
    uint32_t slot = 0;
    uint8_t riser = 0;
    uint32_t node_slot = 0;
    const int placed =
        get_pcie_slotid_by_BDF(of.bus, of.device, of.function, &slot, &riser, &node_slot);
    result.row("addresses", {text(address), given(kinded, number(kind)),
                             given(placed, kind == pcie_slot_kind ? number(slot) : none()),
                             given(placed, yes_no(riser == 1)),
                             given(placed, riser == 1 ? number(node_slot) : none())});
}

Result pcie(Context &)
{
    const bool corvo = get_current_board_type() == corvo_node;
    const pcie_bdf_slot *const rows = corvo ? g_pcieBDF_forCorvo : g_pcieBDF_forBrava;
    const int32_t count = corvo ? g_pcieBDFsize_forCorvo : g_pcieBDFsize_forBrava;
    Result result;
    for (int32_t row = 0; row < count; ++row) {
        add_address(result, rows[row]);
    }
    return result;
}

Field field(const std::string &key, const std::string &heading, Type type = Type::integer,
            const std::string &help = {})
{
    return {key, heading, type, help, true, true};
}

} // namespace

Family inventory_family()
{
    return {
        .name = "inventory",
        .summary = "What the board can hold, and what is there",
        .commands =
            {
                {.name = "devices",
                 .summary = "Count the devices of each type",
                 .output = {{"devices",
                             "Devices",
                             Block::Layout::rows,
                             {{"type", "type", Type::integer, "device type number"},
                              {"device", "device", Type::string},
                              field("maximum", "maximum"),
                              field("present", "present", Type::integer,
                                    "null where the board does not tell"),
                              field("health", "health", Type::integer,
                                    "null where there is none")}}},
                 .examples = {{"inventory devices", "What is in the box?"}},
                 .run = devices},
                {.name = "cpus",
                 .summary = "Show the CPUs",
                 .output = {{"cpus",
                             "CPUs",
                             Block::Layout::rows,
                             {{"cpu", "CPU", Type::integer},
                              field("present", "present", Type::boolean),
                              field("generation", "generation", Type::integer, "0 to 7")}}},
                 .examples = {{"inventory cpus", "Which CPUs are fitted?"}},
                 .run = cpus},
                {.name = "dimms",
                 .summary = "Show where the DIMM slots are",
                 .output = {{"dimms",
                             "DIMMs",
                             Block::Layout::rows,
                             {{"slot", "slot", Type::integer, "1 to 16"},
                              {"cpu", "CPU", Type::integer},
                              {"dimm", "DIMM", Type::integer, "DIMM index"}}}},
                 .examples = {{"inventory dimms", "Which slot is DIMM 3 in?"}},
                 .run = dimms},
                {.name = "memory",
                 .summary = "Show the PCI addresses of the memory controllers",
                 .output = {{"channels",
                             "Memory channels",
                             Block::Layout::rows,
                             {{"cpu", "CPU", Type::integer},
                              {"controller", "controller", Type::integer},
                              {"channel", "channel", Type::integer},
                              field("bus", "bus"),
                              field("device", "device"),
                              field("function", "function"),
                              field("pcie_offset", "PCIe offset", Type::integer,
                                    "of the first register")}}},
                 .examples = {{"inventory memory", "Where are the controllers' registers?"}},
                 .run = memory},
                {.name = "cards",
                 .summary = "Show the RAID card and the names of known ones",
                 .output = {{"raid_card",
                             "RAID card",
                             Block::Layout::fields,
                             {field("board_id", "board id"), field("pcb_version", "PCB version"),
                              field("error", "error", Type::boolean)}},
                            {"names",
                             "Product names",
                             Block::Layout::rows,
                             {{"card_code", "card code", Type::integer},
                              field("name", "name", Type::string,
                                    "with the board's id; an error if there is none")}}},
                 .examples = {{"inventory cards", "Which RAID card is it?"}},
                 .run = cards},
                {.name = "pcie",
                 .summary = "Show the PCI addresses of slots and on-board functions",
                 .output = {{"addresses",
                             "PCIe map",
                             Block::Layout::rows,
                             {{"address", "address", Type::string, "bus:device.function"},
                              field("kind", "kind", Type::integer,
                                    "0 PCIe slot; 1, 2 on-board functions"),
                              field("slot", "slot"),
                              field("riser", "riser", Type::boolean),
                              field("chassis_slot", "chassis slot")}}},
                 .examples = {{"inventory pcie", "What is behind which address?"}},
                 .run = pcie},
            },
        .meanings = {{"get_device_max_num", -2, "the board cannot tell how many there are"}},
    };
}

} // namespace boardctl
