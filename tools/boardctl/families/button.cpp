// The host's power button: its line, its lock and its events.

#include <board_hal.h>

#include "boardctl/families/button_press.h"
#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

Result status(Context &context)
{
    uint8_t pressed = 0;
    context.check("get_pwr_button", get_pwr_button(&pressed));
    uint8_t locked = 0;
    context.check("get_power_button_lock_state", get_power_button_lock_state(&locked));
    std::vector<int64_t> events;
    for (uint32_t which = 0; which < 2; ++which) {
        uint8_t event = 0;
        context.check("get_button_event", get_button_event(which, &event));
        events.push_back(event);
    }
    return Result()
        .set("pressed", yes_no(pressed == 1))
        .set("locked", yes_no(locked == 1))
        .set("events", series(events));
}

Result press(Context &context)
{
    const ButtonPress held(context);
    pause_for(std::chrono::milliseconds(context.number("--hold")));
    return {};
}

Result lock(Context &context)
{
    context.check("set_power_button_lock", set_power_button_lock(1));
    return {};
}

Result unlock(Context &context)
{
    context.check("set_power_button_lock", set_power_button_lock(0));
    return {};
}

Result clear_event(Context &context)
{
    context.check("set_button_event", set_button_event(context.as<int32_t>("EVENT"), 0));
    return {};
}

} // namespace

Family button_family()
{
    return {
        .name = "button",
        .summary = "The host's power button",
        .commands =
            {
                {.name = "status",
                 .summary = "Show the button's line, lock and events",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"pressed", "pressed", Type::boolean},
                              {"locked", "locked", Type::boolean},
                              {"events", "button events 0 and 1", Type::integers,
                               "latched events, 0 or 1 each"}}}},
                 .examples = {{"button status", "Is the button locked?"}},
                 .run = status},
                {.name = "press",
                 .summary = "Press the button and release it",
                 .description = "What the press does is the host's affair: see boardctl power. A "
                                "locked button is unlocked for the press.",
                 .arguments = {{"--hold", "how long the button is held", Number{1, 30000, "ms"},
                                false, "200"}},
                 .examples = {{"button press --yes", "A short press"}},
                 .run = press,
                 .asks = always("Press the host's power button?")},
                {.name = "lock",
                 .summary = "Lock the button, for people too",
                 .examples = {{"button lock", "Nobody may switch the host"}},
                 .run = lock},
                {.name = "unlock",
                 .summary = "Unlock the button",
                 .examples = {{"button unlock", "People may switch the host"}},
                 .run = unlock},
                {.name = "clear-event",
                 .summary = "Clear a latched button event",
                 .arguments = {{"EVENT", "which event", Number{0, 1}}},
                 .examples = {{"button clear-event 0", "Forget that the button was pressed"}},
                 .run = clear_event},
            },
    };
}

} // namespace boardctl
