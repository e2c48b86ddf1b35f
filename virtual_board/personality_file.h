// Personalities as JSON texts; docs/personality.md tells every key.
#ifndef VIRTUAL_BOARD_PERSONALITY_FILE_H
#define VIRTUAL_BOARD_PERSONALITY_FILE_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_board/personality.h"

namespace virtual_board {

// One line: the file, the place in the JSON, what is wrong there.
struct PersonalityError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Keys that are absent have the values of the default board; all that is not
// understood is an error. `file` names the text in errors.
Personality parse_personality(std::string_view text, const std::string &file);
Personality read_personality(const std::string &path);

// A complete text: every key with its value.
std::string write_personality(const Personality &personality);

// Every key, as a path from the top: "/identity/board_id".
std::vector<std::string> personality_keys();

} // namespace virtual_board

#endif
