// The shim: stands in for the C library's calls and leads those that concern
// the board to it. Everything else passes through untouched.
#ifndef VIRTUAL_BOARD_SHIM_SHIM_H
#define VIRTUAL_BOARD_SHIM_SHIM_H

#include <pthread.h>

#include "virtual_board/bus.h"

namespace virtual_board::shim {

// Puts a board under this process; null takes it away, and every path and
// descriptor passes through again. Descriptors that are still open then are
// closed. The board must outlive its installation.
void install(Bus *board);

enum class MutexEvent { locked, refused, unlocked };
using MutexObserver = void (*)(MutexEvent event, pthread_mutex_t *mutex);

// Called on each mutex operation of the process outside the shim itself: after
// a lock, and before an unlock, so that the mutex is held both times; `refused`
// is a try-lock that found the mutex held.
void observe_mutexes(MutexObserver observer);

} // namespace virtual_board::shim

#endif
