// The CPLD's serial switch.
#ifndef CONSOLE_BRIDGE_ROUTING_H
#define CONSOLE_BRIDGE_ROUTING_H

#include <stdint.h>

#include <optional>

#include "console_bridge/options.h"

namespace console_bridge {

class Routing {
public:
    // Connects the controller's UART to the far end, and remembers what it
    // found. Returns the library's result.
    int connect(FarEnd far_end);
    // Whether there is something to put back; if so, it is.
    bool restore();
    // The arrangement now in force, 1 to 6.
    static unsigned arrangement();

private:
    std::optional<uint8_t> found_;
};

} // namespace console_bridge

#endif
