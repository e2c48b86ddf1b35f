// Operations of hardware that this board does not have.

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

class UnsupportedTest : public InventoryTest {};

// Each with its answer; the out arguments are given, and stay as they are.
const std::vector<Call> &operations()
{
    static const std::vector<Call> all = {
        {"get_memory_health_status", [](Outs &o) { return get_memory_health_status(1, &o.word); },
         0},
        {"get_mezz_presence", [](Outs &o) { return get_mezz_presence(1, &o.byte); }, 0},
        {"get_pcie_presence", [](Outs &o) { return get_pcie_presence(1, &o.byte); }, 0},
        {"restore_prochot_status", [](Outs &) { return restore_prochot_status(); }, 0},
        {"clear_nonsensor_dev_healthstatus",
         [](Outs &) { return clear_nonsensor_dev_healthstatus(); }, 0},
        {"get_pcie_riser_sub_dev_maximum",
         [](Outs &o) { return get_pcie_riser_sub_dev_maximum(1, &o.number); }, -1},
        {"set_dev_all_healthstatus", [](Outs &) { return set_dev_all_healthstatus(1); }, 0},
        {"update_memory_availability", [](Outs &) { return update_memory_availability(1, 1); }, -1},
        {"get_dimm_pre", [](Outs &o) { return get_dimm_pre(0, 0, 0, &o.byte); }, 0},
        {"get_device_all_availability",
         [](Outs &o) { return get_device_all_availability(0, 0, &o.word); }, 0},
        {"set_device_availability", [](Outs &) { return set_device_availability(1); }, -1},
        {"set_dimm_mode", [](Outs &) { return set_dimm_mode(1); }, 0},
        {"get_disk_connect_support_type", [](Outs &) { return get_disk_connect_support_type(); },
         0},
        {"set_panel_led_status", [](Outs &) { return set_panel_led_status(1, 1); }, -1},
        {"get_ex_board_cable_connect", [](Outs &o) { return get_ex_board_cable_connect(&o.byte); },
         -1},
        {"get_led_dft_mode", [](Outs &) { return get_led_dft_mode(); }, 0},
        {"clear_ps_aclost_status", [](Outs &) { return clear_ps_aclost_status(1); }, 0},
        {"get_32K_clock_state", [](Outs &o) { return get_32K_clock_state(&o.byte); }, 0},
        {"get_component_mix_status", [](Outs &o) { return get_component_mix_status(&o.byte); }, -1},
        {"rmc_rst_bmc_status", [](Outs &) { return rmc_rst_bmc_status(); }, 0},
        {"set_dimm_size", [](Outs &) { return set_dimm_size(1); }, 0},
        {"get_dimm_size", [](Outs &o) { return get_dimm_size(&o.word); }, 0},
        {"get_expander_power_on", [](Outs &) { return get_expander_power_on(); }, 0},
        {"get_expander_voltage_status",
         [](Outs &o) { return get_expander_voltage_status(&o.byte); }, 0},
        {"renew_panel_led_status", [](Outs &) { return renew_panel_led_status(1); }, 0},
        {"get_dev_slot", [](Outs &o) { return get_dev_slot(0, 0, 0, &o.byte); }, 0},
        {"set_dev_health_status", [](Outs &) { return set_dev_health_status(8, 0, 5); }, -1},
        {"get_dev_all_healthstatus",
         [](Outs &o) { return get_dev_all_healthstatus(8, 0, 0, &o.word); }, -1},
        {"set_dev_event_type", [](Outs &) { return set_dev_event_type(); }, 0},
        {"restore_device_state",
         [](Outs &) {
             restore_device_state(1);
             return 0;
         },
         0},
        {"set_tube_led_status", [](Outs &) { return set_tube_led_status(1, 1); }, -1},
        {"get_max_active_mc_num", [](Outs &o) { return get_max_active_mc_num(&o.word); }, -1},
        {"check_id", [](Outs &) { return check_id(1, 2, 3); }, -2},
        {"get_dimm_slot_by_location", [](Outs &) { return get_dimm_slot_by_location(); }, -2},
        {"get_physical_node_num", [](Outs &o) { return get_physical_node_num(1, &o.word); }, -2},
        {"set_bios_print_flag", [](Outs &) { return set_bios_print_flag(1); }, -10},
        {"get_bios_print_flag", [](Outs &) { return get_bios_print_flag(); }, -10},
    };
    return all;
}

TEST_F(UnsupportedTest, AnswersItsConstantAndTouchesNothing)
{
    EXPECT_EQ(operations().size(), 37U);
    for (const uint8_t pattern : patterns) {
        fill_registers(pattern);
        clear_trace();
        expect_calls(operations());
    }
    for (const uint32_t present : g_dimm_present) {
        EXPECT_EQ(present, 0U);
    }
}

// Nothing is looked at, so nothing need be there.
TEST_F(UnsupportedTest, TakesNullPointers)
{
    expect_calls({
        {"get_memory_health_status", [](Outs &) { return get_memory_health_status(0, nullptr); },
         0},
        {"get_mezz_presence", [](Outs &) { return get_mezz_presence(0, nullptr); }, 0},
        {"get_pcie_presence", [](Outs &) { return get_pcie_presence(0, nullptr); }, 0},
        {"get_dimm_size", [](Outs &) { return get_dimm_size(nullptr); }, 0},
        {"get_max_active_mc_num", [](Outs &) { return get_max_active_mc_num(nullptr); }, -1},
        {"get_physical_node_num", [](Outs &) { return get_physical_node_num(0, nullptr); }, -2},
    });
}

} // namespace
} // namespace board_test
