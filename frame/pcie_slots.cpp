// PCI bus, device and function numbers of the board's slots.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "support/null_check.h"

using namespace board_hal;

static_assert(sizeof(pcie_bdf_slot) == 32);
static_assert(offsetof(pcie_bdf_slot, slot_id) == 8);
static_assert(offsetof(pcie_bdf_slot, type) == 28);

extern "C" {

// {reserved}, slot id, bus, device, function, link, type
pcie_bdf_slot g_pcieBDF_forBrava[3] = {
    {{0, 0}, 1, 0x80, 1, 0, 2, 0},
    {{0, 0}, 0, 0x00, 3, 2, 1, 1},
    {{0, 0}, 0, 0x00, 2, 3, 1, 2},
};
int32_t g_pcieBDFsize_forBrava = 3;

pcie_bdf_slot g_pcieBDF_forCorvo[4] = {
    {{0, 0}, 1, 0x00, 2, 0, 1, 0},
    {{0, 0}, 2, 0x80, 1, 0, 2, 0},
    {{0, 0}, 0, 0x00, 3, 2, 1, 1},
    {{0, 0}, 0, 0x00, 2, 3, 1, 2},
};
int32_t g_pcieBDFsize_forCorvo = 4;

} // extern "C"

namespace {

constexpr uint32_t corvo_node = 2;
constexpr uint32_t type_pcie_slot = 0;

// With this extended BOM id the node has no riser.
constexpr uint32_t exbomid_without_riser = 1000;

// The slot that sits on the riser of each board type.
struct RiserSlot {
    uint32_t board_type;
    uint32_t slot_id;
};

constexpr RiserSlot riser_slots[] = {
    {1, 1},
    {2, 2},
};

// Searches the rows that the count names; applications may lower it, and one
// that they raised does not reach past the table.
template <size_t N> const pcie_bdf_slot *find(const pcie_bdf_slot (&table)[N], int32_t count,
                                              uint32_t bus, uint32_t device, uint32_t function)
{
    for (size_t i = 0; i < N && static_cast<int32_t>(i) < count; ++i) {
        const pcie_bdf_slot &row = table[i];
        if (row.bus == bus && row.device == device && row.function == function) {
            return &row;
        }
    }
    return nullptr;
}

const pcie_bdf_slot *find_on_board(uint32_t board_type, uint32_t bus, uint32_t device,
                                   uint32_t function)
{
    return board_type == corvo_node
               ? find(g_pcieBDF_forCorvo, g_pcieBDFsize_forCorvo, bus, device, function)
               : find(g_pcieBDF_forBrava, g_pcieBDFsize_forBrava, bus, device, function);
}

bool on_riser(uint32_t board_type, uint32_t slot_id)
{
    for (const RiserSlot &row : riser_slots) {
        if (row.board_type == board_type && row.slot_id == slot_id) {
            return true;
        }
    }
    return false;
}

} // namespace

extern "C" {

int get_pcie_type_by_BDF(uint32_t bus, uint32_t device, uint32_t function, uint32_t *type)
{
    if (refused_null(type, "get_pcie_type_by_BDF pointer is null")) {
        return -1;
    }
    const pcie_bdf_slot *row = find_on_board(get_current_board_type(), bus, device, function);
    if (row == nullptr) {
        return -2;
    }
    *type = row->type;
    return 0;
}

int get_pcie_slotid_by_BDF(uint32_t bus, uint32_t device, uint32_t function, uint32_t *slot_id,
                           uint8_t *riser, uint32_t *node_slot)
{
    if (slot_id == nullptr || riser == nullptr || node_slot == nullptr) {
        puts("get_pcie_slotid_by_BDF pointer is null");
        return -1;
    }
    const uint32_t board_type = get_current_board_type();
    const uint32_t exbomid = get__extendbomid();
    const pcie_bdf_slot *row = find_on_board(board_type, bus, device, function);
    if (row == nullptr) {
        return -2;
    }
    const uint32_t found = row->slot_id;
    *slot_id = found;
    if (exbomid == exbomid_without_riser || row->type != type_pcie_slot) {
        return 0;
    }
    // Read for every PCIe slot; only the riser's answer tells of a failure.
    uint8_t node = 0;
    const int read_result = get_slot_id(&node);
    if (!on_riser(board_type, found)) {
        return 0;
    }
    *riser = 1;
    if (read_result != 0) {
        *node_slot = 0;
        printf("%s,get slot id fail!\r\n", "get_pcie_slotid_by_BDF");
        return 0;
    }
    *node_slot = node;
    return 0;
}

} // extern "C"
