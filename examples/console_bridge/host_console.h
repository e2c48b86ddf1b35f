// What the host prints, as the FPGA buffers it.
#ifndef CONSOLE_BRIDGE_HOST_CONSOLE_H
#define CONSOLE_BRIDGE_HOST_CONSOLE_H

#include <string>

namespace console_bridge {

// Appends what has come since the last call. Returns 0 or the library's negative
// result; what was read before a failure is appended all the same.
int fetch_console(std::string &text);

} // namespace console_bridge

#endif
