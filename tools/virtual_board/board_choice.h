// Which board a command is about.
#ifndef TOOLS_VIRTUAL_BOARD_BOARD_CHOICE_H
#define TOOLS_VIRTUAL_BOARD_BOARD_CHOICE_H

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "virtual_board/fault.h"
#include "virtual_board/personality.h"

namespace virtual_board {

// A complaint about the command line or what it names; the program ends with 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A board that the command makes.
struct NewBoard {
    std::string personality;
    std::vector<std::string> fault_texts;

    // The options; the result are those that say something of it.
    std::vector<CLI::Option *> add_options(CLI::App &command);
    // Throw a UsageError.
    Personality chosen_personality() const;
    std::vector<Fault> faults() const;
};

// The option for a board that is served.
CLI::Option *add_board_option(CLI::App &command, std::string &board);

} // namespace virtual_board

#endif
