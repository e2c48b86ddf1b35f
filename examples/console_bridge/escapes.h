// Commands to the bridge itself among what is typed: "~" at the start of a line.
#ifndef CONSOLE_BRIDGE_ESCAPES_H
#define CONSOLE_BRIDGE_ESCAPES_H

#include <string>

namespace console_bridge {

class Escapes {
public:
    enum class Command { none, end, save, help };

    // Takes one byte, and appends to `passed` what is not the bridge's.
    Command take(char typed, std::string &passed);

private:
    Command command(char typed, std::string &passed);

    bool at_line_start_ = true;
    bool pending_ = false; // a "~" that may begin a command
};

} // namespace console_bridge

#endif
