// virtual-board serve: a board that several programs use.
#ifndef TOOLS_VIRTUAL_BOARD_SERVE_COMMAND_H
#define TOOLS_VIRTUAL_BOARD_SERVE_COMMAND_H

#include <CLI/CLI.hpp>

#include "tools/virtual_board/invocation.h"

namespace virtual_board {

void add_serve_command(CLI::App &app, Invocation &call);

} // namespace virtual_board

#endif
