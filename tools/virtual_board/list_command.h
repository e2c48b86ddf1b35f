// virtual-board list: the boards that are served.
#ifndef TOOLS_VIRTUAL_BOARD_LIST_COMMAND_H
#define TOOLS_VIRTUAL_BOARD_LIST_COMMAND_H

#include <CLI/CLI.hpp>

#include "tools/virtual_board/invocation.h"

namespace virtual_board {

void add_list_command(CLI::App &app, Invocation &call);

} // namespace virtual_board

#endif
