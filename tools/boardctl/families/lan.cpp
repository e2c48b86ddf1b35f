// The management network port.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint32_t management_port = 0;

Result lan(Context &context)
{
    uint8_t up = 0;
    context.check("get_mgnt_lan_status", get_mgnt_lan_status(management_port, &up));
    return Result().set("link", toned(shown_as(yes_no(up == 1), up == 1 ? "up" : "down"),
                                      up == 1 ? Tone::good : Tone::bad));
}

} // namespace

Family lan_family()
{
    return {
        .name = "lan",
        .summary = "The management network port",
        .commands = {{.name = "",
                      .summary = "Show whether the management network port has a link",
                      .output = {{"",
                                  "",
                                  Block::Layout::fields,
                                  {{"link", "link", Type::boolean, "whether it is up"}}}},
                      .examples = {{"lan", "Is the cable plugged in?"}},
                      .run = lan}},
        .meanings = {{"get_mgnt_lan_status", -1, "the network driver does not tell the link"}},
    };
}

} // namespace boardctl
