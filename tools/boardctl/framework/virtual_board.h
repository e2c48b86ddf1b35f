// The tool on a virtual board: it starts itself once more on the preload
// library.
#ifndef BOARDCTL_VIRTUAL_BOARD_H
#define BOARDCTL_VIRTUAL_BOARD_H

#include "boardctl/framework/options.h"

namespace boardctl {

// Returns if the options ask for no virtual board, or if the tool is on it
// already. Throws UsageError if the options contradict each other, Trouble if
// there is no preload library.
void enter_virtual_board(const Options &options, char **argv);

} // namespace boardctl

#endif
