// virtual-board: puts programs on a virtual board, without a change to them.

#include <stdio.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>

#include "tools/virtual_board/board_choice.h"
#include "tools/virtual_board/commands.h"
#include "tools/virtual_board/list_command.h"
#include "tools/virtual_board/power_command.h"
#include "tools/virtual_board/program.h"
#include "tools/virtual_board/run_command.h"
#include "tools/virtual_board/serve_command.h"

namespace {

constexpr int exit_failed = 2;

} // namespace

int main(int argc, char *argv[])
{
    virtual_board::leave_board(argv);
    virtual_board::Invocation call;
    // The parser would take a program's options for its own.
    char **const dashes =
        std::find_if(argv, argv + argc, [](const char *word) { return strcmp(word, "--") == 0; });
    if (dashes != argv + argc) {
        call.behind_dashes.assign(dashes + 1, argv + argc);
        argc = static_cast<int>(dashes - argv);
    }
    CLI::App app("Virtual boards for unmodified programs", "virtual-board");
    app.require_subcommand(1);
    virtual_board::add_run_command(app, call);
    virtual_board::add_serve_command(app, call);
    virtual_board::add_join_command(app, call);
    virtual_board::add_list_command(app, call);
    virtual_board::add_power_command(app, call);
    virtual_board::add_backend_commands(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::RuntimeError &error) {
        return error.get_exit_code();
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : virtual_board::exit_usage;
    } catch (const std::exception &error) {
        fprintf(stderr, "virtual-board: %s\n", error.what());
        return exit_failed;
    }
    return call.exit_code;
}
