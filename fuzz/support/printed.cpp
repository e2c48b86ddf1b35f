#include "fuzz/support/printed.h"

#include <stdarg.h>
#include <stdio.h>

#include <algorithm>
#include <utility>

namespace {

// Never freed: the sanitizers print after the destructors, too.
std::string &text()
{
    static auto *const kept = new std::string;
    return *kept;
}

} // namespace

extern "C" {

int printf(const char *format, ...)
{
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    text().append(buffer, std::min(static_cast<size_t>(length), sizeof(buffer) - 1));
    return length;
}

int puts(const char *line)
{
    text().append(line).append("\n");
    return 1;
}

} // extern "C"

namespace fuzz {

std::string printed()
{
    return std::exchange(text(), {});
}

} // namespace fuzz
