// The CPLD's serial-port switch: whom the line of the controller's UART reaches.
#ifndef VIRTUAL_BOARD_SERIAL_SWITCH_H
#define VIRTUAL_BOARD_SERIAL_SWITCH_H

#include <stdint.h>

#include <string>
#include <string_view>

#include "virtual_board/cpld.h"
#include "virtual_board/uart.h"

namespace virtual_board {

// The UART is endpoint 3 of the switch. Bytes reach whoever is connected to it
// when they are sent; with nobody there they are lost.
class SerialSwitch {
public:
    SerialSwitch(Cpld &cpld, Uart &uart);

    // Backend face.

    // What the host has received on its serial port and not yet read, and what
    // has come out of the panel's connector.
    std::string &host_input();
    std::string &panel_output();
    // Someone at the panel's connector sends; false if nobody is there to hear.
    bool panel_sends(std::string_view text);

private:
    uint8_t route() const;
    // Hands over what is on the UART's line, while a route is in force.
    void deliver(uint8_t route);

    Cpld &cpld_;
    Uart &uart_;
    std::string host_input_;
    std::string panel_output_;
};

} // namespace virtual_board

#endif
