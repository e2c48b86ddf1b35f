// How many devices of each type the board can hold.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "inventory/device_types.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

constexpr uint8_t this_board = 0xFE;

// What a BOM id says of the board's storage.
struct BomStorage {
    uint8_t bom;
    int32_t disks;
    int32_t raid_cards;
    int32_t onboard_raids;
};

// The other ids that Brava and Corvo nodes have are deliberately unknown here.
constexpr BomStorage bom_storage[] = {
    {0, 4, 1, 1},
    {1, 4, 0, 0},
    {8, 2, 1, 1},
    {9, 2, 0, 0},
};

constexpr int32_t disks_of_unknown_bom = 4;
constexpr int32_t raid_cards_of_unknown_bom = 1;
constexpr int32_t onboard_raids_of_unknown_bom = 0;

// A type or board code and its maximum.
struct Maximum {
    int32_t code;
    int32_t devices;
};

constexpr Maximum maxima_of_this_board[] = {
    {device_cpu, 2}, {device_dimm, 16},         {device_power_supply, 2},
    {device_fan, 6}, {device_hdd_backplane, 1}, {device_pcie_card, 1},
};

constexpr Maximum maxima_of_board_codes[] = {
    // clang-format off
    {0x31, 2}, {0x32, 2}, {0x33, 1}, {0x34, 2}, {0x35, 2},
    {0x36, 3}, {0x37, 0}, {0x38, 1}, {0x39, 4}, {0x3A, 6},
    {0x3B, 6}, {0x3C, 4}, {0x3D, 3}, {0x3E, 2},
    {0x41, 23}, {0x42, 6}, {0x43, 8}, {0x44, 0}, {0x45, 24},
    {0x46, 4}, {0x47, 8}, {0x48, 12}, {0x49, 12}, {0x4A, 8},
    {0x4B, 8}, {0x4C, 0}, {0x4D, 24}, {0x4E, 2}, {0x4F, 0},
    {0x71, 8}, {0x72, 24}, {0x73, 12}, {0x74, 10}, {0x75, 25},
    {0x76, 2}, {0x77, 2}, {0x78, 4}, {0x79, 8}, {0x80, 8},
    {0x81, 4}, {0xFF, 2},
    // clang-format on
};

// Null for a BOM id that is unknown or unread.
const BomStorage *storage_of_this_board()
{
    uint8_t bom = 0xFF;
    if (get_bom_ver(&bom) != 0) {
        return nullptr;
    }
    for (const BomStorage &row : bom_storage) {
        if (row.bom == bom) {
            return &row;
        }
    }
    return nullptr;
}

template <size_t N> const int32_t *find(const Maximum (&table)[N], int32_t code)
{
    for (const Maximum &row : table) {
        if (row.code == code) {
            return &row.devices;
        }
    }
    return nullptr;
}

const int32_t *maximum_of_this_board(int32_t type)
{
    if (type != device_disk) {
        return find(maxima_of_this_board, type);
    }
    const BomStorage *const storage = storage_of_this_board();
    return storage != nullptr ? &storage->disks : nullptr;
}

// The four types that get_device_max_num asks of the group table. The fan's
// line speaks of the power supplies; callers match on it.
struct GroupType {
    uint8_t type;
    const char *failure;
};

constexpr GroupType group_types[] = {
    {device_cpu, "get_device_max_num: get cpu maximum err."},
    {device_dimm, "get_device_max_num: get memory maximum err."},
    {device_power_supply, "get_device_max_num: get ps maximum err."},
    {device_fan, "get_device_max_num: get ps maximum err."},
};

const GroupType *find_group_type(uint8_t type)
{
    for (const GroupType &row : group_types) {
        if (row.type == type) {
            return &row;
        }
    }
    return nullptr;
}

int group_maximum(const GroupType &group, int32_t *max)
{
    if (get_group_devicemaximum(group.type, this_board, max, 0) != 0) {
        puts(group.failure);
        return -2;
    }
    return 0;
}

int disk_maximum(int32_t *max)
{
    int32_t disks = 0;
    if (get_disk_maximum(&disks) != 0) {
        puts("get_device_max_num: get hdd maximum err.");
        return -2;
    }
    *max = disks;
    return 0;
}

int ethernet_maximum(int32_t *max)
{
    if (get_ethernet_card_maximum(max) != 0) {
        printf("%s: get_thernet_card_maximum fail.\r\n", "get_device_max_num");
        return -2;
    }
    return 0;
}

