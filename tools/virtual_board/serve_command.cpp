#include "tools/virtual_board/serve_command.h"

#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "tools/virtual_board/board_choice.h"
#include "tools/virtual_board/hosted_board.h"
#include "tools/virtual_board/program.h"
#include "virtual_board/remote/board_socket.h"

namespace virtual_board {

namespace {

struct ServeOptions {
    NewBoard board;
    std::string name;
    int ready = -1;
};

void tell_ready(const std::string &path, const std::string &personality, int descriptor)
{
    printf("board %s is served at %s\n", personality.c_str(), path.c_str());
    fflush(stdout);
    if (descriptor >= 0) {
        static_cast<void>(!write(descriptor, "\n", 1));
        close(descriptor);
    }
}

int serve(const ServeOptions &options)
{
    const HeldSignals signals;
    HostedBoard board(options.board, remote::socket_path(options.name));
    tell_ready(board.path(), board.machine().personality().name, options.ready);
    while (signals.next().si_signo == SIGCHLD) {
    }
    return 0;
}

} // namespace

void add_serve_command(CLI::App &app, Invocation &call)
{
    CLI::App *command = app.add_subcommand(
        "serve", "Serve a board that several programs use, until SIGINT or SIGTERM");
    const auto options = std::make_shared<ServeOptions>();
    add_board_option(*command, options->name);
    options->board.add_options(*command);
    command
        ->add_option("--ready-fd", options->ready,
                     "descriptor that gets a line, and is closed, once programs can join")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    command->footer("  virtual-board serve --board desk &\n"
                    "  virtual-board join --board desk -- chassis_controller");
    command->callback([options, &call] { call.exit_code = serve(*options); });
}

} // namespace virtual_board
