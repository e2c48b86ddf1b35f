// Library frame, CPLD registers and what is made of them, GPIO and bitstream.

#include <fstream>
#include <string>

#include "tests/bringup/staged_file.h"
#include "tests/operations/operation.h"

namespace board_test {

namespace {

using enum Reach;

constexpr const char *once = "opens or closes what every other thread works with";

void start_library(Board &)
{
    ipmc_driver_init();
}
void open_cpld(Board &)
{
    cpld_init();
}
void open_fpga(Board &)
{
    fpga_Init();
}

Setting opening(std::function<long long()> call, Change change, std::function<void()> undo)
{
    return {.name = "",
            .call = std::move(call),
            .change = std::move(change),
            .undo = std::move(undo),
            .started = false};
}

Setting closing(std::function<long long()> call, Change change, std::function<void(Board &)> open)
{
    return {.name = "",
            .call = std::move(call),
            .prepare = std::move(open),
            .change = std::move(change),
            .started = false};
}

Operations device_operations()
{
    return {
        {"ipmc_driver_init",
         calls,
         {opening(with(ipmc_driver_init), {3, 1, {"cpld_open_lock", "fpga_open_lock"}, {}},
                  [] { ipmc_driver_clean(); })},
         once},
        {"ipmc_driver_clean",
         calls,
         {closing(with(ipmc_driver_clean), {-3, -1, {}, {"cpld_open_lock", "fpga_open_lock"}},
                  start_library)},
         once},
        {"cpld_init",
         calls,
         {opening(with(cpld_init), {1, 1, {"cpld_open_lock"}, {}}, [] { cpld_clean(); })},
         once},
        {"cpld_clean",
         calls,
         {closing(with(cpld_clean), {-1, -1, {}, {"cpld_open_lock"}}, open_cpld)},
         once},
        {"fpga_Init",
         calls,
         {opening(with(fpga_Init), {2, 0, {"fpga_open_lock"}, {}}, [] { fpga_clean(); })},
         once},
        {"fpga_clean",
         calls,
         {closing(with(fpga_clean), {-2, 0, {}, {"fpga_open_lock"}}, open_fpga)},
         once},
        ONE(nothing, 0, __delay, 10),
    };
}

Operations register_operations()
{
    return {
        MANY(registers, get_cpld_reg,
             each({0, 255, 256}, [](int reg) { return with(get_cpld_reg, reg, out); })),
        ONE(registers, 0, set_cpld_reg, CPLD_REG_RESERVED_0, 0x5A),
        ONE(registers, 0, dump_cpld_regester, out, 256),
        ONE(nothing, 0, get_cpld_reg_max_num, out),
        ONE(registers, 0, get_cpld_version, out),
        ONE(registers, 0, get_cpld_compile_time, out, out, out, out, out),
        ONE(registers, 0, set_cpld_test_reg_val, 0x12),
        ONE(registers, 0, get_cpld_test_reg_val, out),
        MANY(registers, set_reserved_regester,
             each({0, 1}, [](int index) { return with(set_reserved_regester, index, 3); })),
        MANY(registers, get_reserved_regester,
             each({0, 1}, [](int index) { return with(get_reserved_regester, index, out); })),
        ONE(registers, 0, heartbeat_to_cpld),
        ONE(registers, 0, start_cpld_test),
        ONE(registers, 0, cpld_self_test, out),
    };
}

Operations identity_operations()
{
    LibraryOperation slots =
        MANY(registers, get_slotid_by_cpuid,
             each({1, 2, 3}, [](int index) { return with(get_slotid_by_cpuid, index, out); }));
    slots.settings.push_back({"first", with(get_slotid_by_cpuid, 0, out)});
    return {
        MANY(registers, get_board_id,
             each({0, 2, 3}, [](int which) { return with(get_board_id, which, out); })),
        ONE(registers, 0, get_bom_ver, out),
        MANY(registers, get_pcb_ver,
             each({0, 2, 3}, [](int which) { return with(get_pcb_ver, which, out); })),
        ONE(registers, 0, get_product_id, out),
        ONE(nothing, 0, get_chassis_id, out),
        ONE(nothing, 0, set_extendbomid, 7),
        ONE(nothing, 0, get__extendbomid),
        ONE(registers, 1, get_current_board_type),
        ONE(nothing, 0, get_CPU_type, out),
        slots,
        ONE(nothing, -2, get_MEZZ_slot_by_BDF, 1, 0, 0, out),
        MANY(registers, get_board_present,
             each({0, 1, 6}, [](int which) { return with(get_board_present, which, out); })),
        ONE(registers, 0, get_amc_module_present, 0, out),
        ONE(nothing, 0, get_mac_num),
    };
}

// A row of the board's slot table, and how a lookup is called.
pcie_bdf_slot row_of(uint32_t slot_id)
{
    for (const pcie_bdf_slot &row : g_pcieBDF_forBrava) {
        if (row.slot_id == slot_id) {
            return row;
        }
    }
    return {};
}

Operations pcie_operations()
{
    const pcie_bdf_slot riser = row_of(1);
    const pcie_bdf_slot on_board = row_of(0);
    return {
        ONE(registers, 0, get_pcie_type_by_BDF, riser.bus, riser.device, riser.function, out),
        {"get_pcie_slotid_by_BDF",
         calls,
         {{"riser",
           with(get_pcie_slotid_by_BDF, riser.bus, riser.device, riser.function, out, out2, out3)},
          {"on board", with(get_pcie_slotid_by_BDF, on_board.bus, on_board.device,
                            on_board.function, out, out2, out3)}}},
    };
}

Operations power_operations()
{
    return {
        MANY(calls, set_pwr_button,
             each({1, 0}, [](int val) { return with(set_pwr_button, val); })),
        ONE(registers, 0, get_pwr_button, out),
        MANY(registers, set_power_button_lock,
             each({1, 0}, [](int lock) { return with(set_power_button_lock, lock); })),
        ONE(registers, 0, get_power_button_lock_state, out),
        MANY(registers, get_power_event,
             each({0, 1, 2}, [](int which) { return with(get_power_event, which, out); })),
        ONE(registers, 0, set_power_event, 0, 0),
        MANY(registers, get_button_event,
             each({0, 1}, [](int which) { return with(get_button_event, which, out); })),
        MANY(registers, set_button_event,
             each({0, 1}, [](int which) { return with(set_button_event, which, 0); })),
        ONE(registers, 0, get_power_before_ac_lost, out),
        ONE(registers, 0, clear_power_before_ac_lost, 0),
        ONE(registers, 0, get_chipset_status, 0, out),
        ONE(registers, 0, get_power_status, 0, out),
        ONE(registers, 0, get_acpi_status, out),
        ONE(registers, 0, get_acpi_S4_status, out),
        ONE(registers, 0, get_system_reset_flag, out),
        ONE(registers, 0, set_system_reset_flag, 1),
        ONE(registers, 0, clear_cmos_reg),
        MANY(registers, set_NMI_interrupt,
             each({1, 0}, [](int val) { return with(set_NMI_interrupt, val); })),
        MANY(registers, set_component_reset,
             each({0, 1, 3, 4, 5, 8, 9, 10, 12, 13, 14, 20},
                  [](int component) { return with(set_component_reset, component, 0); })),
        ONE(nothing, 0, get_handle_switch_status, 0, 0, out),
        ONE(nothing, 0, get_onboard_power_status, 0, out),
    };
}

Operations fault_operations()
{
    return {
        MANY(registers, get_cpu_status,
             each({0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 14, 15, 16, 17},
                  [](int type) { return with(get_cpu_status, 1, type, out); })),
        MANY(registers, clear_cpu_thermaltrip,
             each({0, 1}, [](int cpu) { return with(clear_cpu_thermaltrip, cpu); })),
        MANY(registers, get_cpu_generation,
             each({0, 1}, [](int cpu) { return with(get_cpu_generation, cpu, out); })),
        ONE(registers, 0, get_iio_reg, out),
        ONE(registers, 0, clear_mcerr_reg),
        MANY(registers, set_hot_ctrl,
             each({0, 1, 2, 3, 4}, [](int output) { return with(set_hot_ctrl, output, 0); })),
        MANY(registers, get_memory_event,
             each({0, 1}, [](int group) { return with(get_memory_event, group, 3, out); })),
        ONE(nothing, 0, get_fdm_ierr_info, out),
        ONE(nothing, 0, get_fdm_ierr_parase, out),
        ONE(nothing, 0, get_fdm_mce_info, out),
        ONE(nothing, 0, set_fdm_ierr_info, 1),
        ONE(nothing, 0, set_fdm_ierr_parase, 1),
        ONE(nothing, 0, set_fdm_mce_info, 1),
        ONE(nothing, 0, resore_fdm_ierr_info, out),
        ONE(nothing, 0, resore_fdm_ierr_parase, out),
    };
}

Operations led_and_disk_operations()
{
    return {
        MANY(registers, set_led_status,
             each({0, 4, 2, 5, 192}, [](int led) { return with(set_led_status, 0, led, 2, 1); })),
        MANY(registers, get_led_status,
             each({0, 4, 2, 5, 192},
                  [](int led) { return with(get_led_status, 0, led, out, out2); })),
        MANY(registers, set_bios_wp,
             each({1, 0}, [](int protect) { return with(set_bios_wp, 0, protect); })),
        ONE(registers, 0, get_bios_wp, 0, out),
        ONE(registers, 0, set_bios_sw_n_wp),
        ONE(registers, 0, clear_bios_sw_n_wp),
        MANY(registers, set_bios_owner,
             each({1, 0}, [](int owner) { return with(set_bios_owner, owner); })),
        ONE(registers, 0, get_bios_owner, out),
        {"get_disk_status",
         registers,
         {{"P", with(get_disk_status, 0, 0, out)},
          {"F", with(get_disk_status, 0, 1, out)},
          {"V, not stable yet", with(get_disk_status, 0, 2, out), -14},
          {"R", with(get_disk_status, 0, 3, out)},
          {"V of an absent disk", with(get_disk_status, 3, 6, out), -14},
          {"all", with(get_disk_status, 0, 7, out)}}},
    };
}

Operations serial_operations()
{
    return {
        ONE(registers, 0, get_host_serial_connection, out),
        ONE(registers, 0, get_panel_serial_connection, out),
        ONE(registers, 0, get_sol_serial_connection, out),
        MANY(registers, set_host_serial_connection,
             each({0, 3, 4}, [](int dest) { return with(set_host_serial_connection, dest); })),
        ONE(registers, 0, set_panel_serial_connection, 3),
        ONE(registers, 0, set_sol_serial_connection, 3),
        ONE(registers, 0, get_third_party_serial_connection, out),
        MANY(registers, set_third_party_serial_connection,
             each({1, 2}, [](int dest) { return with(set_third_party_serial_connection, dest); })),
        MANY(registers, set_serial_dir,
             each({0, 1}, [](int which) { return with(set_serial_dir, which, 0x11); })),
        MANY(registers, get_serial_dir,
             each({0, 1}, [](int which) { return with(get_serial_dir, which, out); })),
        MANY(registers, get_HDD_backplane_port_connection,
             each({0, 1, 2},
                  [](int port) { return with(get_HDD_backplane_port_connection, port, out); })),
        MANY(registers, set_SAS_cable_led_status,
             each({0, 1, 2}, [](int cable) { return with(set_SAS_cable_led_status, cable, 1); })),
    };
}

constexpr size_t bitstream_size = 4500; // three transfers, the last one shorter

// Loads of all processes share one staged file.
void put_bitstream(Board &)
{
    static const StagedFile staged;
    std::ofstream file(work_directory() + "/card.bit", std::ios::binary);
    file << std::string(bitstream_size, '\x5A');
}

Operations gpio_operations()
{
    static const std::string bitstream = work_directory() + "/card.bit";
    return {
        ONE(calls, 0, gpio_init),
        ONE(nothing, 0, gpio_clean),
        MANY(calls, set_heart_beat_led,
             {{"on", with(set_heart_beat_led, "1")}, {"off", with(set_heart_beat_led, "0")}}),
        ONE(calls, 0, blink_heart_beat_led),
        {"get_file_length",
         calls,
         {{.name = "",
           .call = with(get_file_length, board_file),
           .good = 100,
           .prepare = [](Board &board) { put_board_file(board, std::vector<uint8_t>(100)); }}}},
        {"load_fpga",
         calls,
         {{.name = "",
           .call = [] { return load_fpga(bitstream.c_str()); },
           .prepare = put_bitstream,
           .change = {.descriptors = 1}}},
         "leaves one more descriptor open with every call"},
    };
}

} // namespace

Operations frame_operations()
{
    Operations joined;
    for (const auto table : {device_operations, register_operations, identity_operations,
                             pcie_operations, power_operations, fault_operations,
                             led_and_disk_operations, serial_operations, gpio_operations}) {
        for (LibraryOperation &operation : table()) {
            joined.push_back(std::move(operation));
        }
    }
    return joined;
}

} // namespace board_test
