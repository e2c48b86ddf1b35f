// The serial switch, as several commands show it.
#ifndef BOARDCTL_SERIAL_ROUTES_H
#define BOARDCTL_SERIAL_ROUTES_H

#include <board_hal.h>

#include "boardctl/framework/value.h"

namespace boardctl {

struct SerialSide {
    const char *name;
    int (*get)(uint32_t *);
};

inline constexpr SerialSide serial_sides[] = {{"host", get_host_serial_connection},
                                              {"panel", get_panel_serial_connection},
                                              {"sol", get_sol_serial_connection},
                                              {"auxiliary", get_third_party_serial_connection}};

// The endpoint that a side is connected to; none if the routing is unknown.
inline Value endpoint_of(const SerialSide &side)
{
    constexpr uint32_t unknown_route = 255;
    uint32_t endpoint = 0;
    const int result = side.get(&endpoint);
    return given(result, endpoint == unknown_route ? none() : number(endpoint));
}

} // namespace boardctl

#endif
