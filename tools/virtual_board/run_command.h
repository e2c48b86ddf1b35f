// virtual-board run and join: programs on a board.
#ifndef TOOLS_VIRTUAL_BOARD_RUN_COMMAND_H
#define TOOLS_VIRTUAL_BOARD_RUN_COMMAND_H

#include <CLI/CLI.hpp>

#include "tools/virtual_board/invocation.h"

namespace virtual_board {

void add_run_command(CLI::App &app, Invocation &call);
void add_join_command(CLI::App &app, Invocation &call);

} // namespace virtual_board

#endif
