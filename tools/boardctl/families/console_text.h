// Bytes that came over a serial line, as text.
#ifndef BOARDCTL_CONSOLE_TEXT_H
#define BOARDCTL_CONSOLE_TEXT_H

#include <stdint.h>

#include <string>
#include <vector>

namespace boardctl {

// Plain ASCII: other bytes become question marks, also in JSON.
inline std::string ascii(const std::vector<uint8_t> &bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        text += byte < 0x80 ? static_cast<char>(byte) : '?';
    }
    return text;
}

} // namespace boardctl

#endif
