#include "tools/virtual_board/power_command.h"

#include <stdint.h>
#include <stdio.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "tools/virtual_board/board_choice.h"
#include "virtual_board/remote/backend_connection.h"

namespace virtual_board {

namespace {

struct PowerOptions {
    std::string board;
    uint64_t after = 0;
    std::string part = "flash";
};

int ask(const std::string &board, const nlohmann::json &request)
{
    const std::unique_ptr<BackendConnection> connection = connect_backend(board);
    connection->send(request);
    const std::optional<nlohmann::json> answer = connection->receive();
    if (!answer) {
        throw std::runtime_error("the board has gone");
    }
    if (answer->contains("error")) {
        throw std::runtime_error((*answer)["error"].get<std::string>());
    }
    puts((*answer)["powered"].get<bool>() ? "on" : "cut");
    return 0;
}

} // namespace

void add_power_command(CLI::App &app, Invocation &call)
{
    CLI::App *command =
        app.add_subcommand("power", "Cut the power of the controller, and let it come back");
    command->require_subcommand(1);
    command->footer("  virtual-board power cut --after 1000\n"
                    "  virtual-board power restore");
    const auto options = std::make_shared<PowerOptions>();

    CLI::App *cut = command->add_subcommand(
        "cut", "Every program on the board is killed; what is in the flash parts stays");
    add_board_option(*cut, options->board);
    CLI::Option *after =
        cut->add_option("--after", options->after,
                        "not now, but when the part has erased or written so many more bytes")
            ->type_name("BYTES");
    cut->add_option("--part", options->part, "the part that --after is about")
        ->type_name("PART")
        ->check(CLI::IsMember({"flash", "bios-flash", "environment"}))
        ->capture_default_str();
    cut->callback([options, after, &call] {
        nlohmann::json request = {{"request", "power"}, {"action", "cut"}};
        if (after->count() > 0) {
            request["after"] = options->after;
            request["part"] = options->part;
        }
        call.exit_code = ask(options->board, request);
    });

    CLI::App *restore = command->add_subcommand(
        "restore", "The board starts afresh, with the flash parts as they were left");
    CLI::App *status = command->add_subcommand("status", "Say \"on\" or \"cut\"");
    for (CLI::App *one : {restore, status}) {
        add_board_option(*one, options->board);
        one->callback([options, one, &call] {
            call.exit_code =
                ask(options->board, {{"request", "power"}, {"action", one->get_name()}});
        });
    }
}

} // namespace virtual_board
