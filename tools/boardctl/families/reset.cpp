// Reset lines of the host and of board components, and the system reset flag.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

// Held for as long as this lives; released also when the tool is interrupted.
class HeldReset {
public:
    HeldReset(const Context &context, int32_t component)
        : release_([component] { set_component_reset(component, 0); })
    {
        interrupt::set_state("the reset line was asserted and is released");
        context.check("set_component_reset", set_component_reset(component, 1));
    }

private:
    interrupt::Tidy release_;
};

Result pulse(Context &context)
{
    const HeldReset held(context, context.as<int32_t>("COMPONENT"));
    pause_for(std::chrono::milliseconds(context.number("--hold")));
    return {};
}

Result assert_line(Context &context)
{
    context.check("set_component_reset", set_component_reset(context.as<int32_t>("COMPONENT"), 1));
    return {};
}

Result release_line(Context &context)
{
    context.check("set_component_reset", set_component_reset(context.as<int32_t>("COMPONENT"), 0));
    return {};
}

Result flag(Context &context)
{
    if (context.has("STATE")) {
        context.check("set_system_reset_flag", set_system_reset_flag(context.as<uint8_t>("STATE")));
    }
    uint8_t set = 0;
    context.check("get_system_reset_flag", get_system_reset_flag(&set));
    return Result().set("flag", number(set));
}

const Argument component_argument = {"COMPONENT", "whose reset line; host is component 0",
                                     Word{{{"host", 0, "the host server"},
                                           {"0", 0},
                                           {"1", 1},
                                           {"3", 3},
                                           {"4", 4},
                                           {"5", 5},
                                           {"8", 8},
                                           {"9", 9},
                                           {"10", 10},
                                           {"12", 12},
                                           {"13", 13},
                                           {"14", 14},
                                           {"20", 20}}}};

std::string question(const Arguments &arguments)
{
    const std::string component = arguments.text("COMPONENT");
    return "Reset " + (component == "host" ? "the host" : "component " + component) + "?";
}

} // namespace

Family reset_family()
{
    return {
        .name = "reset",
        .summary = "Reset lines of the host and of board components",
        .commands =
            {
                {.name = "pulse",
                 .summary = "Assert a reset line for a while, then release it",
                 .arguments = {component_argument,
                               {"--hold", "how long the line is asserted", Number{1, 10000, "ms"},
                                false, "100"}},
                 .examples = {{"reset pulse host --yes", "Reset the host"}},
                 .run = pulse,
                 .asks = question},
                {.name = "assert",
                 .summary = "Assert a reset line and leave it so",
                 .arguments = {component_argument},
                 .examples = {{"reset assert 3 --yes", "Hold component 3 in reset"}},
                 .run = assert_line,
                 .asks = question},
                {.name = "release",
                 .summary = "Release a reset line",
                 .arguments = {component_argument},
                 .examples = {{"reset release 3", "Let component 3 run"}},
                 .run = release_line},
                {.name = "flag",
                 .summary = "Show or write the system reset flag",
                 .arguments = {{"STATE", "what to write", Word{{{"0", 0}, {"1", 1}}}, false}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"flag", "system reset flag", Type::integer, "0 or 1"}}}},
                 .examples = {{"reset flag", "Was the system reset?"},
                              {"reset flag 0", "Forget it"}},
                 .run = flag},
            },
    };
}

} // namespace boardctl
