// Watches loads and stores of mapped register windows.
#ifndef VIRTUAL_BOARD_SHIM_WINDOW_WATCH_H
#define VIRTUAL_BOARD_SHIM_WINDOW_WATCH_H

#include <stddef.h>

#include "virtual_board/bus.h"

namespace virtual_board::shim {

// Whether this machine can watch. Where it can, the window is kept without
// access rights: an access faults, the handler lets that one instruction run
// with the trap flag set, and reports what it did from the trap. Elsewhere the
// board finds stores by comparing.
bool can_watch();

// Starts to watch a mapping; its loads and stores are reported to the board.
void watch(Bus *bus, void *address, size_t length);
// Stops watching; false if the address is no watched window. The address range
// stays reserved, so that a stale pointer faults, and a stale unmap hits
// nothing else.
bool retire(void *address, size_t length);
// Whether the address was a window once.
bool is_retired(const void *address);

// For fork: no thread is amid an access meanwhile.
void before_fork_of_watch();
void after_fork_of_watch();

} // namespace virtual_board::shim

#endif
