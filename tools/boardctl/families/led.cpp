// LEDs of the panel, the board, the SAS cables and the controller itself.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/leds.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

Result list(Context &)
{
    Result result;
    for (const Led &led : board_leds) {
        result.row("leds", led_row(led));
    }
    return result;
}

Result set(Context &context)
{
    context.check("set_led_status",
                  set_led_status(this_fru, context.as<int32_t>("LED"),
                                 context.as<uint8_t>("--colour"), context.as<uint8_t>("STATE")));
    return {};
}

Result set_sas(Context &context)
{
    context.check(
        "set_SAS_cable_led_status",
        set_SAS_cable_led_status(context.as<uint8_t>("CABLE"), context.as<uint8_t>("STATE")));
    return {};
}

Result set_heartbeat(Context &context)
{
    const char *const level = context.number("STATE") == 1 ? "1" : "0";
    context.check("set_heart_beat_led", set_heart_beat_led(level));
    return {};
}

const Argument state_argument = {"STATE", "what it becomes", Word{{{"on", 1}, {"off", 0}}}};

} // namespace

Family led_family()
{
    return {
        .name = "led",
        .summary = "LEDs of the panel, the board and the SAS cables",
        .commands =
            {
                {.name = "list",
                 .summary = "Show the LEDs of panel and board",
                 .output = {{"leds",
                             "LEDs",
                             Block::Layout::rows,
                             {{"led", "LED", Type::integer},
                              {"colour", "colour", Type::integer, "colour code", false, true},
                              {"state", "state", Type::integer,
                               "as the library tells it: 0 is lit for LEDs 0, 4 and 5", false,
                               true},
                              {"lit", "lit", Type::boolean, "whether it is lit", false, true}}}},
                 .examples = {{"led list", "Which LEDs are lit?"}},
                 .run = list},
                {.name = "set",
                 .summary = "Switch a LED of panel or board",
                 .arguments = {{"LED", "number of the LED; 0 and 4 are the same",
                                Word{{{"0", 0}, {"2", 2}, {"4", 4}, {"5", 5}, {"192", 192}}}},
                               state_argument,
                               {"--colour",
                                "colour code; only LED 2 looks at it, when it is switched off",
                                Number{0, 6}, false, "0"}},
                 .examples = {{"led set 5 on", "Light LED 5"}},
                 .run = set},
                {.name = "set-sas",
                 .summary = "Write the LED bit of a SAS cable",
                 .arguments = {{"CABLE", "number of the cable", Number{0, 2}}, state_argument},
                 .examples = {{"led set-sas 1 on", "Set the bit of cable 1"}},
                 .run = set_sas},
                {.name = "set-heartbeat",
                 .summary = "Switch the line of the controller's heartbeat LED",
                 .arguments = {state_argument},
                 .examples = {{"led set-heartbeat on", "Set the line"}},
                 .run = set_heartbeat},
            },
        .meanings = {{"set_SAS_cable_led_status", 255, "there is no such cable"}},
    };
}

} // namespace boardctl