int pcie_maximum(int32_t *max)
{
    if (get_pcie_maximum(max) != 0) {
        printf("%s: get_pcie_maximum fail.\r\n", "get_device_max_num");
        return -2;
    }
    return 0;
}

int answer(int32_t count, int32_t *max)
{
    *max = count;
    return 0;
}

int network_ports(int32_t *max)
{
    const int ports = get_mac_num();
    if (max == nullptr || ports < 0) {
        return -2;
    }
    return answer(ports, max);
}

} // namespace

extern "C" {

int get_device_max_num(uint8_t type, int32_t *max)
{
    if (refused_null(max, "get_device_max_num: parameter invalid.")) {
        return -2;
    }
    const GroupType *const group = find_group_type(type);
    if (group != nullptr) {
        return group_maximum(*group, max);
    }
    switch (type) {
    case device_disk:
        return disk_maximum(max);
    case device_raid_card:
        return answer(get_raid_maximum(), max);
    case device_ethernet_card:
        return ethernet_maximum(max);
    case device_pcie_card:
        return pcie_maximum(max);
    case device_mezzanine_card:
        return answer(0, max);
    case device_onboard_raid:
        return answer(get_onboard_raid_num(), max);
    default:
        printf("%s:error,not find the type,DeviceTypeParameter = %d\r\n", "get_device_max_num",
               type);
        return -2;
    }
}

int get_group_devicemaximum(int32_t type, uint8_t board_code, int32_t *max, uint32_t)
{
    if (refused_null(max, "#get_group_devicemaximum:the para is err\r")) {
        return -1;
    }
    const bool own = board_code == this_board;
    const int32_t *const found =
        own ? maximum_of_this_board(type) : find(maxima_of_board_codes, board_code);
    if (found == nullptr) {
        puts(own ? "#get_group_devicemaximum:the devicetype is err\r"
                 : "#get_group_devicemaximum:the boardid is err\r");
        return -1;
    }
    return answer(*found, max);
}

int get_sub_device_max_num(uint8_t type, uint8_t index, int32_t *max)
{
    if (refused_null(max, "get_sub_device_max_num: parameter invalid.")) {
        return -2;
    }
    switch (type) {
    case device_hdd_backplane:
        if (get_hdd_backplane_sub_dev_maximum(index, max) != 0) {
            printf("%s: get_hdd_backplane_sub_dev_maximum fail.\r\n", "get_sub_device_max_num");
            return -2;
        }
        return 0;
    case device_nic_card:
        if (get_nic_card_sub_dev_maximum(index, max) != 0) {
            printf("%s: get_nic_card_sub_dev_maximum fail.\r\n", "get_sub_device_max_num");
            return -2;
        }
        return 0;
    default:
        printf("%s:DeviceTypeParameter = %d\r\n", "get_sub_device_max_num", type);
        return -2;
    }
}

int get_hdd_backplane_sub_dev_maximum(uint8_t index, int32_t *max)
{
    constexpr uint8_t small_backplane = 2;
    constexpr int32_t disks_of_small_backplane = 2;
    if (max == nullptr) {
        return -2;
    }
    if (index == small_backplane) {
        return answer(disks_of_small_backplane, max);
    }
    int32_t disks = 0;
    const bool known = get_disk_maximum(&disks) == 0;
    return answer(known ? disks : 0, max);
}

int get_nic_card_sub_dev_maximum(uint8_t, int32_t *max)
{
    return network_ports(max);
}

int get_ethernet_card_maximum(int32_t *max)
{
    return network_ports(max);
}

int get_pcie_maximum(int32_t *max)
{
    if (max == nullptr) {
        return -2;
    }
    return answer(1, max);
}

int get_disk_maximum(int32_t *max)
{
    if (max == nullptr) {
        return -2;
    }
    *max = disks_of_unknown_bom;
    const BomStorage *const storage = storage_of_this_board();
    if (storage == nullptr) {
        puts("get_product_cfg_num:bom id not support!");
        return 1; // positive, deliberately: a usable count is in max
    }
    return answer(storage->disks, max);
}

int get_raid_maximum(void)
{
    const BomStorage *const storage = storage_of_this_board();
    return storage != nullptr ? storage->raid_cards : raid_cards_of_unknown_bom;
}

int get_onboard_raid_num(void)
{
    const BomStorage *const storage = storage_of_this_board();
    return storage != nullptr ? storage->onboard_raids : onboard_raids_of_unknown_bom;
}

} // extern "C"
