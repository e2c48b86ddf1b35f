// What can be pulled out of a board and seated again.
#ifndef VIRTUAL_BOARD_BACKEND_PARTS_H
#define VIRTUAL_BOARD_BACKEND_PARTS_H

#include <functional>
#include <string>
#include <vector>

#include "virtual_board/board.h"

namespace virtual_board {

struct Part {
    std::string name;
    bool seated;
    std::function<void(bool)> seat; // seats it, or pulls it
};

// "disk.0" to "disk.3", "cpu.0", "cpu.1", "raid_card", "board_6", "amc.0" to
// "amc.7", "blade", and the I2C chips by name.
std::vector<Part> parts_of(Board &board);

} // namespace virtual_board

#endif
