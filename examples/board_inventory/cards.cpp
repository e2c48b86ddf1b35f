// RAID card, names of RAID cards, and the PCI addresses of slots.

#include <board_hal.h>
#include <stdio.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

constexpr uint32_t pcie_slot_type = 0;

// A card that the board cannot hold is not asked.
Value card_byte(bool possible, int (*get)(uint8_t *))
{
    if (!possible) {
        return none();
    }
    uint8_t value = 0;
    const int result = get(&value);
    return given(result, number(value));
}

Value product_name(uint16_t card_code)
{
    char name[sizeof(raidcard_boardid_info::name)] = "";
    const int result = get_raidcard_productname(card_code, name, sizeof(name));
    return given(result, text(name));
}

std::string address_of(const pcie_bdf_slot &row)
{
    char address[16];
    snprintf(address, sizeof(address), "%02x:%02x.%u", row.bus & 0xFF, row.device & 0xFF,
             row.function & 0xF);
    return address;
}

Row row_of(const pcie_bdf_slot &of)
{
    uint32_t type = 0;
    const int typed = get_pcie_type_by_BDF(of.bus, of.device, of.function, &type);
    // Riser and chassis slot are written for the riser's slot alone.
    uint32_t slot_id = 0;
    uint8_t riser = 0;
    uint32_t node_slot = 0;
    const int placed =
        get_pcie_slotid_by_BDF(of.bus, of.device, of.function, &slot_id, &riser, &node_slot);
    const bool in_slot = type == pcie_slot_type;
    return {text(address_of(of)),
            given(typed, text(in_slot ? "PCIe slot" : "on-board " + std::to_string(type))),
            given(placed, in_slot ? number(slot_id) : none()), given(placed, yes_no(riser == 1)),
            given(placed, riser == 1 ? number(node_slot) : none())};
}

} // namespace

Table raid_card()
{
    const bool possible = get_raid_maximum() > 0;
    List list("raid_card", "RAID card");
    list.add("board_id", "board id", card_byte(possible, get_raid_board_id));
    list.add("pcb_version", "PCB version", card_byte(possible, get_raid_pcb_ver));
    list.add("error", "error", possible ? yes_no(read_raid_err_status() != 0) : none());
    return list.table();
}

Table product_names()
{
    Table table{"product_names",
                "Product names of RAID cards",
                Table::Layout::rows,
                {{"card_code", "card code"}, {"name", "name"}},
                {}};
    for (const raidcard_boardid_info &card : g_raidcard_boardid_info) {
        table.rows.push_back({hex(card.card_code), product_name(card.card_code)});
    }
    return table;
}

Table pcie_map()
{
    Table table{"pcie_map",
                "PCIe map",
                Table::Layout::rows,
                {{"address", "address"},
                 {"kind", "kind"},
                 {"slot", "slot"},
                 {"riser", "riser"},
                 {"chassis_slot", "chassis slot"}},
                {}};
    const bool corvo = is_corvo_node();
    const pcie_bdf_slot *const rows = corvo ? g_pcieBDF_forCorvo : g_pcieBDF_forBrava;
    const int32_t count = corvo ? g_pcieBDFsize_forCorvo : g_pcieBDFsize_forBrava;
    for (int32_t row = 0; row < count; ++row) {
        table.rows.push_back(row_of(rows[row]));
    }
    return table;
}

} // namespace board_inventory
