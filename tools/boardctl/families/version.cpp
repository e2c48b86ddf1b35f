// Versions of the tool, the library and the board's logic.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

enum LogicType : uint32_t { logic_cpld = 0, logic_fpga = 1 };

Value logic_version(LogicType type)
{
    uint8_t version = 0;
    const int result = get_unit_logic_version(0, type, &version);
    return given(result, hex(version));
}

Result version(Context &context)
{
    uint8_t major = 0;
    uint8_t minor = 0;
    context.check("get_drv_lib_version", get_drv_lib_version(&major, &minor));
    char date[16] = "";
    char time[16] = "";
    context.check("get_drv_build_time", get_drv_build_time(date, sizeof(date), time, sizeof(time)));
    return Result()
        .set("tool", text(BOARDCTL_VERSION))
        .set("interface", text(std::to_string(major) + "." + std::to_string(minor)))
        .set("interface_built", text(std::string(date) + " " + time))
        .set("cpld", logic_version(logic_cpld))
        .set("fpga", logic_version(logic_fpga));
}

} // namespace

Family version_family()
{
    return {
        .name = "version",
        .summary = "Versions of the tool, the library and the board's logic",
        .commands = {{.name = "",
                      .summary = "Show all versions; boardctl --version needs no board",
                      .output = {{"",
                                  "",
                                  Block::Layout::fields,
                                  {{"tool", "boardctl", Type::string},
                                   {"interface", "library interface", Type::string},
                                   {"interface_built", "interface stamp", Type::string},
                                   {"cpld", "CPLD", Type::integer, {}, false, true},
                                   {"fpga", "FPGA", Type::integer, {}, false, true}}}},
                      .examples = {{"version", "What is running here?"}},
                      .run = version}},
    };
}

} // namespace boardctl
