// LEDs and serial connectors.

#include <board_hal.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

// The library tells the register bit of some LEDs, which is 0 for lit, and for
// others whether they are lit.
struct Led {
    int32_t id;
    uint8_t state_when_lit;
};

constexpr Led board_leds[] = {{0, 0}, {2, 1}, {4, 0}, {5, 0}, {192, 1}};

constexpr int32_t this_fru = 0;
constexpr uint32_t no_endpoint = 255;
constexpr uint8_t route_bits = 1;

Value endpoint(int (*get)(uint32_t *))
{
    uint32_t dest = 0;
    const int result = get(&dest);
    return given(result, dest == no_endpoint ? none() : number(dest));
}

Value routing_code()
{
    uint8_t code = 0; // the library adds its bits to what is there
    const int result = get_serial_dir(route_bits, &code);
    return given(result, number(code));
}

} // namespace

Table leds()
{
    Table table{"leds",
                "LEDs",
                Table::Layout::rows,
                {{"led", "LED"}, {"colour", "colour"}, {"state", "state"}, {"lit", "lit"}},
                {}};
    for (const Led &led : board_leds) {
        uint8_t colour = 0;
        uint8_t state = 0;
        const int result = get_led_status(this_fru, led.id, &colour, &state);
        table.rows.push_back({number(led.id), given(result, number(colour)),
                              given(result, number(state)),
                              given(result, yes_no(state == led.state_when_lit))});
    }
    return table;
}

Table serial_routing()
{
    List list("serial_routing", "Serial routing (endpoint that each side is connected to)");
    list.add("code", "routing code", routing_code());
    list.add("host", "host", endpoint(get_host_serial_connection));
    list.add("panel", "panel", endpoint(get_panel_serial_connection));
    list.add("sol", "serial over LAN", endpoint(get_sol_serial_connection));
    list.add("auxiliary", "auxiliary port", endpoint(get_third_party_serial_connection));
    return list.table();
}

} // namespace board_inventory
