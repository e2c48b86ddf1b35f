// One call of the program.
#ifndef TOOLS_VIRTUAL_BOARD_INVOCATION_H
#define TOOLS_VIRTUAL_BOARD_INVOCATION_H

#include <string>
#include <vector>

namespace virtual_board {

struct Invocation {
    std::vector<std::string> behind_dashes; // the words after "--", which are a program's
    int exit_code = 0;
};

} // namespace virtual_board

#endif
