#include "virtual_board/serial_switch.h"

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

// Of the six arrangements, those that concern the panel or the UART.
constexpr uint8_t panel_to_uart = 1;
constexpr uint8_t host_to_uart = 2;
constexpr uint8_t panel_to_host = 3;

} // namespace

SerialSwitch::SerialSwitch(Cpld &cpld, Uart &uart) : cpld_(cpld), uart_(uart)
{
    // What was sent before the switch moved has gone the old way.
    cpld_.on_store(CPLD_REG_SERIAL_ROUTING,
                   [this](uint8_t before, uint8_t) { deliver(before & CPLD_SERIAL_ROUTE); });
}

std::string &SerialSwitch::host_input()
{
    deliver(route());
    return host_input_;
}

std::string &SerialSwitch::panel_output()
{
    deliver(route());
    return panel_output_;
}

bool SerialSwitch::panel_sends(std::string_view text)
{
    switch (route()) {
    case panel_to_uart:
        uart_.send(text);
        return true;
    case panel_to_host:
        host_input_ += text;
        return true;
    default:
        return false;
    }
}

uint8_t SerialSwitch::route() const
{
    return cpld_.get(CPLD_REG_SERIAL_ROUTING) & CPLD_SERIAL_ROUTE;
}

void SerialSwitch::deliver(uint8_t route)
{
    const std::string sent = uart_.receive(0);
    if (route == host_to_uart) {
        host_input_ += sent;
    } else if (route == panel_to_uart) {
        panel_output_ += sent;
    }
}

} // namespace virtual_board
