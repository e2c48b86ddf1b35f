// Lengths that callers give as signed numbers.
#ifndef SUPPORT_BYTE_COUNT_H
#define SUPPORT_BYTE_COUNT_H

#include <stddef.h>
#include <stdint.h>

namespace board_hal {

// Lengths are checked against their upper limit alone, so a negative one gets
// this far; with its header or without, it must not turn into a count of 4 GiB.
constexpr size_t count_of(int32_t len, int32_t header = 0)
{
    const int64_t count = int64_t{len} + header;
    return count > 0 ? static_cast<size_t>(count) : 0;
}

} // namespace board_hal

#endif
