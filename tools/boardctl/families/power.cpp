// Host power, as the power button and the CPLD's power lines tell it.

#include <board_hal.h>

#include "boardctl/families/button_press.h"
#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr uint32_t the_host = 0;
constexpr uint32_t event_count = 3;
constexpr milliseconds short_press(200);
// Longer than a host takes to cut its power under a held button.
constexpr seconds long_press_limit(10);
constexpr milliseconds off_before_on(1000);

bool host_is_on(const Context &context)
{
    uint8_t on = 0;
    context.check("get_power_status", get_power_status(the_host, &on));
    return on == 1;
}

void wait_for_power(const Context &context, bool on)
{
    const seconds timeout(context.number("--timeout"));
    if (!wait_until(timeout, [&] { return host_is_on(context) == on; })) {
        throw Trouble("the host's power did not go " + std::string(on ? "on" : "off") + " within " +
                      std::to_string(timeout.count()) + " s");
    }
}

Result outcome(const Context &context, bool changed)
{
    return Result().set("power", on_off(host_is_on(context))).set("changed", yes_no(changed));
}

void press_briefly(const Context &context)
{
    const ButtonPress press(context);
    pause_for(short_press);
}

void switch_on(const Context &context)
{
    press_briefly(context);
    interrupt::set_state("the power button was pressed; the host's power may still go on");
    wait_for_power(context, true);
}

void force_off(const Context &context)
{
    const ButtonPress press(context);
    wait_until(long_press_limit, [&context] { return !host_is_on(context); });
}

Result status(Context &context)
{
    Result result;
    uint8_t acpi = 0;
    result.set("power", on_off(host_is_on(context)));
    context.check("get_acpi_status", get_acpi_status(&acpi));
    result.set("acpi_state", number(acpi));
    const struct {
        const char *field;
        const char *operation;
        int (*get)(uint8_t *);
    } bits[] = {
        {"acpi_s4", "get_acpi_S4_status", get_acpi_S4_status},
        {"reset_flag", "get_system_reset_flag", get_system_reset_flag},
        {"on_before_ac_loss", "get_power_before_ac_lost", get_power_before_ac_lost},
    };
    for (const auto &bit : bits) {
        uint8_t value = 0;
        context.check(bit.operation, bit.get(&value));
        result.set(bit.field, yes_no(value == 1));
    }
    uint8_t chipset = 0;
    context.check("get_chipset_status", get_chipset_status(0, &chipset));
    result.set("chipset", number(chipset));
    std::vector<int64_t> events;
    for (uint32_t which = 0; which < event_count; ++which) {
        uint8_t event = 0;
        context.check("get_power_event", get_power_event(which, &event));
        events.push_back(event);
    }
    return result.set("events", series(events));
}

Result on(Context &context)
{
    const bool changes = !host_is_on(context);
    if (changes) {
        switch_on(context);
    }
    return outcome(context, changes);
}

Result off(Context &context)
{
    const bool changes = host_is_on(context);
    if (changes && context.flag("--force")) {
        force_off(context);
        wait_for_power(context, false);
    } else if (changes) {
        press_briefly(context);
        interrupt::set_state("the power button was pressed; the host may still shut down");
        wait_for_power(context, false);
    }
    return outcome(context, changes);
}

Result cycle(Context &context)
{
    if (host_is_on(context)) {
        force_off(context);
        wait_for_power(context, false);
        interrupt::set_state("the host is off");
        pause_for(off_before_on);
    }
    switch_on(context);
    return outcome(context, true);
}

Result clear_event(Context &context)
{
    context.check("set_power_event", set_power_event(0, 0));
    return {};
}

Result ac_loss(Context &context)
{
    const auto state = context.as<uint8_t>("STATE");
    context.check("clear_power_before_ac_lost", clear_power_before_ac_lost(state));
    return {};
}

const Argument timeout_argument = {"--timeout", "how long to wait for the host's power",
                                   Number{1, 600, "s"}, false, "10"};

const std::vector<Block> outcome_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {{"power", "power", Type::boolean, "whether the host is on now"},
      {"changed", "changed", Type::boolean, "whether the command did anything"}}}};

} // namespace

Family power_family()
{
    return {
        .name = "power",
        .summary = "Host power: see it, switch it",
        .description =
            "The host is switched by its power button, as a person would do it. A locked "
            "button is unlocked for the press.",
        .commands =
            {
                {.name = "status",
                 .summary = "Show the host's power, ACPI state and power events",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"power", "power", Type::boolean, "whether the host is on"},
                              {"acpi_state", "ACPI state", Type::integer, "0 on, 4 off"},
                              {"acpi_s4", "ACPI S4", Type::boolean},
                              {"chipset", "chipset status", Type::integer, "0 or 1"},
                              {"reset_flag", "system reset flag", Type::boolean},
                              {"on_before_ac_loss", "on before AC loss", Type::boolean},
                              {"events", "power events 0 to 2", Type::integers,
                               "latched events, 0 or 1 each"}}}},
                 .examples = {{"power status", "Is the host on?"}},
                 .run = status},
                {.name = "on",
                 .summary = "Switch the host on and wait until it is",
                 .arguments = {timeout_argument},
                 .output = outcome_blocks,
                 .examples = {{"power on", "Switch the host on"}},
                 .run = on},
                {.name = "off",
                 .summary = "Ask the host to shut down and wait until it is off",
                 .arguments = {{"--force",
                                "hold the button until the power is cut; the host does "
                                "not get to shut down",
                                Flag{}, false},
                               timeout_argument},
                 .output = outcome_blocks,
                 .examples = {{"power off --yes", "Shut the host down without being asked"}},
                 .run = off,
                 .asks = [](const Arguments &arguments) -> std::string {
                     return arguments.flag("--force") ? "Cut the host's power?"
                                                      : "Shut the host down?";
                 }},
                {.name = "cycle",
                 .summary = "Cut the host's power, wait a second and switch it on",
                 .arguments = {timeout_argument},
                 .output = outcome_blocks,
                 .examples = {{"power cycle --yes", "Power the host off and on"}},
                 .run = cycle,
                 .asks = always("Cut the host's power and switch it on again?")},
                {.name = "clear-event",
                 .summary = "Clear power event 0",
                 .examples = {{"power clear-event", "Forget that the power changed"}},
                 .run = clear_event},
                {.name = "ac-loss",
                 .summary = "Set whether the host was on when AC was lost",
                 .arguments = {{"STATE", "what is remembered", Word{{{"on", 1}, {"off", 0}}}}},
                 .examples = {{"power ac-loss on", "Remember that the host was on"}},
                 .run = ac_loss},
            },
    };
}

} // namespace boardctl
