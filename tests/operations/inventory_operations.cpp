// What the board holds, and facts about it.

#include "tests/operations/operation.h"

namespace board_test {

namespace {

using enum Reach;

Operations maximum_operations()
{
    return {
        MANY(registers, get_device_max_num,
             each({0, 1, 2, 3, 4, 6, 7, 8, 11, 12},
                  [](int type) { return with(get_device_max_num, type, out); })),
        MANY(registers, get_group_devicemaximum,
             each({0, 1, 2, 3, 4, 5, 8},
                  [](int type) { return with(get_group_devicemaximum, type, 0xFE, out, 0); })),
        MANY(registers, get_sub_device_max_num,
             each({5, 13}, [](int type) { return with(get_sub_device_max_num, type, 0, out); })),
        MANY(registers, get_hdd_backplane_sub_dev_maximum,
             each({0, 2},
                  [](int index) { return with(get_hdd_backplane_sub_dev_maximum, index, out); })),
        ONE(nothing, 0, get_nic_card_sub_dev_maximum, 0, out),
        ONE(nothing, 0, get_ethernet_card_maximum, out),
        ONE(nothing, 0, get_pcie_maximum, out),
        ONE(registers, 0, get_disk_maximum, out),
        ONE(registers, 1, get_raid_maximum),
        ONE(registers, 1, get_onboard_raid_num),
    };
}

Operations presence_operations()
{
    return {
        MANY(registers, get_device_presence,
             each({0, 1, 2, 3, 4, 5, 8, 11},
                  [](int type) { return with(get_device_presence, 0, type, 0, out); })),
        ONE(nothing, 0, get_dimm_presence, 3, out),
        ONE(nothing, 0, set_dimm_presence, 1, 2, 1, 1),
        ONE(registers, 0, get_disk_status_by_fruid, 0, 0, 0, out),
        ONE(registers, 0, get_powersupply_presence, 0, out),
        ONE(registers, -9, get_raidcard_presence, 0, out),
        ONE(nothing, 0, get_hdd_backplane_presence, 0, out),
        ONE(nothing, 0, get_lcd_presence, out),
        ONE(nothing, 0, get_pcie_presence_by_fruid, 0, 0, out),
    };
}

Operations fact_operations()
{
    const raidcard_boardid_info &card = g_raidcard_boardid_info[0];
    return {
        ONE(nothing, 0, get_device_health_status, 8, 0, out),
        ONE(nothing, 0, get_pcie_health_status, 0, out),
        ONE(nothing, 0, get_device_availability, 0, 0, out),
        MANY(nothing, get_firmware_info_property,
             each({0, 2}, [](int kind) { return with(get_firmware_info_property, kind, out); })),
        ONE(nothing, 0, switch_logical_num_to_physical_num, 0, 3, out),
        ONE(nothing, 0, get_mem_board_present, 0, out),
        ONE(nothing, 0, get_dimm_bus_number, 0, 1, out),
        ONE(nothing, 0, get_dimm_device_number, 0, 1, out),
        ONE(nothing, 0, get_dimm_function_number, 0, 0, 1, out),
        ONE(nothing, 0, get_dimm_register_addr, 0, 1, out),
        ONE(nothing, 0, get_mem_bdf_info, 0, 1, 1, 1, 1, out),
        ONE(nothing, 0, get_dimm_location, 1, out),
        ONE(nothing, 0, get_productname_by_boardid, card.card_code, card.board_id, out, 65),
        ONE(registers, -1, get_raidcard_productname, 0xFFFF, out, 65),
        ONE(registers, 0, read_raid_err_status),
        ONE(registers, 0, spa310_adc_assert_action),
        ONE(registers, 0, spa310_adc_deassert_action),
        ONE(nothing, 1, get_power_capping_support),
        ONE(nothing, 0, get_pcie_sensor_support, out),
        ONE(nothing, 0, get_ps_aclost_status, 0, out),
    };
}

} // namespace

Operations inventory_operations()
{
    Operations joined;
    for (const auto table : {maximum_operations, presence_operations, fact_operations}) {
        for (LibraryOperation &operation : table()) {
            joined.push_back(std::move(operation));
        }
    }
    return joined;
}

} // namespace board_test
