#include "console_bridge/routing.h"

#include <board_hal.h>

namespace console_bridge {

namespace {

constexpr int32_t controller_uart = 3; // endpoint of the switch
constexpr uint8_t route_half = 1;

uint8_t route_now()
{
    // The library adds to what the byte holds.
    uint8_t route = 0;
    get_serial_dir(route_half, &route);
    return route;
}

} // namespace

int Routing::connect(FarEnd far_end)
{
    found_ = route_now();
    return far_end == FarEnd::host ? set_host_serial_connection(controller_uart)
                                   : set_panel_serial_connection(controller_uart);
}

// Half of the register and not an endpoint: not every arrangement that may have
// been found can be set by an endpoint's number, and one without meaning neither.
bool Routing::restore()
{
    if (!found_) {
        return false;
    }
    set_serial_dir(route_half, *found_);
    found_.reset();
    return true;
}

unsigned Routing::arrangement()
{
    return route_now();
}

} // namespace console_bridge
