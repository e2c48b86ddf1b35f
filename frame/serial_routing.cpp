// The CPLD's serial-port switch, HDD backplane ports and SAS cable LEDs.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"
#include "frame/selected_bits.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

constexpr uint32_t unknown_route = 255;
constexpr int unknown_port = 255; // positive; callers tell it from a missing pointer

constexpr CpldBits route{CPLD_REG_SERIAL_ROUTING, CPLD_SERIAL_ROUTE};
constexpr CpldBits aux_route{CPLD_REG_SERIAL_ROUTING, CPLD_SERIAL_AUX_ROUTE};
constexpr uint32_t aux_route_max = 2;

enum Side : size_t { host, panel, sol };

// The six arrangements: which endpoint each side is connected to.
struct Arrangement {
    uint8_t code;
    uint32_t endpoint[3]; // host, panel, SOL
};

constexpr Arrangement arrangements[] = {
    // clang-format off
    {1, {4, 3, 5}},
    {2, {3, 4, 5}},
    {3, {1, 0, 4}},
    {4, {2, 4, 0}},
    {5, {5, 4, 3}},
    {6, {0, 4, 5}},
    // clang-format on
};

// The code that connects a side to an endpoint.
struct Connection {
    int32_t endpoint;
    uint8_t code[3]; // host, panel, SOL
};

constexpr Connection connections[] = {
    {0, {6, 3, 4}},
    {3, {2, 1, 5}},
    {4, {1, 4, 3}},
};

constexpr Selected direction_halves[] = {
    {0, aux_route},
    {1, route},
};

constexpr Selected hdd_backplane_ports[] = {
    {0, {CPLD_REG_HDD_BACKPLANE_01, CPLD_HDD_BACKPLANE_PORT_0}},
    {1, {CPLD_REG_HDD_BACKPLANE_01, CPLD_HDD_BACKPLANE_PORT_1}},
    {2, {CPLD_REG_HDD_BACKPLANE_2, CPLD_HDD_BACKPLANE_PORT_2}},
};

constexpr Selected sas_cable_leds[] = {
    {0, {CPLD_REG_PANEL_LED, CPLD_SAS_CABLE_LED_0}},
    {1, {CPLD_REG_PANEL_LED, CPLD_SAS_CABLE_LED_1}},
    {2, {CPLD_REG_PANEL_LED, CPLD_SAS_CABLE_LED_2}},
};

int endpoint_of(Side side, uint32_t *endpoint)
{
    const MutexGuard guard(cpld_reg_lock);
    const uint8_t code = cpld_field_get(route);
    *endpoint = unknown_route;
    for (const Arrangement &row : arrangements) {
        if (row.code == code) {
            *endpoint = row.endpoint[side];
        }
    }
    return 0;
}

int connect_side(Side side, int32_t endpoint, const char *refusal)
{
    const MutexGuard guard(cpld_reg_lock);
    for (const Connection &row : connections) {
        if (row.endpoint == endpoint) {
            cpld_field_put(route, row.code[side]);
            return 0;
        }
    }
    puts(refusal);
    return -1;
}

} // namespace

extern "C" {

int get_host_serial_connection(uint32_t *dest)
{
    if (refused_null(dest, "get_host_serial_connection:dest pointer is null")) {
        return -1;
    }
    return endpoint_of(host, dest);
}

int get_panel_serial_connection(uint32_t *dest)
{
    if (refused_null(dest, "get_panel_serial_connection:dest pointer is null")) {
        return -1;
    }
    return endpoint_of(panel, dest);
}

int get_sol_serial_connection(uint32_t *dest)
{
    if (refused_null(dest, "get_sol_serial_connection:dest pointer is null")) {
        return -1;
    }
    return endpoint_of(sol, dest);
}

int set_host_serial_connection(int32_t dest)
{
    return connect_side(host, dest, "set_host_serial_connection:dest invalid");
}

int set_panel_serial_connection(int32_t dest)
{
    return connect_side(panel, dest, "set_panel_serial_connection:dest invalid");
}

int set_sol_serial_connection(int32_t dest)
{
    return connect_side(sol, dest, "set_sol_serial_connection:dest invalid");
}

int get_third_party_serial_connection(uint32_t *dest)
{
    if (refused_null(dest, "get_third_party_serial_connection:dest pointer is null")) {
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    const uint32_t value = cpld_field_get(aux_route);
    *dest = value <= aux_route_max ? value : unknown_route;
    return 0;
}

int set_third_party_serial_connection(uint32_t dest)
{
    if (dest != 1 && dest != 2) {
        puts("set_third_party_serial_connection:dest invalid");
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    cpld_field_put(aux_route, static_cast<uint8_t>(dest));
    return 0;
}

int set_serial_dir(uint8_t which, uint8_t val)
{
    const MutexGuard guard(cpld_reg_lock);
    const CpldBits *const half = find(direction_halves, which);
    if (half == nullptr) {
        return -1;
    }
    // The value's own bits at the same place, not a number to be moved there.
    const int kept = cpld_read(half->offset) & ~half->mask;
    cpld_write(half->offset, static_cast<uint8_t>(kept | (val & half->mask)));
    return 0;
}

int get_serial_dir(uint8_t which, uint8_t *val)
{
    const CpldBits *const half = find(direction_halves, which);
    if (half == nullptr) {
        return -1;
    }
    // Deliberately unlocked and added to what the caller's byte holds: callers
    // collect both halves in one byte.
    *val = static_cast<uint8_t>(*val | (cpld_read(half->offset) & half->mask));
    return 0;
}

int get_HDD_backplane_port_connection(uint8_t port, uint8_t *dest)
{
    if (refused_null(dest, "get_HDD_backplane_port_connection:dest pointer is null")) {
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    const CpldBits *const bits = find(hdd_backplane_ports, port);
    if (bits == nullptr) {
        *dest = 0;
        return unknown_port;
    }
    *dest = cpld_field_get(*bits);
    return 0;
}

int set_SAS_cable_led_status(uint8_t cable, uint8_t val)
{
    return write_selected(sas_cable_leds, cable, val, unknown_port);
}

} // extern "C"
