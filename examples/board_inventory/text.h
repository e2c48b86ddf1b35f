// The report as aligned tables for people.
#ifndef BOARD_INVENTORY_TEXT_H
#define BOARD_INVENTORY_TEXT_H

#include <string>

#include "board_inventory/report.h"

namespace board_inventory {

std::string as_text(const Report &report);

} // namespace board_inventory

#endif
