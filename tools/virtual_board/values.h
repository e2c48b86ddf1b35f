// Values between command lines, JSON and people.
#ifndef TOOLS_VIRTUAL_BOARD_VALUES_H
#define TOOLS_VIRTUAL_BOARD_VALUES_H

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace virtual_board {

// "on" and "up" are true and 1, "null" is null, numbers may be hexadecimal; all
// else is a text.
nlohmann::json value_of(const std::string &word);
// As people read it: a text without quotes, on one line.
std::string text_of(const nlohmann::json &value);
// The leaves of a tree by their names, in order.
using Rows = std::vector<std::pair<std::string, nlohmann::json>>;
Rows rows_of(const std::string &name, const nlohmann::json &tree);
// Columns side by side, as wide as they need.
std::string table(const std::vector<std::vector<std::string>> &rows);

} // namespace virtual_board

#endif
