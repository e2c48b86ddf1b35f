// Which board it is, and where it sits.

#include <board_hal.h>
#include <stdio.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

Value byte_of(int (*get)(uint8_t *))
{
    uint8_t value = 0;
    const int result = get(&value);
    return given(result, hex(value));
}

Value board_id(uint32_t board)
{
    uint8_t id = 0;
    const int result = get_board_id(board, &id);
    return given(result, hex(id));
}

Value pcb_version(uint32_t board)
{
    uint8_t version = 0;
    const int result = get_pcb_ver(board, &version);
    return given(result, letter(version));
}

Value board_present(int32_t board)
{
    uint8_t present = 0;
    const int result = get_board_present(board, &present);
    return given(result, yes_no(present == 1));
}

Value bom_id()
{
    uint8_t bom = 0;
    const int result = get_bom_ver(&bom);
    return given(result, number(bom));
}

Value compile_time()
{
    uint8_t time[5] = {};
    const int result = get_cpld_compile_time(&time[0], &time[1], &time[2], &time[3], &time[4]);
    char digits[24];
    snprintf(digits, sizeof(digits), "%02X%02X-%02X-%02X %02X h", time[0], time[1], time[2],
             time[3], time[4]);
    return given(result, text(digits));
}

Value amc_modules()
{
    uint8_t modules = 0;
    const int result = get_amc_module_present(0, &modules);
    return given(result, hex(modules));
}

Value parity()
{
    const int result = get_slot_id_checksum();
    return result == -1 ? text("bad") : given(result, text("good"));
}

} // namespace

Table identity()
{
    List list("identity", "Identity");
    list.add("board_type", "node type", text(is_corvo_node() ? "Corvo" : "Brava"));
    list.add("bom_id", "BOM id", bom_id());
    list.add("extended_bom_id", "extended BOM id", number(get__extendbomid()));
    list.add("product_id", "product id", byte_of(get_product_id));
    list.add("board_id", "board id", board_id(0));
    list.add("pcb_version", "PCB version", pcb_version(0));
    list.add("board_2_id", "board 2: id", board_id(2));
    list.add("board_2_pcb_version", "board 2: PCB version", pcb_version(2));
    list.add("board_3_id", "board 3: id", board_id(3));
    list.add("board_3_pcb_version", "board 3: PCB version", pcb_version(3));
    list.add("board_6_present", "board 6: present", board_present(6));
    list.add("amc_modules", "AMC modules", amc_modules());
    list.add("cpld_version", "CPLD version", byte_of(get_cpld_version));
    list.add("cpld_compiled", "CPLD compiled", compile_time());
    list.add("fpga_version", "FPGA version", byte_of(get_fpga_version));
    return list.table();
}

Table slot()
{
    uint8_t number_in_chassis = 0;
    const int slot_result = get_slot_id(&number_in_chassis);
    uint8_t seated = 0;
    const int seated_result = get_board_insert(&seated);

    List list("slot", "Slot in the chassis");
    list.add("slot", "slot", given(slot_result, number(number_in_chassis)));
    list.add("parity", "parity of the slot byte", parity());
    list.add("seated", "board seated", given(seated_result, yes_no(seated == 1)));
    list.add("base_board_id", "base board id", byte_of(get_base_board_id));
    list.add("blade_pcb_version", "blade PCB version", byte_of(get_blade_pcb_ver));
    return list.table();
}

} // namespace board_inventory
