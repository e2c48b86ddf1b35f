// Options that every command takes.
#ifndef BOARDCTL_OPTIONS_H
#define BOARDCTL_OPTIONS_H

#include <string>
#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

struct Options {
    bool json = false;
    bool verbose = false;
    bool yes = false;
    bool virtual_board = false;
    std::string personality;
    std::string board;
};

// Their description, in the order of the help.
const std::vector<Argument> &option_descriptions();

} // namespace boardctl

#endif
