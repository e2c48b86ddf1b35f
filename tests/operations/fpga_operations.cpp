// Everything behind the FPGA's driver, the I2C adapter, the RTC and the ADC.

#include "tests/operations/operation.h"

namespace board_test {

namespace {

using enum Reach;

constexpr const char *opens_again = "opens a device that every other thread works with";

const uint8_t bytes[] = {0x00, 0x10, 1, 2, 3, 4, 5, 6};

Operations handle_operations()
{
    return {
        {"rtc_init",
         calls,
         {{.name = "", .call = with(rtc_init), .change = {.descriptors = 1}}},
         opens_again},
        ONE(calls, 0, fpga_start),
        ONE(calls, 0, get_fpga_version, out),
        ONE(calls, 0, get_fpga_selftest, out),
        ONE(calls, 0, get_fpga_ddr_state, out),
        ONE(calls, 0, set_fpga_ddr_test_start),
        ONE(calls, 0, set_fpga_com_state, 1),
    };
}

Operations fpga_register_operations()
{
    return {
        ONE(calls, 0, set_fpga_regester, 0x1C0, out),
        ONE(calls, 0, get_fpga_regester, 0x1C0, out),
        ONE(calls, 0, set_fpga_reg_board_id, 1),
        ONE(calls, 0, set_fpga_reg_psu_presenece, 1),
        ONE(calls, 0, set_fpga_reg_read_power_enable, 1),
        ONE(calls, 0, set_fpga_reg_psu_active_standby, 1),
        ONE(calls, 0, set_fpga_reg_me_addr, 1),
        ONE(calls, 0, set_fpga_reg_ina220_addr, 1),
        ONE(calls, 0, set_fpga_reg_resistance_param, 1),
        ONE(calls, 0, get_jiffies, out),
        ONE(calls, 0, clear_hardware_watchdog),
        ONE(calls, 0, stop_hardware_watchdog),
        ONE(calls, 0, reset_cpld_jtag),
        ONE(registers, 0, get_sas_card_status, out),
    };
}

Operations i2c_operations()
{
    return {
        {"i2c_read",
         calls,
         {{"FPGA channel", with(i2c_read, 0, 0xA0, out, 4, 5), 4},
          {"adapter", with(i2c_read, 2, 0xA0, out, 4, 5), 4}}},
        {"i2c_write_read",
         calls,
         {{"FPGA channel", with(i2c_write_read, 0, 0xA0, bytes, 2, out, 4, 5), 4},
          {"adapter", with(i2c_write_read, 2, 0xA0, bytes, 2, out, 4, 5), 4}}},
        {"i2c_write",
         calls,
         {{"FPGA channel", with(i2c_write, 0, 0xA0, bytes, 4, 5), 4},
          {"adapter", with(i2c_write, 2, 0xA0, bytes, 4, 5), 2}}},
        MANY(calls, i2c_reset, each({0, 1}, [](int chan) { return with(i2c_reset, chan); })),
        MANY(calls, get_i2c_status,
             each({0, 1}, [](int chan) { return with(get_i2c_status, chan, out); })),
        MANY(calls, get_i2c_bus_status,
             each({0, 1}, [](int chan) { return with(get_i2c_bus_status, chan, out); })),
        ONE(nothing, 0, get_max_i2c_num, out),
        {"read_eeprom_data",
         calls,
         {{"FPGA channel", with(read_eeprom_data, 0, 0xA0, bytes, 2, out, 4, 5), 4},
          {"adapter", with(read_eeprom_data, 2, 0xA0, bytes, 2, out, 4, 5), 4}}},
        {"write_eeprom_data",
         calls,
         {{"FPGA channel", with(write_eeprom_data, 0, 0xA0, bytes, 4, 5), 4},
          {"adapter", with(write_eeprom_data, 2, 0xA0, bytes, 4, 5), 2}}},
        ONE(calls, 0, read_temp_inlet, 1, out),
        ONE(nothing, 0, get_temp_rise, 0, out),
    };
}

// A message of five bytes waits.
void neighbour_sends(Board &board, unsigned channel)
{
    board.act([&] { board.ipmb().send(channel, {1, 2, 3, 4, 5}); });
}

Operations ipmb_operations()
{
    return {
        {"ipmb_read",
         calls,
         {{.name = "",
           .call = with(ipmb_read, out, 64, out2, 0),
           .good = 5,
           .prepare = [](Board &board) { neighbour_sends(board, 1); }}}},
        {"ipmb_sm_read",
         calls,
         {{.name = "",
           .call = with(ipmb_sm_read, out, 64, out2, 0),
           .good = 5,
           .prepare = [](Board &board) { neighbour_sends(board, 2); }}}},
        MANY(calls, ipmb_write,
             each(
                 {0, 1}, [](int chan) { return with(ipmb_write, chan, bytes, 8, 0); }, 13)),
        ONE(calls, 13, ipmb_sm_write, 2, bytes, 8, 0),
        MANY(calls, ipmb_reset, each({0, 1}, [](int chan) { return with(ipmb_reset, chan); })),
        ONE(calls, 0, ipmb_sm_reset, 2),
        MANY(calls, get_ipmb_status,
             each({0, 1}, [](int chan) { return with(get_ipmb_status, chan, out); })),
        ONE(calls, 0, get_ipmb_sm_status, 2, out),
        ONE(calls, 0, get_ipmb_addr_config, out),
        ONE(calls, 0, get_ipmb_sm_addr_config, out),
        ONE(calls, 0, set_ipmb_addr_config, 0x22, 0),
        ONE(calls, 0, set_ipmb_sm_addr_config, 0x22, 0),
        MANY(calls, get_ipmb_enable,
             each({0, 1}, [](int chan) { return with(get_ipmb_enable, chan, out); })),
        MANY(calls, set_ipmb_enable,
             each({0, 1, 2}, [](int chan) { return with(set_ipmb_enable, chan, 1); })),
        ONE(calls, 0, ipmb_l_reset, 0),
        ONE(calls, 0, get_ipmb_l_status, 0, out),
        ONE(calls, 0, get_ipmb_l_addr_config, out),
        ONE(calls, 0, set_ipmb_l_addr_config, 0x22, 0),
        ONE(calls, 0, set_ipmb_l_enable, 0, 1),
    };
}

// One request of the host waits, and no more.
void host_asks(Board &board, virtual_board::HostInterface &side)
{
    board.act([&] {
        if (!side.request_pending()) {
            side.send({0x18, 0x01, 0x02});
        }
    });
}

Operations host_operations()
{
    const auto kcs_asks = [](Board &board) { host_asks(board, board.host().kcs); };
    const auto bt_asks = [](Board &board) { host_asks(board, board.host().bt); };
    // The interface is idle once the request has been taken.
    const auto kcs_took = [](Board &board) {
        host_asks(board, board.host().kcs);
        kcs_read(scratch(), 100);
    };
    const auto bt_took = [](Board &board) {
        host_asks(board, board.host().bt);
        bt_read(scratch(), 252);
    };
    return {
        ONE(calls, 0, get_bt_status, 0, out),
        ONE(calls, 0, get_kcs_status, 0, out),
        ONE(calls, 0, set_bt_status, 0, 4),
        ONE(calls, 0, set_kcs_status, 0, 4),
        {"bt_read", calls, {{"", with(bt_read, out, 252), 3, bt_asks}}},
        {"kcs_read", calls, {{"", with(kcs_read, out, 100), 3, kcs_asks}}},
        {"bt_write", calls, {{"", with(bt_write, out, 8), 8, bt_took}}},
        {"kcs_write", calls, {{"", with(kcs_write, bytes, 8), 10, kcs_took}}},
        ONE(calls, 16, reserved_ram_read, 32, out, 16),
        ONE(calls, 8, reserved_ram_write, 32, bytes, 8),
    };
}

// The host has printed, and a fetch is under way.
void host_prints(Board &board)
{
    board.act([&] { board.sol().print("0123456789"); });
}

void host_crashes(Board &board)
{
    set_blackbox_status(1);
    board.act([&] { board.black_box().crash({1, 2, 3, 4, 5, 6, 7, 8}); });
}

Operations stream_operations()
{
    return {
        {"get_sol_data_length", calls, {{"", with(get_sol_data_length, out), 0, host_prints}}},
        {"get_sol_data_prepare",
         calls,
         {{"", with(get_sol_data_prepare, out, out2), 0, host_prints}}},
        ONE(calls, 0, get_sol_data, out),
        ONE(calls, 0, set_sol_data_done),
        {"get_blackbox_data_prepare",
         calls,
         {{"", with(get_blackbox_data_prepare, 0, 0), 0, host_crashes}}},
        ONE(calls, 0, get_blackbox_data, out),
        ONE(calls, 0, set_blackbox_data_done),
        {"get_blackbox_data_lenth",
         calls,
         {{"", with(get_blackbox_data_lenth, out), 0, host_crashes}}},
        MANY(calls, set_blackbox_status,
             each({0, 1}, [](int enable) { return with(set_blackbox_status, enable); })),
        ONE(calls, 0, get_blackbox_status, out),
    };
}

void open_rtc(Board &)
{
    if (dev_handle_rtc == 0) {
        rtc_init();
    }
}
void open_adc(Board &)
{
    adc_init(0);
}

Operations clock_operations()
{
    const auto read_clock = [] {
        time_t t = 0;
        return static_cast<long long>(get_rtc_time(&t));
    };
    return {
        ONE(calls, 0, peci_init),
        MANY(calls, peci_read,
             each(
                 {0, 19}, [](int reg) { return with(peci_read, reg, out); }, 1)),
        {"get_rtc_time", calls, {{"", read_clock, 0, open_rtc, true}}},
        {"set_rtc_time", calls, {{"", with(set_rtc_time, 1600000000), 0, open_rtc, true}}},
        {"synch_rtc_to_sys", calls, {{"", with(synch_rtc_to_sys), 0, open_rtc, true}}},
        {"adc_init",
         calls,
         {{.name = "",
           .call = with(adc_init, 0),
           .change = {.descriptors = 1},
           .undo = [] { dev_handle_adc = 0; }}},
         opens_again},
        {"get_battery_voltage", calls, {{"", with(get_battery_voltage, out), 2, open_adc, true}}},
    };
}

Operations slot_operations()
{
    return {
        ONE(calls, 0, get_slot_id, out),
        ONE(calls, 0, get_slot_id_checksum),
        ONE(calls, 0, get_board_insert, out),
        ONE(calls, 0, get_base_board_id, out),
        ONE(calls, 0, get_blade_pcb_ver, out),
        ONE(calls, 0, get_port80_offset, out),
        {"get_port80_data",
         calls,
         {{"", with(get_port80_data, 16, out), 16,
           [](Board &board) {
               board.act([&] {
                   for (uint8_t code = 0; code < 16; ++code) {
                       board.slot().post(code);
                   }
               });
           }}}},
        ONE(calls, 0, set_hdd_card_type, 1),
        ONE(calls, 0, hdd_led_test, 1),
        ONE(calls, 0, get_raid_board_id, out),
        ONE(calls, 0, get_raid_pcb_ver, out),
    };
}

} // namespace

Operations fpga_operations()
{
    Operations joined;
    for (const auto table :
         {handle_operations, fpga_register_operations, i2c_operations, ipmb_operations,
          host_operations, stream_operations, clock_operations, slot_operations}) {
        for (LibraryOperation &operation : table()) {
            joined.push_back(std::move(operation));
        }
    }
    return joined;
}

} // namespace board_test
