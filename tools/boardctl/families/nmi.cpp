// The NMI request line to the host.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr std::chrono::milliseconds request_time(10);

Result send(Context &context)
{
    {
        const interrupt::Tidy drop_again([] { set_NMI_interrupt(0); });
        interrupt::set_state("the NMI request was raised and is dropped");
        context.check("set_NMI_interrupt", set_NMI_interrupt(1));
        pause_for(request_time);
    }
    return {};
}

Result raise(Context &context)
{
    context.check("set_NMI_interrupt", set_NMI_interrupt(1));
    return {};
}

Result drop(Context &context)
{
    context.check("set_NMI_interrupt", set_NMI_interrupt(0));
    return {};
}

const std::string question = "Interrupt the host with an NMI?";

} // namespace

Family nmi_family()
{
    return {
        .name = "nmi",
        .summary = "Interrupt the host, which usually makes it dump and stop",
        .commands =
            {
                {.name = "send",
                 .summary = "Raise the NMI request and drop it again",
                 .examples = {{"nmi send --yes", "Make a hanging host dump"}},
                 .run = send,
                 .asks = always(question)},
                {.name = "raise",
                 .summary = "Raise the NMI request and leave it so",
                 .examples = {{"nmi raise --yes", "Raise the line"}},
                 .run = raise,
                 .asks = always(question)},
                {.name = "drop",
                 .summary = "Drop the NMI request",
                 .examples = {{"nmi drop", "Drop the line"}},
                 .run = drop},
            },
        .meanings = {{"set_NMI_interrupt", -1, "the line does not read back as written"}},
    };
}

} // namespace boardctl
