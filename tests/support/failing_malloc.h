// Allocation failures inside the library, for programs that link
// failing_malloc.cpp.
#ifndef TESTS_SUPPORT_FAILING_MALLOC_H
#define TESTS_SUPPORT_FAILING_MALLOC_H

#include <stddef.h>

#include <optional>

namespace board_test {

// The library's next malloc fails; everybody else's succeed.
void fail_next_malloc();
// The size of the allocation that failed; empty if none has yet.
std::optional<size_t> failed_malloc();

} // namespace board_test

#endif
