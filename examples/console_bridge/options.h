// What the bridge is told on its command line.
#ifndef CONSOLE_BRIDGE_OPTIONS_H
#define CONSOLE_BRIDGE_OPTIONS_H

#include <stdint.h>

#include <string>
#include <vector>

namespace console_bridge {

// Whom the controller's UART is switched to.
enum class FarEnd { host, panel };

struct Options {
    bool help = false;
    bool use_uart = true;
    int32_t uart = 0;
    FarEnd far_end = FarEnd::host;
    std::string black_box; // file for the record; none if empty
    std::string save_now;  // file; if given, nothing else is done
    uint32_t black_box_size = 16384;
    std::string prefix; // of each line of the console
};

extern const char usage[];

// Without the program's name. Returns what is wrong; empty if nothing is.
std::string parse(const std::vector<std::string> &arguments, Options &options);

} // namespace console_bridge

#endif
