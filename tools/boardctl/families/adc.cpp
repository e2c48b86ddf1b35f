// The analogue-to-digital converter, with the board's battery on it.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint8_t battery_converter = 0;

Result battery(Context &context)
{
    context.check("adc_init", adc_init(battery_converter));
    uint32_t raw = 0;
    context.count("get_battery_voltage", get_battery_voltage(&raw));
    return Result().set("battery", number(raw));
}

} // namespace

Family adc_family()
{
    return {
        .name = "adc",
        .summary = "The battery, as the converter sees it",
        .commands = {{.name = "",
                      .summary = "Sample the battery",
                      .output = {{"",
                                  "",
                                  Block::Layout::fields,
                                  {{"battery", "battery (raw)", Type::integer,
                                    "the converter's code, not scaled"}}}},
                      .examples = {{"adc", "Is the battery alive?"}},
                      .run = battery}},
        .meanings = {{"adc_init", -3, "the converter cannot be opened"},
                     {"get_battery_voltage", -5, "the converter does not answer"}},
    };
}

} // namespace boardctl
