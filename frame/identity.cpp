// Which board this is.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"
#include "support/not_fitted.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

constexpr CpldBits no_field{0, 0};

// Version registers count from 1; the letters start at 0x41.
constexpr uint8_t version_letter = 0x40;

// A selector of the caller's, the field it reads and what is added to it; a
// selector without a field is a constant of this board.
struct SelectedField {
    uint32_t selector;
    CpldBits field;
    uint8_t added;
};

constexpr SelectedField board_ids[] = {
    {0, {CPLD_REG_BOARD_ID, 0xFF}, 0},
    {2, no_field, 0xFE},
    {3, {CPLD_REG_BOARD_3, CPLD_SUBBOARD_ID}, 0x40},
};

constexpr SelectedField pcb_versions[] = {
    {0, {CPLD_REG_PCB_VERSION, 0xFF}, version_letter},
    {2, {CPLD_REG_BOARD_2, CPLD_SUBBOARD_PCB_VERSION}, version_letter},
    {3, {CPLD_REG_BOARD_3, CPLD_SUBBOARD_PCB_VERSION}, version_letter},
};

constexpr SelectedField boards_present[] = {
    {0, no_field, 1},
    {1, no_field, 1},
    {6, {CPLD_REG_BOARD_6, CPLD_BOARD_6_PRESENT}, 0},
};

// The node that a BOM id stands for.
struct BomNode {
    uint8_t bom;
    uint32_t board_type;
};

constexpr uint32_t brava_node = 1;
constexpr uint32_t corvo_node = 2;

constexpr BomNode bom_nodes[] = {
    {0, brava_node}, {1, brava_node}, {2, brava_node},  {3, brava_node},
    {8, corvo_node}, {9, corvo_node}, {10, corvo_node}, {11, corvo_node},
};

constexpr int32_t cpu_count = 4;
constexpr uint32_t cpu_status_present = 1;

// Under the lock also for constants and refused selectors.
template <size_t N> int read_field(const SelectedField (&table)[N], uint32_t selector, uint8_t *val)
{
    const MutexGuard guard(cpld_reg_lock);
    for (const SelectedField &row : table) {
        if (row.selector == selector) {
            const uint8_t value = row.field == no_field ? uint8_t{0} : cpld_field_get(row.field);
            *val = static_cast<uint8_t>(value + row.added);
            return 0;
        }
    }
    return -2;
}

int read_register(int32_t reg, uint8_t *val)
{
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_read(reg);
    return 0;
}

} // namespace

extern "C" {

uint32_t g_exbomid;

int get_board_id(uint32_t which, uint8_t *val)
{
    if (refused_null(val, "get_board_id val pointer is null")) {
        return -1;
    }
    return read_field(board_ids, which, val);
}

int get_bom_ver(uint8_t *val)
{
    if (refused_null(val, "get_bom_ver:val pointer is null")) {
        return -1;
    }
    return read_register(CPLD_REG_BOM_VERSION, val);
}

int get_pcb_ver(uint32_t which, uint8_t *val)
{
    if (refused_null(val, "get_pcb_ver:val pointer is null")) {
        return -1;
    }
    return read_field(pcb_versions, which, val);
}

int get_product_id(uint8_t *val)
{
    if (refused_null(val, "get_product_id val pointer is null")) {
        return -1;
    }
    return read_register(CPLD_REG_PRODUCT_ID, val);
}

int get_chassis_id(uint8_t *)
{
    return 0;
}

void set_extendbomid(uint32_t id)
{
    g_exbomid = id;
}

uint32_t get__extendbomid(void)
{
    return g_exbomid;
}

uint32_t get_current_board_type(void)
{
    uint8_t bom = 0;
    get_bom_ver(&bom); // unread it stays 0, a Brava node
    for (const BomNode &row : bom_nodes) {
        if (row.bom == bom) {
            return row.board_type;
        }
    }
    puts("get_current_board_type:bom id not support!\r");
    return brava_node;
}

int get_CPU_type(uint32_t *type)
{
    *type = 2;
    return 0;
}

int get_slotid_by_cpuid(uint8_t index, uint8_t *slot)
{
    if (slot == nullptr) {
        return -2;
    }
    // The first slot holds a CPU without asking.
    if (index == 0) {
        *slot = 1;
        return 0;
    }
    uint8_t present_so_far = 0;
    // Numbers 1 to 3 share one presence bit but are all asked: with both
    // sockets fitted callers find four slots.
    for (int32_t cpu = 0; cpu < cpu_count; ++cpu) {
        uint8_t present = 0;
        if (get_cpu_status(cpu, cpu_status_present, &present) != 0) {
            return -2;
        }
        if (present == 0) {
            continue;
        }
        if (present_so_far == index) {
            *slot = static_cast<uint8_t>(cpu + 1);
            return 0;
        }
        ++present_so_far;
    }
    return -1;
}

int get_MEZZ_slot_by_BDF(uint32_t, uint32_t, uint32_t, uint32_t *)
{
    return -2;
}

int get_board_present(int32_t which, uint8_t *val)
{
    if (refused_null(val, "get_board_present:val pointer is null")) {
        return -1;
    }
    return read_field(boards_present, static_cast<uint32_t>(which), val);
}

int get_amc_module_present(uint32_t which, uint8_t *val)
{
    // Shares the message of get_board_present; callers match on it.
    if (refused_null(val, "get_board_present:val pointer is null")) {
        return -1;
    }
    if (which != 0) {
        return -2;
    }
    // Unlocked: one load of a register that nothing here writes.
    *val = cpld_read(CPLD_REG_AMC_PRESENCE);
    return 0;
}

BOARD_HAL_NOT_FITTED(0, get_chassis_pcb_ver, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_pcie_slot_present, uint32_t, uint32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_hdd_cpld_version, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_hp_riser_cpld_version, uint8_t *)
BOARD_HAL_NOT_FITTED(-1, get_card_type, uint32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(-1, get_card_port, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_mac_num, void)

} // extern "C"
