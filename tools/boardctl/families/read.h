// Values that getters of the library tell through an out argument. What a
// getter refuses becomes the refusal.
#ifndef BOARDCTL_READ_H
#define BOARDCTL_READ_H

#include <stdint.h>

#include "boardctl/framework/value.h"

namespace boardctl {

inline Value as_number(uint32_t value)
{
    return number(value);
}

inline Value as_hex(uint32_t value)
{
    return hex(value);
}

inline Value as_yes_no(uint32_t value)
{
    return yes_no(value != 0);
}

// Good news is that it is not so.
inline Value as_fault(uint32_t value)
{
    return toned(yes_no(value != 0), value != 0 ? Tone::bad : Tone::plain);
}

template <typename Byte> Value read_value(int (*get)(Byte *), Value (*show)(uint32_t))
{
    Byte value = 0;
    const int result = get(&value);
    return given(result, show(value));
}

// With a selector before the out argument.
template <typename Byte, typename Selector, typename Number>
Value read_value(int (*get)(Selector, Byte *), Number selector, Value (*show)(uint32_t))
{
    Byte value = 0;
    const int result = get(static_cast<Selector>(selector), &value);
    return given(result, show(value));
}

} // namespace boardctl

#endif
