// The commands of virtual-board that act on a running board from outside.
#ifndef TOOLS_VIRTUAL_BOARD_COMMANDS_H
#define TOOLS_VIRTUAL_BOARD_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "virtual_board/remote/backend_connection.h"

namespace virtual_board {

// What a command exits with; 0 if all is well.
enum ExitCode { exit_refused = 1, exit_usage = 2, exit_no_board = 3 };

using Connect = std::function<std::unique_ptr<BackendConnection>(const std::string &board_name)>;

// Adds host, press, pull, seat, set, get, fault, state and trace. They run while
// the command line is parsed; one that fails has said why on standard error and
// throws a CLI::RuntimeError with the exit code.
void add_backend_commands(CLI::App &app, const Connect &connect = connect_backend);

} // namespace virtual_board

#endif
