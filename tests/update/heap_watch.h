// The library's heap: what it holds, and allocations that fail.
#ifndef TESTS_UPDATE_HEAP_WATCH_H
#define TESTS_UPDATE_HEAP_WATCH_H

#include <stddef.h>

#include <vector>

namespace board_test {

// Whether the heap is watched in this build; the sanitizers keep it for
// themselves, and find leaks on their own.
bool heap_is_watched();

// Starts counting afresh.
void watch_heap();
// Makes the library's allocation number `skip` from now on fail, from 0.
void fail_allocation(unsigned skip);

// Sizes of what the library allocated since watch_heap(), in order.
std::vector<size_t> allocations();
// Bytes that it holds now, and the most it held at once.
size_t heap_bytes();
size_t heap_peak();

} // namespace board_test

#endif
