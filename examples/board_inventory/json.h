// The report as JSON for programs.
#ifndef BOARD_INVENTORY_JSON_H
#define BOARD_INVENTORY_JSON_H

#include <string>

#include "board_inventory/report.h"

namespace board_inventory {

// One object with a member per table: an object for a list, else an array with
// an object per row. What does not apply is null, what is not known yet the
// string "settling", what could not be read a string "error" with the code.
std::string as_json(const Report &report);

} // namespace board_inventory

#endif
