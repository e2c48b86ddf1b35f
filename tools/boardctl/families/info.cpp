// Which board this is, at a glance.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint32_t corvo_node = 2;
constexpr uint32_t this_board = 0;

Value as_letter(uint32_t value)
{
    return text(std::string(1, static_cast<char>(value)));
}

Value compile_time()
{
    uint8_t time[5] = {};
    const int result = get_cpld_compile_time(&time[0], &time[1], &time[2], &time[3], &time[4]);
    std::string digits;
    for (const uint8_t two : time) {
        digits += hex(two).shown.substr(2);
    }
    return given(result, text(digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" +
                              digits.substr(6, 2) + " " + digits.substr(8) + " h"));
}

Value cpus_present()
{
    int64_t count = 0;
    for (int32_t cpu = 0; cpu < 2; ++cpu) {
        uint8_t present = 0;
        const int result = get_cpu_status(cpu, 1, &present);
        if (result != 0) {
            return refusal(result);
        }
        count += present;
    }
    return number(count);
}

Result info(Context &)
{
    return Result()
        .set("node_type", text(get_current_board_type() == corvo_node ? "Corvo" : "Brava"))
        .set("bom_id", read_value(get_bom_ver, as_number))
        .set("product_id", read_value(get_product_id, as_hex))
        .set("board_id", read_value(get_board_id, this_board, as_hex))
        .set("pcb_version", read_value(get_pcb_ver, this_board, as_letter))
        .set("cpld_version", read_value(get_cpld_version, as_hex))
        .set("cpld_compiled", compile_time())
        .set("fpga_version", read_value(get_fpga_version, as_hex))
        .set("slot", read_value(get_slot_id, as_number))
        .set("seated", read_value(get_board_insert, as_yes_no))
        .set("cpus", cpus_present())
        .set("power", [] {
            uint8_t on = 0;
            const int result = get_power_status(0, &on);
            return given(result, on_off(on == 1));
        }());
}

Field refusable(const std::string &key, const std::string &heading, Type type,
                const std::string &help = {})
{
    return {key, heading, type, help, false, true};
}

} // namespace

Family info_family()
{
    return {
        .name = "info",
        .summary = "Which board this is, at a glance",
        .commands = {{.name = "",
                      .summary = "Show what the board is and whether its host is on",
                      .output = {{"",
                                  "",
                                  Block::Layout::fields,
                                  {{"node_type", "node type", Type::string, "Brava or Corvo"},
                                   refusable("bom_id", "BOM id", Type::integer),
                                   refusable("product_id", "product id", Type::integer),
                                   refusable("board_id", "board id", Type::integer),
                                   refusable("pcb_version", "PCB version", Type::string,
                                             "a letter, A is the first"),
                                   refusable("cpld_version", "CPLD version", Type::integer),
                                   refusable("cpld_compiled", "CPLD compiled", Type::string,
                                             "compile time of the CPLD's program"),
                                   refusable("fpga_version", "FPGA version", Type::integer),
                                   refusable("slot", "slot", Type::integer, "in the chassis"),
                                   refusable("seated", "board seated", Type::boolean),
                                   refusable("cpus", "CPUs present", Type::integer),
                                   refusable("power", "host power", Type::boolean,
                                             "whether the host is on")}}},
                      .examples = {{"info", "What board is this?"},
                                   {"--personality corvo-8 info", "Another virtual board"}},
                      .run = info}},
    };
}

} // namespace boardctl
