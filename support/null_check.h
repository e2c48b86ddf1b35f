// Refusal of a missing out pointer.
#ifndef SUPPORT_NULL_CHECK_H
#define SUPPORT_NULL_CHECK_H

#include <stdio.h>

namespace board_hal {

// Refuses a null out pointer with its message.
inline bool refused_null(const void *out, const char *message)
{
    if (out == nullptr) {
        puts(message);
        return true;
    }
    return false;
}

} // namespace board_hal

#endif
