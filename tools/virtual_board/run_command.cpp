#include "tools/virtual_board/run_command.h"

#include <stdio.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tools/virtual_board/board_choice.h"
#include "tools/virtual_board/hosted_board.h"
#include "tools/virtual_board/program.h"
#include "virtual_board/host_script.h"
#include "virtual_board/remote/board_socket.h"

namespace virtual_board {

namespace {

struct RunOptions {
    NewBoard board;
    std::string served;
    std::string host_script;
};

std::vector<std::string> command_of(const CLI::App &command, const Invocation &call)
{
    std::vector<std::string> words = command.remaining();
    words.insert(words.end(), call.behind_dashes.begin(), call.behind_dashes.end());
    if (words.empty()) {
        throw UsageError("no command to run");
    }
    return words;
}

int run_on_served(const std::string &board, const std::vector<std::string> &command)
{
    const std::string path = remote::socket_path(board);
    if (!remote::ask_status(path)) {
        throw std::runtime_error("no board at " + path);
    }
    const HeldSignals signals;
    return Program(command, path, signals).wait(signals);
}

// The host's script drives the board until the program ends, and ends it if it is
// done first.
std::unique_ptr<HostScript> read_script(const std::string &path, Board &board)
{
    std::ifstream text(path);
    if (!text) {
        throw UsageError(path + ": cannot be read");
    }
    try {
        return std::make_unique<HostScript>(board, text, stdout);
    } catch (const ScriptError &error) {
        throw UsageError(path + ": " + error.what());
    }
}

int result_of(const HostScript &script, int program)
{
    if (!script.finished()) {
        fprintf(stderr, "virtual board: the program ended before line %u of the host script\n",
                script.line());
    }
    return script.succeeded() ? program : 1;
}

int run_on_own(const RunOptions &options, const std::vector<std::string> &command)
{
    const HeldSignals signals;
    // The board's clock calls the script, which ends the program: both outlive it.
    std::unique_ptr<HostScript> script;
    std::unique_ptr<Program> program;
    HostedBoard board(options.board,
                      remote::runtime_directory() + "/run-" + std::to_string(getpid()) + ".socket");
    const std::shared_ptr<Board> on = board.machine().board();
    if (!options.host_script.empty()) {
        on->act([&] { script = read_script(options.host_script, *on); });
    }
    program = std::make_unique<Program>(command, board.path(), signals);
    if (script && program->started()) {
        on->act([&] { script->start([&program] { program->terminate(); }); });
    }
    const int result = program->wait(signals);
    return script && program->started() ? on->act([&] { return result_of(*script, result); })
                                        : result;
}

} // namespace

void add_run_command(CLI::App &app, Invocation &call)
{
    CLI::App *command = app.add_subcommand(
        "run", "Run a program, and its children, on a board that lives as long as it does");
    const auto options = std::make_shared<RunOptions>();
    std::vector<CLI::Option *> own = options->board.add_options(*command);
    own.push_back(command
                      ->add_option("--host-script", options->host_script,
                                   "what the host does on the board meanwhile")
                      ->type_name("FILE"));
    CLI::Option *served = add_board_option(*command, options->served);
    served->description("run it on a board that is served instead, by its name or socket");
    for (CLI::Option *option : own) {
        option->excludes(served);
    }
    command->prefix_command();
    command->footer("The exit code is the program's, or 128 and the signal that killed it; 2 if "
                    "the board cannot be made.\n\n"
                    "  virtual-board run --personality corvo-8 -- board_inventory\n"
                    "  virtual-board run --fault mtd3:write:error=EIO,skip=2 -- sh -c "
                    "'echo x > /dev/mtd3'");
    command->callback([command, options, served, &call] {
        const std::vector<std::string> words = command_of(*command, call);
        call.exit_code = served->count() > 0 ? run_on_served(options->served, words)
                                             : run_on_own(*options, words);
    });
}

void add_join_command(CLI::App &app, Invocation &call)
{
    CLI::App *command =
        app.add_subcommand("join", "Run a program, and its children, on a board that is served");
    const auto board = std::make_shared<std::string>();
    add_board_option(*command, *board);
    command->prefix_command();
    command->footer("  virtual-board join -- chassis_controller");
    command->callback([command, board, &call] {
        call.exit_code = run_on_served(*board, command_of(*command, call));
    });
}

} // namespace virtual_board
