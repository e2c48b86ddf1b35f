#include "tools/virtual_board/list_command.h"

#include <stdio.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "virtual_board/remote/board_socket.h"

namespace virtual_board {

namespace {

int list(bool as_json)
{
    const std::vector<remote::BoardStatus> boards = remote::served_boards();
    if (as_json) {
        nlohmann::json all = nlohmann::json::array();
        for (const remote::BoardStatus &board : boards) {
            all.push_back({{"board", board.name},
                           {"personality", board.personality},
                           {"process", board.process},
                           {"powered", board.powered},
                           {"programs", board.programs}});
        }
        puts(all.dump(2).c_str());
        return 0;
    }
    printf("%-20s %-16s %8s %-6s %8s\n", "BOARD", "PERSONALITY", "PROCESS", "POWER", "PROGRAMS");
    for (const remote::BoardStatus &board : boards) {
        printf("%-20s %-16s %8d %-6s %8lu\n", board.name.c_str(), board.personality.c_str(),
               static_cast<int>(board.process), board.powered ? "on" : "cut", board.programs);
    }
    return 0;
}

} // namespace

void add_list_command(CLI::App &app, Invocation &call)
{
    CLI::App *command = app.add_subcommand("list", "List the boards that are served by name");
    const auto as_json = std::make_shared<bool>(false);
    command->add_flag("--json", *as_json, "as JSON");
    command->footer("  virtual-board list");
    command->callback([as_json, &call] { call.exit_code = list(*as_json); });
}

} // namespace virtual_board
