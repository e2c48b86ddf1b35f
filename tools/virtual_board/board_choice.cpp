#include "tools/virtual_board/board_choice.h"

#include <utility>

#include "virtual_board/fault_text.h"
#include "virtual_board/personality_file.h"

namespace virtual_board {

std::vector<CLI::Option *> NewBoard::add_options(CLI::App &command)
{
    return {
        command
            .add_option("--personality", personality,
                        "which board: a built-in one's name, such as brava-0, or a JSON file")
            ->type_name("NAME|FILE"),
        command
            .add_option("--fault", fault_texts,
                        "what goes wrong: DEVICE:OPERATION:KIND[=VALUE][,FIELD=VALUE]...; may be "
                        "given more than once")
            ->type_name("FAULT")
            ->take_all()
            ->expected(1),
    };
}

Personality NewBoard::chosen_personality() const
{
    try {
        return personality.empty() ? Personality() : choose_personality(personality);
    } catch (const PersonalityError &error) {
        throw UsageError(error.what());
    }
}

std::vector<Fault> NewBoard::faults() const
{
    std::vector<Fault> all;
    try {
        for (const std::string &text : fault_texts) {
            for (Fault &fault : parse_faults(text)) {
                all.push_back(std::move(fault));
            }
        }
    } catch (const FaultError &error) {
        throw UsageError(error.what());
    }
    return all;
}

CLI::Option *add_board_option(CLI::App &command, std::string &board)
{
    return command
        .add_option("--board", board,
                    "the board's name, or the path of its socket; without it the one in "
                    "VIRTUAL_BOARD, or \"default\"")
        ->type_name("NAME|PATH");
}

} // namespace virtual_board
