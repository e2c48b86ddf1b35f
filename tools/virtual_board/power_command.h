// virtual-board power: the supply of a served board.
#ifndef TOOLS_VIRTUAL_BOARD_POWER_COMMAND_H
#define TOOLS_VIRTUAL_BOARD_POWER_COMMAND_H

#include <CLI/CLI.hpp>

#include "tools/virtual_board/invocation.h"

namespace virtual_board {

void add_power_command(CLI::App &app, Invocation &call);

} // namespace virtual_board

#endif
