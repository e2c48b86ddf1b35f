// Which devices are there.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "inventory/device_types.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

// Numbers that mark the place of a message; applications match on the text
// around them.
constexpr int line_null_out = 112;
constexpr int line_no_such_type = 196;
constexpr int line_disk_status = 241;
constexpr int line_raid_board = 297;

constexpr uint32_t cpu_status_present = 1;
constexpr uint32_t disk_item_present = 0;
constexpr uint32_t fan_status_present = 0;

// Board selectors of the power supplies, by index; this board serves neither.
constexpr int32_t power_supply_boards[] = {3, 4};
constexpr int32_t power_supply_count = 2;
constexpr uint32_t first_raid_card_board = 10;

// How a type's presence is asked, and what is printed when the answer fails.
struct PresenceSource {
    uint8_t type;
    int line;
    int (*ask)(uint8_t fruid, int32_t index, uint8_t *out);
    const char *failure;
};

int ask_cpu(uint8_t, int32_t index, uint8_t *out)
{
    return get_cpu_status(index, cpu_status_present, out);
}

int ask_dimm(uint8_t, int32_t index, uint8_t *out)
{
    return get_dimm_presence(index, out);
}

int ask_disk(uint8_t fruid, int32_t index, uint8_t *out)
{
    return get_disk_status_by_fruid(fruid, static_cast<uint32_t>(index), disk_item_present, out);
}

int ask_power_supply(uint8_t, int32_t index, uint8_t *out)
{
    return get_powersupply_presence(index, out);
}

int ask_fan(uint8_t, int32_t index, uint8_t *out)
{
    return get_fan_status(static_cast<uint32_t>(index), fan_status_present, out);
}

int ask_raid_card(uint8_t, int32_t index, uint8_t *out)
{
    return get_raidcard_presence(index, out);
}

int ask_mezzanine_card(uint8_t, int32_t index, uint8_t *out)
{
    return get_mezz_presence(index, out);
}

// Fan, RAID card and mezzanine card share the disk's message; callers match on
// it.
constexpr PresenceSource sources[] = {
    {device_cpu, 124, ask_cpu, "get_cpu_status is error"},
    {device_dimm, 132, ask_dimm, "get_dimm_presence_status fail."},
    {device_disk, 140, ask_disk, "get_disk_status is error"},
    {device_power_supply, 148, ask_power_supply, "get_powersupply_presence is error"},
    {device_fan, 156, ask_fan, "get_disk_status is error"},
    {device_raid_card, 172, ask_raid_card, "get_disk_status is error"},
    {device_pcie_card, 180, get_pcie_presence_by_fruid, "get_pcie_presence fail."},
    {device_mezzanine_card, 188, ask_mezzanine_card, "get_disk_status is error"},
};

const PresenceSource *find(uint8_t type)
{
    for (const PresenceSource &source : sources) {
        if (source.type == type) {
            return &source;
        }
    }
    return nullptr;
}

int hdd_backplane_presence(int32_t index, uint8_t *out)
{
    if (get_hdd_backplane_presence(index, out) != 0) {
        printf("%s: get_hdd_backplane_presence fail.\r\n", "get_device_presence");
        return -2;
    }
    return 0;
}

} // namespace

extern "C" {

int get_device_presence(uint8_t fruid, uint8_t type, int32_t index, uint8_t *out)
{
    if (out == nullptr) {
        printf("%s %d: The para is null\r\n", "get_device_presence", line_null_out);
        return -1;
    }
    if (type == device_hdd_backplane) {
        return hdd_backplane_presence(index, out);
    }
    const PresenceSource *const source = find(type);
    if (source == nullptr) {
        printf("%s %d: The devicetype is wrong,devicetype is %d\r\n", "get_device_presence",
               line_no_such_type, type);
        return -1;
    }
    if (source->ask(fruid, index, out) != 0) {
        printf("%s %d: %s\r\n", "get_device_presence", source->line, source->failure);
        return -1;
    }
    return 0;
}

int get_disk_status_by_fruid(uint8_t, uint32_t index, uint32_t kind, uint8_t *out)
{
    if (get_disk_status(index, kind, out) != 0) {
        printf("%s %d: get_disk_status is error\r\n", "get_disk_status_by_fruid", line_disk_status);
        return -1;
    }
    return 0;
}

int get_powersupply_presence(int32_t index, uint8_t *out)
{
    if (index < 0 || index >= power_supply_count) {
        puts("PS Index Error");
        return -2;
    }
    // Best effort, deliberately: what the board does not tell stays as the
    // caller set it.
    get_board_present(power_supply_boards[index], out);
    return 0;
}

int get_raidcard_presence(int32_t index, uint8_t *out)
{
    const uint32_t board = first_raid_card_board + static_cast<uint32_t>(index);
    if (get_board_present(static_cast<int32_t>(board), out) != 0) {
        printf("%s %d: get_board_id err .\r\n", "get_raidcard_presence", line_raid_board);
        return -9;
    }
    return 0;
}

int get_hdd_backplane_presence(int32_t, uint8_t *out)
{
    if (out == nullptr) {
        return -2;
    }
    *out = 1;
    return 0;
}

int get_lcd_presence(uint8_t *out)
{
    *out = 0;
    return 0;
}

int get_pcie_presence_by_fruid(uint8_t, int32_t, uint8_t *)
{
    return 0;
}

} // extern "C"
