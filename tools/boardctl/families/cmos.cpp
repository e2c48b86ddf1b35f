// The host's CMOS.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

Result clear(Context &context)
{
    context.check("clear_cmos_reg", clear_cmos_reg());
    return {};
}

} // namespace

Family cmos_family()
{
    return {
        .name = "cmos",
        .summary = "The host's CMOS, which holds its firmware settings",
        .commands = {{.name = "clear",
                      .summary = "Clear the CMOS; the host starts with default settings",
                      .examples = {{"cmos clear --yes", "Forget the firmware settings"}},
                      .run = clear,
                      .asks = always("Clear the host's firmware settings?")}},
    };
}

} // namespace boardctl
