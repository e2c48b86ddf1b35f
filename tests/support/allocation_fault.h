// Allocations of the library that fail.
#ifndef TESTS_SUPPORT_ALLOCATION_FAULT_H
#define TESTS_SUPPORT_ALLOCATION_FAULT_H

#include <stddef.h>

namespace board_test {

// For its lifetime, no allocation of libboard_hal succeeds. A test program
// that uses it lists allocation_fault.cpp among its sources.
class AllocationFault {
public:
    AllocationFault();
    ~AllocationFault();

    AllocationFault(const AllocationFault &) = delete;
    AllocationFault &operator=(const AllocationFault &) = delete;

    // The sanitizers' allocators cannot be stood in for.
    static bool possible();
    // Size of the last allocation that failed, 0 if there was none.
    size_t refused() const;
};

} // namespace board_test

#endif
